"""`sample` and `slice`: the files they write, and that `probe` gives the same bits."""

import itertools
import struct
import unittest

from zrk_program import ROOT, SPHERE, ZrkTest, doubles, graph, read_npy, records, run

# A twisted gyroid and a sphere: sines, a root, a minimum.
BLEND = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"


def grid(lower, upper, dims):
    """Positions of a grid, x fastest, written so that they are read back exactly."""
    axes = [[lower[a] + (upper[a] - lower[a]) * i / (dims[a] - 1) for i in range(dims[a])] for a in range(3)]
    return "\n".join(f"{x!r},{y!r},{z!r}" for z, y, x in itertools.product(*reversed(axes)))


def nrrd(path):
    """Fields of the header and the values."""
    head, data = path.read_bytes().split(b"\n\n", 1)
    lines = head.decode().splitlines()
    assert lines[0].startswith("NRRD000"), lines[0]
    return dict(line.split(": ", 1) for line in lines[1:]), doubles(data)


def vti(path):
    """The XML around the values, and the values."""
    head, data = path.read_bytes().split(b'<AppendedData encoding="raw">\n   _', 1)
    size = struct.unpack("<Q", data[:8])[0]
    assert data[8 + size:].split() == [b"</AppendedData>", b"</VTKFile>"]
    return head.decode(), doubles(data[8:8 + size])


class Volumes(ZrkTest):
    def test_volumes_hold_the_bits_that_probe_prints(self):
        # Bounds and counts whose grid positions are exact in any order of operations.
        lower, upper, dims = (-1, -0.5, 0), (1, 0.5, 1), (5, 3, 9)
        bounds = "--bounds=" + ",".join(map(str, lower + upper))
        for pin, components in (("4:0", 1), ("1:0", 3)):
            with self.subTest(pin=pin):
                probed = records(self.succeed("probe", BLEND, "--pin", pin, "--points", "-",
                                              stdin=grid(lower, upper, dims).encode()))
                expected = tuple(value for record in probed for value in record[:-1])
                for extension in ("npy", "nrrd", "vti"):
                    self.succeed("sample", BLEND, "-o", self.folder / f"v.{extension}", "--pin", pin, bounds,
                                 "--dims", ",".join(map(str, dims)))
                shape, values = read_npy(self.folder / "v.npy")
                self.assertEqual(shape, (9, 3, 5) if components == 1 else (9, 3, 5, 3))
                self.assertEqual(values, expected)
                self.assertEqual(nrrd(self.folder / "v.nrrd")[1], expected)
                self.assertEqual(vti(self.folder / "v.vti")[1], expected)

    def test_nrrd_and_vti_tell_where_the_samples_lie(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        for extension in ("nrrd", "vti"):
            self.succeed("sample", path, "-o", self.folder / f"v.{extension}", "--dims", "5,3,2",
                         "--bounds", "-1,-2,-3,1,2,3")
        head, _ = nrrd(self.folder / "v.nrrd")
        self.assertEqual(head["sizes"], "5 3 2")
        self.assertEqual(head["space origin"], "(-1,-2,-3)")
        self.assertEqual(head["space directions"], "(0.5,0,0) (0,2,0) (0,0,6)")
        self.assertEqual((head["type"], head["endian"], head["encoding"]), ("double", "little", "raw"))
        xml, _ = vti(self.folder / "v.vti")
        for part in ('WholeExtent="0 4 0 2 0 1"', 'Origin="-1 -2 -3"', 'Spacing="0.5 2 6"', 'Name="sdf"'):
            self.assertIn(part, xml)

    def test_node_counts_follow_the_longest_side(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        cases = [  # bounds, resolution, nz ny nx
            ("0,0,0,1,1,1", 4, (4, 4, 4)),
            ("0,0,0,4,2,1", 8, (2, 4, 8)),
            ("0,0,0,4,2.5,1", 4, (2, 3, 4)),  # 2.5 away from zero
            ("0,0,0,4,3.5,1.25", 4, (2, 4, 4)),
            ("0,0,0,1,1,100", 10, (10, 2, 2)),
            ("0,0,0,1,1,1", 1, (2, 2, 2)),
            ("1,1,1,0,0,-1", 5, (5, 3, 3)),  # corners in any order; 2.5 away from zero
        ]
        for bounds, resolution, shape in cases:
            with self.subTest(bounds=bounds, resolution=resolution):
                self.succeed("sample", path, "-o", self.folder / "v.npy", "--bounds", bounds,
                             "--resolution", resolution)
                self.assertEqual(read_npy(self.folder / "v.npy")[0], shape)

    def test_bounds_come_from_the_option_the_document_or_the_unit_cube(self):
        first_and_last = {}
        position = {"id": 1, "type": "TwistTransform", "values": {"angle": 0.0}}
        for name, members, options in [
            ("unit cube", {}, []),
            ("document", {"context": {"modelBounds": [[-1, -2, -3], [1, 2, 3]]}}, []),
            ("option", {"context": {"modelBounds": [[-1, -2, -3], [1, 2, 3]]}}, ["--bounds", "5,5,5,6,7,8"]),
        ]:
            path = self.put(graph([position], output=(1, 0), **members))
            self.succeed("sample", path, "-o", self.folder / "v.npy", "--dims", "2,2,2", *options)
            values = read_npy(self.folder / "v.npy")[1]
            first_and_last[name] = values[:3] + values[-3:]
        self.assertEqual(first_and_last, {"unit cube": (0, 0, 0, 1, 1, 1), "document": (-1, -2, -3, 1, 2, 3),
                                          "option": (5, 5, 5, 6, 7, 8)})

    def test_any_number_of_threads_gives_the_same_bytes(self):
        points = grid((-1.5, -1.5, -1.5), (1.5, 1.5, 1.5), (13, 11, 9)).encode()
        seen = {"npy": set(), "png": set(), "probe": set()}
        for threads in (1, 2, 3, 7):
            self.succeed("sample", BLEND, "-o", self.folder / "v.npy", "--resolution", 33, "--threads", threads)
            self.succeed("slice", BLEND, "-o", self.folder / "p.png", "--size", 65, "--threads", threads)
            seen["npy"].add((self.folder / "v.npy").read_bytes())
            seen["png"].add((self.folder / "p.png").read_bytes())
            seen["probe"].add(self.succeed("probe", BLEND, "--points", "-", "--threads", threads, stdin=points).out)
        self.assertEqual({name: len(results) for name, results in seen.items()}, {"npy": 1, "png": 1, "probe": 1})

    def test_an_old_file_is_replaced(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        target = self.put("x" * 100_000, "v.npy")
        self.succeed("sample", path, "-o", target, "--dims", "2,2,2")
        self.assertEqual(read_npy(target)[0], (2, 2, 2))
        self.assertEqual(self.files(), ["case.zrk.json", "v.npy"])


class Slices(ZrkTest):
    def test_the_longer_side_has_the_size_asked_for(self):
        path = self.put(graph([SPHERE], output=(1, 0), context={"modelBounds": [[-1, -2, -4], [1, 2, 4]]}))
        for axis, size in (("x", (32, 64)), ("y", (16, 64)), ("z", (32, 64))):
            target = self.folder / "p.png"
            answer = self.succeed("slice", path, "-o", target, "--axis", axis, "--size", 64)
            data = target.read_bytes()
            self.assertEqual(data[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual(struct.unpack(">II", data[16:24]), size)
            self.assertEqual(answer.out, "")
            self.assertIn(f"{size[0]} x {size[1]} pixels", answer.err)
            self.assertEqual(run("slice", path, "-o", target, "--quiet").err, "")

    def test_axis_place_and_range_change_the_picture(self):
        pictures = set()
        for options in ([], ["--axis", "x"], ["--at", "0.25"], ["--range", "-.5,.5"], ["--pin", "3:0"],
                        ["--pin", "1:0"]):
            self.succeed("slice", BLEND, "-o", self.folder / "p.png", "--size", 48, *options)
            pictures.add((self.folder / "p.png").read_bytes())
        self.assertEqual(len(pictures), 6)


if __name__ == "__main__":
    unittest.main()

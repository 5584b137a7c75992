"""`sample` and `slice`: the files they write, and that `probe` gives the same bits."""

import itertools
import math
import re
import struct
import unittest

from zrk_program import ROOT, SPHERE, ZrkTest, doubles, graph, pixels, read_npy, records, run

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

    def test_float32_is_the_nearest_float(self):
        path = self.put(graph([{**SPHERE, "values": {"radius": 1e300}}, {"id": 2, "type": "TwistTransform"}], output=(1, 0)))
        for pin, components in (("1:0", 1), ("2:0", 3)):
            sampled = {}
            for type, size in (("float64", 8), ("float32", 4)):
                for extension in ("npy", "nrrd", "vti"):
                    self.succeed("sample", path, "-o", self.folder / f"v.{extension}", "--dims", "4,3,2", "--pin", pin,
                                 "--type", type, "--bounds", "-0.1,-0.2,-0.3,1,1.1,1.2")
                    head, _, tail = (self.folder / f"v.{extension}").read_bytes().partition(
                        {"npy": b"}", "nrrd": b"\n\n", "vti": b'raw">\n   _'}[extension])
                    names = {"npy": f"<f{size}", "nrrd": "float" if size == 4 else "double", "vti": f"Float{8 * size}"}
                    self.assertIn(names[extension].encode(), head)
                    data = {"npy": tail.split(b"\n", 1)[1] if extension == "npy" else b"", "nrrd": tail,
                            "vti": tail[8:8 + 24 * components * size]}[extension]
                    self.assertEqual(len(data), 24 * components * size, extension)
                    sampled.setdefault(type, set()).add(struct.unpack(f"<{24 * components}{'f' if size == 4 else 'd'}", data))
            self.assertEqual(len(sampled["float64"]), 1)
            to_float = [float("-inf") if v < -1e38 else struct.unpack("<f", struct.pack("<f", v))[0]
                        for v in sampled["float64"].pop()]
            self.assertEqual(sampled["float32"], {tuple(to_float)})

    def test_files_carry_the_unit_of_the_document(self):
        for unit, expected in (("mm", "mm"), ("inch", "inch"), ("furlong", ""), (None, "")):
            context = {"context": {"unit": unit}} if unit else {}
            path = self.put(graph([SPHERE], output=(1, 0), **context))
            for extension in ("nrrd", "vti"):
                self.succeed("sample", path, "-o", self.folder / f"v.{extension}", "--dims", "2,2,2", "--quiet")
            self.assertEqual(nrrd(self.folder / "v.nrrd")[0].get("space units"), f'"{expected}" ' * 2 + f'"{expected}"' if expected else None)
            texts = re.findall(r'<DataArray type="String" Name="unit"[^>]*>([^<]*)<', vti(self.folder / "v.vti")[0])
            self.assertEqual(["".join(chr(int(code)) for code in text.split()) for text in texts],
                             [expected + "\0"] if expected else [])

    def test_several_outputs_have_a_file_each(self):
        self.succeed("sample", BLEND, "-o", self.folder / "v.npy", "--dims", "3,3,3", "--pin", "4:0", "1:0")
        self.assertEqual(self.files(), ["v_1_0.npy", "v_4_0.npy"])
        for pin in ("4:0", "1:0"):
            self.succeed("sample", BLEND, "-o", self.folder / "one.npy", "--dims", "3,3,3", "--pin", pin)
            self.assertEqual((self.folder / "one.npy").read_bytes(), (self.folder / f"v_{pin.replace(':', '_')}.npy").read_bytes())
        self.succeed("slice", BLEND, "-o", self.folder / "p.png", "--size", 16, "--pin", "4:0", "--pin", "1:0")
        self.assertEqual([name for name in self.files() if name.endswith("png")], ["p_1_0.png", "p_4_0.png"])
        self.refused(2, "surface", BLEND, "-o", self.folder / "s.stl", "--pin", "4:0", "--pin", "1:0")

    def test_tells_what_was_sampled(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        arguments = ["sample", path, "-o", self.folder / "v.npy", "--dims", "2,2,2", "--bounds", "0,0,0,3,4,12"]
        # Corners at distances 0, 3, 4, 5, 12 and on, less 1.
        mean = sum((a * a + b * b + c * c) ** 0.5 - 1 for a in (0, 3) for b in (0, 4) for c in (0, 12)) / 8
        self.assertIn(f"2 x 2 x 2 nodes, values from -1 to 12, mean {mean:.4g}\n", self.succeed(*arguments).err)
        self.assertEqual(self.succeed(*arguments, "--quiet").err, "")

    def test_an_old_file_is_replaced(self):
        path = self.put(graph([SPHERE], output=(1, 0)))
        target = self.put("x" * 100_000, "v.npy")
        self.succeed("sample", path, "-o", target, "--dims", "2,2,2")
        self.assertEqual(read_npy(target)[0], (2, 2, 2))
        self.assertEqual(self.files(), ["case.zrk.json", "v.npy"])


class Remarks(ZrkTest):
    """What looks like a mistake is told, by `sample`, `slice` and `check --fields`, and nothing else is."""

    FAR = graph([{**SPHERE, "values": {"center": [9, 9, 9]}}], output=(1, 0))
    CASES = [
        ("a solid elsewhere", FAR, "values from", "no surface"),
        ("all in the solid", graph([{**SPHERE, "values": {"radius": 99.0}}], output=(1, 0)), "no surface", "both sides of 0"),
        ("nothing linked", graph([{"id": 1, "type": "BinaryOperator", "values": {"op_name": "add"}},
                                  {"id": 2, "type": "ZRKInvert"}], output=(2, 0)), "weight 0 in all", "links"),
        ("a constant", graph([{"id": 1, "type": "QuantizeTransform", "values": {"step": [90.0, 90.0, 90.0]}},
                              SPHERE | {"id": 2}], [(1, 0, 2, 0)], (2, 0)), "the value ", "values that differ"),
        ("infinite less infinite", graph([{**SPHERE, "values": {"radius": -1e200}},
            {"id": 2, "type": "BinaryOperator", "values": {"op_name": "multiply"}},
            {"id": 3, "type": "BinaryOperator", "values": {"op_name": "subtract"}}],
            [(1, 0, 2, 0), (1, 0, 2, 1), (2, 0, 3, 0), (2, 0, 3, 1)], (3, 0)), "NaN in 100 %"),
        ("no beams", graph([{"id": 1, "type": "BeamSDF", "import": "none.obj"}], output=(1, 0)), "1.79769e+308 in all", "imports"),
    ]

    def notes(self, *arguments):
        lines = self.succeed(*arguments).err.splitlines()
        return [line + lines[i + 1] for i, line in enumerate(lines) if line.startswith("note: ")]

    def test_of_what_looks_like_a_mistake(self):
        for name, document, *parts in self.CASES:
            path = self.put(document)
            pin = ":".join(map(str, document["output"]))
            for arguments in (["sample", path, "-o", self.folder / "v.npy"], ["slice", path, "-o", self.folder / "p.png"],
                              ["check", path, "--fields"]):
                with self.subTest(name, command=arguments[0]):
                    notes = [note for note in self.notes(*arguments) if f"output {pin}" in note]
                    self.assertEqual(len(notes), 1, notes)
                    for part in (*parts, "case.zrk.json", "remedy: "):
                        self.assertIn(part, notes[0])
                    if "-o" in arguments:
                        self.assertEqual(self.succeed(*arguments, "--quiet").err.count("note: "), 0)

    def test_none_of_what_is_as_it_should_be(self):
        good = ["sphere", "sphere_and_twisted_gyroid", "gyroid", "color_image", "directions", "torus", "box_wireframe"]
        for name in good:
            with self.subTest(name):
                path = ROOT / f"examples/{name}.zrk.json"
                self.assertEqual(self.notes("slice", path, "-o", self.folder / "p.png", "--size", 64), [])

    def test_distances_whose_slope_is_far_from_1(self):
        def notes(document):
            return [note for note in self.notes("check", self.put(document), "--fields") if "gradient" in note]
        wide = {"context": {"modelBounds": [[-2, -2, -2], [2, 2, 2]]}}
        self.assertEqual(notes(graph([SPHERE, {"id": 2, "type": "BoxSDF"}], **wide)), [])
        scaled = graph([{"id": 1, "type": "AffineTransform", "values": {"scaling": [0.25, 0.25, 0.25]}}, SPHERE | {"id": 2}],
                       [(1, 0, 2, 0)], **wide)
        found = notes(scaled)
        self.assertEqual(len(found), 1, found)
        for part in ("output 2:0 (sdf)", "100 % of the bounds", "a length of 1"):
            self.assertIn(part, found[0])


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


    def slice(self, document, *options):
        self.succeed("slice", document, "-o", self.folder / "p.png", *options)
        return pixels(self.folder / "p.png")

    def test_the_view_of_the_document_counts_unless_an_option_says_otherwise(self):
        sphere = {**SPHERE, "values": {"radius": 0.3, "center": [0.2, 0.5, 0.8]}}
        plain = self.put(graph([sphere], output=(1, 0)), "plain.zrk.json")
        viewed = self.put(graph([sphere], output=(1, 0), view={"axis": "x", "at": 0.2, "range": [-1, 3]}))
        self.assertEqual(self.slice(viewed), self.slice(plain, "--axis", "x", "--at", 0.2, "--range", "-1,3"))
        self.assertEqual(self.slice(viewed, "--axis", "z", "--range", "-1,1"),
                         self.slice(plain, "--at", 0.2, "--range", "-1,1"))
        self.assertEqual(self.slice(viewed, "--at", 0.6), self.slice(plain, "--axis", "x", "--at", 0.6, "--range", "-1,3"))

    def test_the_surface_lies_at_the_value_asked_for(self):
        # A plane's distance is z: half of it is drawn as one that is moved by half a unit.
        def plane(z):
            return self.put(graph([{"id": 1, "type": "PlaneSDF", "values": {"origin": [0, 0, z]}}], output=(1, 0)), f"{z}.zrk.json")
        view = ["--axis", "x", "--size", 40]
        contour = [min(range(40), key=lambda y: sum(rows[y][0])) for rows in
                   (self.slice(plane(z), *view, *options)[2] for z, options in
                    ((0.5, []), (0, ["--iso", 0.5]), (0, ["--density"]), (0.25, ["--iso", 0.25, "--density"]), (0.25, [])))]
        self.assertLessEqual(max(contour[:4]) - min(contour[:4]), 1, contour)  # the line may lie between two rows
        self.assertGreater(abs(contour[0] - contour[4]), 5, contour)
        # A density is solid, and so blue, above its value.
        for options, side in (([], 0), (["--density"], 1)):
            red, _, blue = self.slice(plane(0), *view, "--iso", 0.5, *options)[2][2 if side else -3][0]
            self.assertGreater(blue, red)
        self.refused(2, "slice", plane(0), "-o", self.folder / "p.png", "--iso", "nan", contains=["--iso"])

    def test_weight_0_looks_other_than_value_0(self):
        # An operator without inputs reads 0 with weight 0; a distance to a plane in the slice reads 0 with weight 1.
        def colours(document):
            return {colour for row in self.slice(document, "--size", 32, "--range", "-1,1")[2] for colour in row}
        nothing = graph([{"id": 1, "type": "ZRKInvert"}], output=(1, 0))
        level = graph([{"id": 1, "type": "ZRKInvert"}, {"id": 2, "type": "PlaneSDF", "values": {"normal": [0, 0, 1], "origin": [0, 0, 0.5]}}],
                      [(2, 0, 1, 0)], (1, 0))
        self.assertEqual(len(colours(self.put(nothing))), 2, "dots on a pale ground")
        self.assertEqual(colours(self.put(nothing)) & colours(self.put(level)), set())
        self.assertIn("dots where the weight is 0", self.succeed("slice", self.put(nothing), "-o", self.folder / "p.png").err)

    def test_a_legend_stands_below_the_same_picture(self):
        for document, size, options in ((BLEND, 200, []), (BLEND, 200, ["--pin", "1:0"]), (BLEND, 16, []),
                                        (ROOT / "examples/color_image.zrk.json", 200, [])):
            width, height, rows = self.slice(document, "--size", size, *options)
            wide, high, more = self.slice(document, "--size", size, "--legend", *options)
            self.assertEqual(wide, width)
            self.assertGreater(high, height)
            self.assertEqual(more[:height], rows)
            told = self.succeed("slice", document, "-o", self.folder / "p.png", "--size", size, "--legend", *options).err
            self.assertIn(f": {wide} x {high} pixels,", told)
            strip = {colour for row in more[height:] for colour in row}
            self.assertTrue({(255, 255, 255), (18, 20, 28)} <= strip)

    def test_the_scale_bar_has_the_length_that_it_tells(self):
        # 300 pixels for 3 mm: the longest round length within a third of them is 1 mm.
        path = self.put(graph([SPHERE], output=(1, 0), context={"unit": "mm", "modelBounds": [[0, 0, 0], [3, 3, 3]]}))
        without = self.put(graph([SPHERE], output=(1, 0), context={"modelBounds": [[0, 0, 0], [3, 3, 3]]}), "w.zrk.json")
        ink = (18, 20, 28)
        def longest(rows):
            return max((len(run) for row in rows for run in "".join("#" if c == ink else " " for c in row).split()), default=0)
        _, _, rows = self.slice(path, "--size", 300, "--axis", "x")
        _, _, plain = self.slice(without, "--size", 300, "--axis", "x")
        self.assertEqual(longest(rows[260:]), 100)
        self.assertEqual(rows[:240], plain[:240])
        self.assertLess(longest(plain[260:]), 100)


@unittest.skipIf(".vdb" not in run("sample", "--help").out, "needs OpenVDB")
class Grids(ZrkTest):
    """What a .vdb file takes; formats_tests looks into it."""

    def test_a_band_has_the_nodes_near_the_surface_and_nothing_else_is_sampled(self):
        document = self.put(graph([SPHERE], output=(1, 0)))  # radius 1
        for low, high, most in ((-1.3, 1.3, 60), (0.1, 1.4, 90)):
            found = set()
            for options in ([], ["--threads", 1, "--type", "float32"], ["--memory", "100M"]):
                answer = self.succeed("sample", document, "-o", self.folder / "band.vdb", "--resolution", 53, "--band", 2.1,
                                      f"--bounds={low},{low},{low},{high},{high},{high}", *options)
                match = re.search(r"(\d+) nodes in the band; sampled ([\d.]+) % of (\d+) boxes", answer.err)
                found.add(match.groups())
            self.assertEqual(len(found), 1)
            voxel, axis = (high - low) / 52, range(-4, 58)
            at = {i: low + voxel * i for i in axis}
            near = sum(abs(max(math.hypot(at[i], at[j], at[k]) - 1, *(max(low - at[n], at[n] - high) for n in (i, j, k)))) < 2.1 * voxel
                       for i in axis for j in axis for k in axis)
            self.assertEqual(int(match[1]), near)
            self.assertLess(float(match[2]), most)

    def test_bands_that_cannot_be(self):
        out = ["-o", self.folder / "a.vdb"]
        sphere = self.put(graph([SPHERE], output=(1, 0)))
        for arguments, status, part in ((["-o", self.folder / "a.vti", "--band", 3], 2, "a .vdb file"), ([*out, "--band", 0.5], 2, "1 to 1000"),
                                        ([*out, "--band", 3, "--dims", "9,9,9"], 2, "--dims"),
                                        ([*out, "--band", 3, "--bounds", "3,3,3,4,4,4"], 1, "no node within the band")):
            self.refused(status, "sample", sphere, *arguments, contains=[part])
        self.refused(2, "sample", ROOT / "examples/gyroid.zrk.json", *out, "--band", 3, contains=["density"])
        self.assertEqual(self.files(), ["case.zrk.json"])

    def test_a_grid_takes_its_values_in_memory_and_little_more(self):
        grid = ["--resolution", 200, "-o", self.folder / "a.vdb"]  # 64 MB of values
        self.succeed("sample", BLEND, *grid, "--memory", "160M")
        self.refused(1, "sample", BLEND, *grid, "--memory", "60M", contains=["memory", "--type float32"])


if __name__ == "__main__":
    unittest.main()

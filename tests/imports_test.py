"""Meshes and pictures as other programs write them: in imports, in resources and in reports."""

import json
import struct
import unittest

import mesh_files
from zrk_program import ROOT, ZrkTest, graph, run

SEEDS = ROOT / "fuzz" / "corpus"
VERTICES = [(x, y, z) for z in (0, 4) for y in (0, 2) for x in (0, 1)]
QUADS = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (1, 3, 7, 5), (3, 2, 6, 7), (2, 0, 4, 6)]
TRIANGLES = [t for a, b, c, d in QUADS for t in ((a, b, c), (a, c, d))]
WARNING = "found 6 faces of four or more corners"


def obj(faces, vertices=VERTICES):
    return ("".join("v {} {} {}\n".format(*v) for v in vertices)
            + "".join("f " + " ".join(str(i + 1) for i in face) + "\n" for face in faces))


def stl(triangles, name=b"solid"):
    corners = [[VERTICES[i] for i in triangle] for triangle in triangles]
    return name.ljust(80) + struct.pack("<I", len(triangles)) + b"".join(
        struct.pack("<12fH", 0, 0, 0, *a, *b, *c, 0) for a, b, c in corners)


def ply(faces):
    return (f"ply\nformat ascii 1.0\nelement vertex 8\nproperty float x\nproperty float y\nproperty float z\n"
            f"element face {len(faces)}\nproperty list uchar int vertex_indices\nend_header\n"
            + "".join("{} {} {}\n".format(*v) for v in VERTICES)
            + "".join(" ".join(map(str, (len(face), *face))) + "\n" for face in faces))


FILES = {"quads.obj": obj(QUADS), "triangles.obj": obj(TRIANGLES), "part.stl": stl(TRIANGLES), "part.ply": ply(QUADS),
         "part.3mf": mesh_files.package(mesh_files.model(VERTICES, TRIANGLES, "inch")),
         "far.3mf": mesh_files.package(mesh_files.model([(x - 9, y, z) for x, y, z in VERTICES], TRIANGLES, "inch",
                                                        'transform="1 0 0 0 1 0 0 0 1 9 0 0"'))}


class ImportsTest(ZrkTest):
    def setUp(self):
        super().setUp()
        for name, content in FILES.items():
            self.put(content, name)

    def importing(self, entry, kind="MeshSDF", **members):
        return self.put(graph([{"id": 1, "type": kind, "import": entry}], output=(1, 0), **members))

    def shape(self, path, **members):
        """Gives 0.5 less the distance, cut to 0 to 1."""
        resource = {"uuid": "a1", "kind": "geometry", "shape": "mesh", "path": path}
        blend = {"id": 1, "type": "geometry blend", "values": {"geometries": "a1"}}
        return self.put(graph([blend], output=(1, 0), resources=[resource], **members))

    def values(self, document, *positions):
        out = self.succeed("probe", document, "--quiet", "--at", *positions).out
        return [float(line.split(",")[0]) for line in out.splitlines()]

    def warnings(self, document):
        lines = self.succeed("check", document).err.splitlines()
        return [a + "\n" + b for a, b in zip(lines[::2], lines[1::2])]


class Meshes(ImportsTest):
    def test_polygons_and_fits(self):
        # In the middle, and one beyond the far end of z.
        cases = [("split", "none", ["0.5,1,2", "0.5,1,5"], [-0.5, 1]),
                 ("split", "stretch", ["2.5,2.5,2.5", "2.5,2.5,6"], [-2.5, 1]),
                 ("split", "uniform", ["2.5,2.5,2.5", "2.5,2.5,6"], [-0.625, 1])]
        for polygons, fit, at, expected in cases:
            with self.subTest(fit=fit):
                document = self.importing({"path": ["quads.obj"], "polygons": polygons, "fit": fit})
                self.assertEqual(self.values(document, *at), expected)
                self.assertEqual(self.warnings(document), [])
        # The old forms, and the object that asks for the same, give the same.
        kept = [self.values(self.importing(entry), "1,1,1", "0.3,4,9")
                for entry in ("quads.obj", ["quads.obj"], {"path": "quads.obj"},
                              {"path": "quads.obj", "polygons": "keep", "fit": "stretch"})]
        self.assertEqual(kept, kept[:1] * 4)
        for kind in ("MeshSDF", "BeamSDF"):
            message, = self.warnings(self.importing("quads.obj", kind))
            self.assertIn("quads.obj, line 9: " + WARNING, message)
            self.assertIn('"polygons": "split"', message)
        answer = self.succeed("probe", self.importing("quads.obj"), "--at", "0,0,0")
        self.assertIn(WARNING, answer.err)
        self.assertEqual(run("check", self.importing("quads.obj"), "--strict").status, 2)

    def test_faces_that_are_left_out(self):
        self.put(obj([*QUADS, (0, 1)]), "short.obj")
        message, = self.warnings(self.importing({"path": "short.obj", "polygons": "split"}))
        self.assertIn("short.obj: found 1 face of one or two corners", message)

    def test_every_format_is_imported_and_a_resource(self):
        expected = self.values(self.importing({"path": "triangles.obj", "fit": "none"}), "0.25,1,1", "5,5,5")
        self.assertEqual(expected[0], -0.25)
        for name in FILES:
            with self.subTest(name):
                split = {"path": name, "fit": "none", "polygons": "split"}
                self.assertEqual(self.values(self.importing(split), "0.25,1,1", "5,5,5"), expected)
                self.assertEqual(self.values(self.shape(name), "0.25,1,1", "5,5,5"), [0.75, 0])
                self.assertEqual(self.warnings(self.shape(name)), [])
                report = json.loads(self.succeed("surface", "--report", "--json", self.folder / name).out)
                self.assertTrue(report["clean"], report)
                self.assertEqual((report["vertices"], report["triangles"]), (8, 12))
                self.assertAlmostEqual(report["volume"], 8)
        beams = self.importing({"path": "part.stl", "fit": "none"}, "BeamSDF")
        self.assertEqual(self.values(beams, "0.5,-1,0"), [1 - 0.001])

    def test_units_that_differ(self):
        for document in (self.importing("part.3mf", context={"unit": "mm"}), self.shape("part.3mf", context={"unit": "mm"})):
            message, = self.warnings(document)
            self.assertIn("part.3mf: found a mesh in inch, expected mm", message)
            self.assertIn("nothing is rescaled", message)
        for context in ({"unit": "inch"}, {}):
            self.assertEqual(self.warnings(self.importing("part.3mf", context=context)), [])

    def test_entries_that_are_odd(self):
        message = self.warnings(self.importing({"path": "part.stl", "polygon": "split", "fit": "unifrom", "polygons": 1}))
        self.assertEqual(len(message), 3)
        self.assertIn('"import", "polygon": found a key that documents don\'t know', message[0])
        self.assertIn('did you mean "polygons"?', message[0])
        self.assertIn('"polygons": found 1, expected "keep" or "split"', message[1])
        self.assertIn('"fit": found "unifrom", expected "stretch", "uniform" or "none"', message[2])
        self.assertIn('did you mean "uniform"? as it stands, "stretch" is taken', message[2])
        self.refused(2, "check", self.importing({"fit": "none"}), contains=['"import", "path": found none'])
        self.refused(2, "check", self.importing({"path": []}), contains=['"import", "path": found []'])
        # Slices are no mesh.
        message = self.warnings(self.importing({"path": str(SEEDS / "png_reader/grey8.png"), "fit": "none"}, "ZRK3DImage"))
        self.assertIn('"fit": found a key', message[0])

    def test_files_that_bring_nothing(self):
        self.put("# nothing\n", "empty.obj")
        self.put(b"", "empty.stl")
        self.put(FILES["part.ply"], "ply.stl")
        self.put(FILES["part.3mf"][:200], "cut.3mf")
        self.put(mesh_files.package(mesh_files.model([], [])), "empty.3mf")
        for name, part in {"empty.obj": "no triangles", "empty.stl": "0 bytes", "ply.stl": "a PLY file by its content",
                           "cut.3mf": "no ZIP directory", "empty.3mf": "no triangles", "none.ply": "no file"}.items():
            with self.subTest(name):
                for kind in ("MeshSDF", "BeamSDF"):
                    message, = self.warnings(self.importing(name, kind))
                    self.assertIn(part, message)
                self.refused(2, "check", self.shape(name), contains=[part, '"path"'])


def tiff(width, height, pages):
    """Pages of 16 bit, one strip each."""
    data = bytearray(b"II*\0\0\0\0\0")
    link = 4
    for samples in pages:
        at = len(data)
        data += struct.pack(f"<{width * height}H", *samples)
        data[link:link + 4] = struct.pack("<I", len(data))
        tags = [(256, width), (257, height), (258, 16), (259, 1), (262, 1), (273, at), (277, 1), (278, height),
                (279, 2 * width * height)]
        data += struct.pack("<H", len(tags)) + b"".join(struct.pack("<HHII", tag, 4, 1, value) for tag, value in tags)
        link = len(data)
        data += bytes(4)
    return bytes(data)


class Pictures(ImportsTest):
    def setUp(self):
        super().setUp()
        for seed in ("jpeg_reader/grey.jpg", "tiff_reader/grey8.tif"):
            answer = run("check", self.image("image2d", str(SEEDS / seed)))
            if "which this build can't read" in answer.err:
                self.skipTest(answer.err)

    def image(self, kind, path):
        name, values = {"image2d": ("ScalarImageSampler", {}), "image3d": ("ZRK3DImage", {"wrap": False})}[kind]
        return self.put(graph([{"id": 1, "type": name, "values": {"image": "a1", **values}}], output=(1, 0),
                              resources=[{"uuid": "a1", "kind": kind, "path": path}]))

    def test_stacks_of_tiff_are_volumes(self):
        pages = [[65535 * (x == k) for y in range(2) for x in range(3)] for k in range(3)]
        self.put(tiff(3, 2, pages), "stack.tif")
        (self.folder / "slices").mkdir()
        for k, page in enumerate(pages):
            self.put(tiff(3, 2, [page]), f"slices/{k}.tiff")
        grid = [f"{x / 2},0,{z / 2}" for z in range(3) for x in range(3)]
        expected = self.values(self.image("image3d", "stack.tif"), *grid)
        self.assertEqual(self.values(self.image("image3d", "slices"), *grid), expected)
        self.assertGreater(max(expected), 0.5)
        self.refused(2, "check", self.image("image2d", "stack.tif"), contains=["more than one page"])
        self.put(b"", "slices/preview.png")
        self.refused(2, "check", self.image("image3d", "slices"), contains=["preview.png: found PNG beside TIFF"])

    def test_pictures_are_known_by_their_content(self):
        for seed, name in (("jpeg_reader/grey.jpg", "a.png"), ("jpeg_reader/colour.jpg", "b.jpeg"),
                           ("tiff_reader/palette4.tif", "c.tif"), ("tiff_reader/colour16_big_planes.tif", "d.dat")):
            self.put((SEEDS / seed).read_bytes(), name)
            self.succeed("check", self.image("image2d", name))
        for seed, part in (("jpeg_reader/cmyk.jpg", "CMYK"), ("tiff_reader/float.tif", "floating-point"),
                           ("tiff_reader/fax.tif", "compression 4")):
            self.refused(2, "check", self.image("image2d", str(SEEDS / seed)), contains=['"path"', part])

    def test_nothing_is_told_by_libraries_themselves(self):
        whole = (SEEDS / "tiff_reader/colour_alpha8_tiles.tif").read_bytes()
        for cut in range(0, len(whole) - 8, 37):
            self.put(whole[:cut], "cut.tif")
            message = self.refused(2, "check", self.image("image2d", "cut.tif"), contains=["cut.tif"])
            self.assertEqual(len(message.splitlines()), 2, message)


if __name__ == "__main__":
    unittest.main()

"""`surface`: meshes in every format, read back here and by other programs where they are installed; reports; faults."""

import json
import math
import os
import resource
import shutil
import signal
import subprocess
import time
import unittest

import mesh_files
from zrk_program import PATIENCE, PROGRAM, ROOT, SPHERE, ZrkTest, graph, run

BLEND = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
COLORS = ROOT / "examples/color_of_fields.zrk.json"
DENSITY = ROOT / "examples/falloff.zrk.json"
FORMATS = ("stl", "obj", "ply", "3mf")
AROUND_SPHERE = {"modelBounds": [[-1.5, -1.5, -1.5], [1.5, 1.5, 1.5]]}
BEAMS = {"id": 1, "type": "BeamSDF", "values": {"min": [-1, -1, -1], "max": [1, 1, 1]}}


class SurfaceTest(ZrkTest):
    def sphere(self, **context):
        return self.put(graph([SPHERE], output=(1, 0), context={**AROUND_SPHERE, **context}), "ball.zrk.json")

    def surface(self, document, name, *options, resolution=24):
        """The mesh of a document in the file named, read back."""
        path = self.folder / name
        cells = [] if "--cell" in options else ["--resolution", resolution]
        self.succeed("surface", document, "-o", path, *cells, *options)
        return mesh_files.read(path)

    def report(self, *arguments):
        return json.loads(self.succeed("surface", *arguments, "--report", "--json").out)


def volume(mesh):
    """Enclosed by the mesh; positive where it is turned outwards."""
    return sum(a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2])
               + a[2] * (b[0] * c[1] - b[1] * c[0]) for a, b, c in mesh.corners()) / 6


class Formats(SurfaceTest):
    def test_every_format_holds_the_same_closed_mesh(self):
        meshes = {name: self.surface(BLEND, "a." + name) for name in FORMATS}
        exact = meshes["ply"]
        self.assertEqual(exact.open_edges(), 0)
        self.assertGreater(volume(exact), 0.5)
        for name in ("obj", "3mf"):
            self.assertEqual(meshes[name].vertices, exact.vertices)
            self.assertEqual(meshes[name].triangles, exact.triangles)
        for rounded, corners in zip(meshes["stl"].corners(), exact.corners()):
            for a, b in zip(rounded, corners):
                self.assertLess(max(abs(x - y) for x, y in zip(a, b)), 1e-7)

    def test_any_number_of_threads_gives_the_same_bytes(self):
        for name in FORMATS:
            contents = set()
            for threads in (1, 2, 5):
                self.surface(COLORS, "a." + name, "--pin", "5:0", "--density", "--threads", threads,
                             *([] if name == "stl" else ["--color", "9:0"]))
                contents.add((self.folder / ("a." + name)).read_bytes())
            self.assertEqual(len(contents), 1, name)

    def test_mesh_is_another_name_for_surface(self):
        self.succeed("mesh", self.sphere(), "-o", self.folder / "a.stl", "--resolution", 8)
        self.assertGreater(len(mesh_files.read(self.folder / "a.stl").triangles), 100)

    def test_the_unit_is_named_and_nothing_is_rescaled(self):
        names = {"m": "meter", "cm": "centimeter", "mm": "millimeter", "um": "micron", "inch": "inch", "ft": "foot"}
        plain = self.surface(self.sphere(), "a.3mf", resolution=8)
        self.assertEqual(plain.unit, "millimeter")
        for unit, name in names.items():
            for mesh in (self.surface(self.sphere(unit=unit), "a.3mf", resolution=8),
                         self.surface(self.sphere(unit="um"), "a.3mf", "--unit", unit, resolution=8)):
                self.assertEqual((mesh.unit, mesh.vertices), (name, plain.vertices))
        for name in ("obj", "ply", "stl"):
            self.assertIn("unit inch", str(self.surface(self.sphere(unit="inch"), "a." + name, resolution=8).header))
        path = self.put(graph([SPHERE], output=(1, 0), context={"unit": "furlong"}))
        self.assertIn('found "furlong"', self.succeed("surface", path, "-o", self.folder / "b.3mf", "--resolution", 8).err)
        path = self.put(graph([SPHERE], output=(1, 0)))
        self.refused(2, "surface", path, "-o", self.folder / "b.3mf", "--unit", "yd", contains=["--unit", '"yd"'])

    def test_a_3mf_file_names_the_document_and_the_program(self):
        path = self.put(graph([SPHERE], output=(1, 0)), 'a & "b" <c>.zrk.json')
        self.assertEqual(self.surface(path, "a.3mf").metadata, {"Title": 'a & "b" <c>', "Application": "zrk"})


class Colors(SurfaceTest):
    def test_colors_of_the_vertices_are_those_of_the_field(self):
        exact = self.surface(COLORS, "a.ply", "--pin", "1:0", "--color", "9:0")
        at = "\n".join(",".join(map(repr, v)) for v in exact.vertices)
        probed = self.succeed("probe", COLORS, "--points", "-", stdin=at.encode()).out.splitlines()
        for color, line in zip(exact.colors, probed, strict=True):
            wanted = [255 * min(max(float(c), 0), 1) for c in line.split(",")[:4]]
            self.assertLessEqual(max(abs(a - b) for a, b in zip(color, wanted)), 0.5 + 1e-9, (color, line))
        self.assertGreater(len(set(exact.colors)), 8)
        self.assertEqual(self.surface(COLORS, "a.3mf", "--pin", "1:0", "--color", "9:0").colors, exact.colors)
        self.assertEqual(self.surface(COLORS, "a.obj", "--pin", "1:0", "--color", "9:0").colors,
                         [c[:3] for c in exact.colors])

    def test_values_and_vectors_are_shown_as_in_pictures(self):
        shifted = {**SPHERE, "id": 2, "values": {"center": [0, 0, 2], "radius": 0}}  # 2 - z on the axis
        path = self.put(graph([SPHERE, shifted, {"id": 3, "type": "PositionVec3"}], output=(1, 0), context=AROUND_SPHERE))
        violet, yellow = (68, 1, 84, 255), (253, 231, 37, 255)

        def ends(mesh):
            by_height = sorted(zip(mesh.vertices, mesh.colors), key=lambda pair: pair[0][2])
            return by_height[-1][1], by_height[0][1]
        for options in ([], ["--open"]):  # in pieces, and in memory
            told = self.succeed("surface", path, "-o", self.folder / "a.ply", "--resolution", 24, "--color", "2:0", *options).err
            low, high = map(float, told.split("colours from ")[1].split(" to "))
            self.assertTrue(abs(low - 1) < 0.02 and abs(high - 3) < 0.02, told)
            for found, wanted in zip(ends(mesh_files.read(self.folder / "a.ply")), (violet, yellow)):
                self.assertLess(max(abs(a - b) for a, b in zip(found, wanted)), 5, (found, wanted))
        self.assertEqual(ends(self.surface(path, "a.ply", "--color", "2:0", "--range", "5,6"))[1], violet)
        mesh = self.surface(path, "a.ply", "--color", "3:0")
        for vertex, color in zip(mesh.vertices, mesh.colors):
            wanted = [255 * min(max(x, 0), 1) for x in vertex] + [255]
            self.assertLessEqual(max(abs(a - b) for a, b in zip(color, wanted)), 0.5 + 1e-6)
        for k in (1, 2):
            self.succeed("surface", path, "--resolution", 24, "--color", "2:0", "--range", "1,3", "--shard", f"{k}/2",
                         "-o", self.folder / "t.zrk-tiles")
        self.succeed("join", self.folder / "t.zrk-tiles", "-o", self.folder / "joined.ply")
        whole = self.surface(path, "a.ply", "--color", "2:0", "--range", "1,3")
        self.assertEqual(sorted(mesh_files.read(self.folder / "joined.ply").colors), sorted(whole.colors))

    def test_other_tags_and_stl_are_refused(self):
        out = ["-o", self.folder / "a.ply"]
        self.refused(2, "surface", COLORS, *out, "--pin", "8:0", "--color", "9:0", "--range", "0,1",
                     contains=["--range", "a scalar output"])
        self.refused(2, "surface", COLORS, *out, "--pin", "8:0", "--color", "8", contains=["--color", "NODE:OUT"])
        self.refused(2, "surface", COLORS, "-o", self.folder / "a.stl", "--pin", "8:0", "--density", "--color", "9:0",
                     contains=["STL", "no colours"])
        self.assertEqual(self.files(), [])


class Beams(SurfaceTest):
    def test_a_lattice_stands_beside_its_triangles(self):
        path = self.put(graph([BEAMS], output=(1, 0)))
        mesh = self.surface(path, "a.3mf", "--bounds", "-2,-2,-2,2,2,2")
        # 5 cells a side and one more beyond: 7 nodes an axis, a beam from each to the next along each axis.
        self.assertEqual(len(mesh.beams), 3 * 6 * 49)
        self.assertAlmostEqual(mesh.radius, 0.35 * 2 / 5)
        ends = [(mesh.vertices[a], mesh.vertices[b]) for a, b in mesh.beams]
        for a, b in ends:
            self.assertAlmostEqual(math.dist(a, b), 0.4)
        self.assertEqual(min(min(a) for a, _ in ends), -1)
        self.assertGreater(min(b for beam in mesh.beams for b in beam), max(i for t in mesh.triangles for i in t))
        self.assertAlmostEqual(self.surface(path, "b.3mf", "--bounds", "-2,-2,-2,2,2,2", "--iso", "0.01").radius,
                               0.35 * 2 / 5 + 0.01)

    def test_a_report_tells_that_it_passes_over_beams(self):
        self.surface(self.put(graph([BEAMS], output=(1, 0))), "a.3mf", "--bounds", "-2,-2,-2,2,2,2")
        answer = self.succeed("surface", self.folder / "a.3mf", "--report", "--json")
        self.assertTrue(json.loads(answer.out)["clean"])
        self.assertRegex(answer.err, r"warning: .*a\.3mf: found 1 lattices of beams, which aren't read")

    def test_only_where_the_beams_are_the_solid(self):
        turned = graph([{"id": 2, "type": "AffineTransform"}, BEAMS], [(2, 0, 1, 0)], (1, 0))
        bounds = ["--bounds", "-2,-2,-2,2,2,2"]
        cases = [  # a document, options
            (graph([BEAMS], output=(1, 0)), ["--bounds", "-2,-2,-2,1,2,2"]),  # cut off
            (graph([BEAMS], output=(1, 0)), [*bounds, "--density", "--iso", "0"]),
            (turned, bounds),
        ]
        for document, options in cases:
            with self.subTest(options=options):
                self.assertEqual(self.surface(self.put(document), "a.3mf", *options, resolution=12).beams, [])


class Settings(SurfaceTest):
    def test_solid_is_below_a_distance_and_above_a_density(self):
        ball = self.surface(self.sphere(), "a.ply", resolution=48)
        self.assertAlmostEqual(volume(ball), 4 / 3 * math.pi, delta=0.02)
        larger = self.surface(self.sphere(), "a.ply", "--iso", "0.25", resolution=48)
        self.assertAlmostEqual(volume(larger), 4 / 3 * math.pi * 1.25 ** 3, delta=0.05)
        around = self.surface(self.sphere(), "a.ply", "--density", "--iso", "0", resolution=48)
        self.assertAlmostEqual(volume(around), 27 - 4 / 3 * math.pi, delta=0.02)
        # The density falls from 1 to 0 between the distances -0.2 and 0.3: 0.5 at 0.05.
        ring = self.surface(DENSITY, "a.ply", "--pin", "2:0", "--density", resolution=64)
        self.assertAlmostEqual(volume(ring), 2 * math.pi ** 2 * 0.8 * 0.4 ** 2, delta=0.02)
        # An output named density needs no option.
        cross = self.put(graph([{"id": 1, "type": "Cross"}], output=(1, 0)))
        self.assertEqual(self.surface(cross, "a.ply").corners(),
                         self.surface(cross, "a.ply", "--density", "--iso", "0.5").corners())

    def test_cells_by_number_or_by_size(self):
        extent = {}
        for options in (["--cell", "0.25"], ["--cell", "0.2500001"], ["--cell", "0.26"]):
            extent[options[1]] = len(self.surface(self.sphere(), "a.ply", *options).triangles)
        twelve = len(self.surface(self.sphere(), "a.ply", resolution=12).triangles)
        self.assertEqual(set(extent.values()), {twelve})
        finer = len(self.surface(self.sphere(), "a.ply", "--cell", "0.249").triangles)
        self.assertEqual(finer, len(self.surface(self.sphere(), "a.ply", resolution=13).triangles))

    def test_sharp_keeps_the_edges_of_a_box(self):
        box = self.put(graph([{"id": 1, "type": "BoxSDF", "values": {"center": [0, 0, 0], "dimensions": [2, 1.6, 1.2]}}],
                             output=(1, 0), context=AROUND_SPHERE))
        corner = (1, 0.8, 0.6)

        def off(*options):
            return min(math.dist(v, corner) for v in self.surface(box, "a.ply", *options, resolution=20).vertices)
        report = self.report(box, "-o", self.folder / "a.stl", "--resolution", 20, "--sharp")
        self.assertAlmostEqual(report["sharpEdgeLength"], 4 * (2 + 1.6 + 1.2))
        self.assertIsInstance(report["doubtfulCells"], int)
        self.assertLess(off("--sharp"), 1e-9)
        self.assertGreater(off(), 0.01)

    def test_adaptive_joins_flat_triangles(self):
        box = self.put(graph([{"id": 1, "type": "BoxSDF", "values": {"center": [0, 0, 0]}}], output=(1, 0),
                             context=AROUND_SPHERE))
        counts = []
        for options in ([], ["--adaptive", "0.001"]):
            report = self.report(box, "-o", self.folder / "a.stl", "--resolution", 40, "--sharp", *options)
            self.assertTrue(report["clean"], options)
            self.assertAlmostEqual(report["volume"], 1, delta=0.01)
            counts.append(report["triangles"])
        self.assertLess(4 * counts[1], counts[0])

    def test_bounds_cut_and_close_or_leave_open(self):
        cut = ["--bounds", "0,-2,-2,2,2,2"]
        rim = self.surface(self.sphere(), "a.ply", *cut, "--open", resolution=40).open_edges()
        self.assertGreater(rim, 40)
        half = self.surface(self.sphere(), "a.ply", "--bounds", "0,-2,-2,2,2,2", resolution=40)
        self.assertEqual(half.open_edges(), 0)
        self.assertAlmostEqual(volume(half), 2 / 3 * math.pi, delta=0.02)
        self.assertGreater(min(v[0] for v in half.vertices), -0.05)


class Reports(SurfaceTest):
    def test_a_sphere_is_clean_and_measured(self):
        path = self.sphere(unit="mm")
        report = self.report(path, "-o", self.folder / "a.3mf", "--resolution", 32)
        self.assertEqual([report[k] for k in ("clean", "closed", "manifold", "components", "genus", "openEdges",
                                              "selfIntersections", "unit")],
                         [True, True, True, 1, 0, 0, 0, "mm"])
        self.assertAlmostEqual(report["volume"], 4 / 3 * math.pi, delta=0.03)
        self.assertLess(report["distanceError"]["vertexRms"], 0.05 * 3 / 32)
        self.assertEqual(report["triangles"], len(mesh_files.read(self.folder / "a.3mf").triangles))
        text = self.succeed("surface", path, "-o", self.folder / "a.3mf", "--resolution", 32, "--report").out
        self.assertRegex(text, r"clean +yes")
        self.assertRegex(text, r"volume +4\.1\d+ mm\^3")

    def test_alone_as_with_a_mesh(self):
        path = self.sphere(unit="mm")
        for options in ([], ["--sharp", "--adaptive", "0.01"]):
            alone = self.succeed("surface", path, "--resolution", 16, "--report", *options)
            self.assertEqual(self.files(), ["ball.zrk.json"])
            mesh = self.succeed("surface", path, "-o", self.folder / "a.ply", "--resolution", 16, "--report", *options)
            self.assertEqual(alone.out, mesh.out.replace(str(self.folder / "a.ply"), str(path)))
            (self.folder / "a.ply").unlink()
        report = self.report("--resolution", 16, path)  # the word after --report comes last
        self.assertEqual(report["unit"], "mm")
        self.assertEqual(self.report(path, "--unit", "cm", "--resolution", 16)["unit"], "cm")
        self.succeed("surface", path, "--resolution", 16, "--report", self.folder / "r.json")
        self.assertEqual(json.loads((self.folder / "r.json").read_text()), report)
        self.assertIn("clean", self.succeed("surface", "-", "--resolution", 16, "--report", stdin=path.read_bytes()).out)
        empty = self.put(graph([{**SPHERE, "values": {"radius": -9}}], output=(1, 0)))
        self.refused(1, "surface", empty, "--report")
        self.refused(2, "surface", path, "--report", "--color", "1:0", contains=["--color", "-o FILE"])
        self.refused(2, "surface", path, "--report", "--shard", "1/2", contains=["-o"])

    def test_written_beside_the_mesh(self):
        out = ["-o", self.folder / "a.stl", "--resolution", 8]
        for name, options, begins in (("r.json", [], "{"), ("r.txt", [], str(self.folder / "a.stl")),
                                      ("r.txt", ["--json"], "{")):
            answer = self.succeed("surface", self.sphere(), *out, "--report", self.folder / name, *options)
            self.assertEqual(answer.out, "")
            self.assertTrue((self.folder / name).read_text().startswith(begins), name)
        self.assertEqual(self.files(), ["a.stl", "ball.zrk.json", "r.json", "r.txt"])

    def test_meshes_from_elsewhere(self):
        cube = "".join(f"v {x} {y} {z}\n" for z in (0, 1) for y in (0, 1) for x in (0, 1))
        quads = "f 1 3 4 2\nf 5 6 8 7\nf 1 2 6 5\nf 3 7 8 4\nf 1 5 7 3\nf 2 4 8 6\n"
        report = self.report(self.put(cube + quads, "cube.obj"))
        self.assertEqual((report["clean"], report["triangles"]), (True, 12))
        self.assertAlmostEqual(report["volume"], 1)
        self.assertNotIn("distanceError", report)
        report = self.report(self.put(cube + "\n".join(quads.split("\n")[:5]), "open.obj"))
        self.assertEqual((report["clean"], report["closed"], report["openEdges"]), (False, False, 4))
        for name in ("stl", "ply", "obj"):
            self.surface(BLEND, "a." + name)
            report = self.report(self.folder / ("a." + name))
            self.assertTrue(report["closed"], name)
            self.assertTrue(report["manifold"], name)
        # The word after --report is the mesh where there is no other; either order does.
        self.assertIn("cube.obj\n", self.succeed("surface", "--report", self.folder / "cube.obj").out)
        self.assertIn("cube.obj\n", self.succeed("surface", self.folder / "cube.obj", "--report").out)

    def test_wrong_meshes_are_bad_input(self):
        cases = [("a.stl", b"solid\nvertex 0 0 x\n", "line 2"), ("a.ply", b"plyx", "something else"),
                 ("a.obj", b"v 0 0 0\nf 1 2 3\n", "vertex 2"), ("b.stl", b"\0" * 80 + b"\xff" * 4, "84 bytes")]
        for name, content, part in cases:
            self.refused(2, "surface", "--report", self.put(content, name), contains=[name, part])
        self.refused(2, "surface", "--report", self.folder / "none.stl", contains=["none.stl"])


class OtherReaders(SurfaceTest):
    """Programs and libraries of others. What isn't installed is skipped; tools/install-dependencies has them."""

    def program(self, name):
        if not shutil.which(name):
            self.skipTest(f"{name} is not installed")
        return name

    def said(self, *arguments):
        return subprocess.run([str(a) for a in arguments], capture_output=True, text=True, timeout=60, check=True).stdout

    def test_admesh_finds_an_stl_file_whole(self):
        admesh = self.program("admesh")
        mesh = self.surface(BLEND, "a.stl", resolution=40)
        said = self.said(admesh, self.folder / "a.stl")
        self.assertRegex(said, rf"Number of facets +: +{len(mesh.triangles)} +{len(mesh.triangles)}")
        for fault in ("Degenerate facets", "Edges fixed", "Facets removed", "Facets added", "Facets reversed",
                      "Backwards edges"):
            self.assertRegex(said, fault + r" +: +0\b")

    def test_assimp_reads_every_format(self):
        assimp = self.program("assimp")
        for name in FORMATS:
            with self.subTest(name):
                color = [] if name == "stl" else ["--color", "9:0"]
                mesh = self.surface(COLORS, "a." + name, "--pin", "8:0", "--density", *color, resolution=12)
                said = self.said(assimp, "info", self.folder / ("a." + name), "-r")
                self.assertRegex(said, rf"Faces: +{len(mesh.triangles)}\n")

    def test_openvdb_reads_a_level_set(self):
        if ".vdb" not in self.succeed("surface", "--help").out:
            self.refused(2, "surface", self.sphere(), "-o", self.folder / "a.vdb",
                         contains=["which this build can't write", "tools/install-dependencies vdb"])
            return
        said = {}
        for threads in (1, 2):
            self.succeed("surface", self.sphere(unit="cm"), "-o", self.folder / f"{threads}.vdb", "--cell", "0.1",
                         "--threads", threads)
            data = (self.folder / f"{threads}.vdb").read_bytes()
            said[data[:21] + data[57:]] = threads  # all but the random name of the file
        self.assertEqual(len(said), 1)
        for options, part in ((["--open"], "open surface"), (["--color", "1:0"], "--color")):
            self.refused(2, "surface", self.sphere(), "-o", self.folder / "a.vdb", *options, contains=[part])
        said = self.said(self.program("vdb_print"), "-l", self.folder / "1.vdb")
        for part in ("class: level set", "name: surface", "voxel size: 0.1", "title: ball", "unit: cm"):
            self.assertIn(part, said)
        self.assertEqual(self.files(), ["1.vdb", "2.vdb", "ball.zrk.json"])

    def test_lib3mf_has_no_warning(self):
        library = mesh_files.lib3mf()
        if not library:
            self.skipTest("lib3mf is not installed")
        beams = self.put(graph([BEAMS], output=(1, 0)))
        for document, options in ((BLEND, []), (COLORS, ["--pin", "8:0", "--density", "--color", "9:0"]),
                                  (beams, ["--bounds", "-2,-2,-2,2,2,2"])):
            mesh = self.surface(document, "a.3mf", *options)
            self.assertEqual(mesh_files.read_by_lib3mf(library, self.folder / "a.3mf"),
                             (0, len(mesh.vertices), len(mesh.triangles), len(mesh.beams)))


def half_without_values():
    """A sphere whose distance is NaN where another sphere's distance to the power of 4096 overflows."""
    nodes = [SPHERE, {"id": 2, "type": "SphereSDF", "values": {"center": [2, 0, 0]}}]
    links = []
    for i in range(3, 15):
        nodes.append({"id": i, "type": "BinaryOperator", "values": {"op_name": "multiply"}})
        links += [(i - 1, 0, i, 0), (i - 1, 0, i, 1)]
    nodes += [{"id": 15, "type": "BinaryOperator", "values": {"op_name": "subtract"}},
              {"id": 16, "type": "BinaryOperator", "values": {"op_name": "add"}}]
    links += [(14, 0, 15, 0), (14, 0, 15, 1), (1, 0, 16, 0), (15, 0, 16, 1)]
    return graph(nodes, links, (16, 0), context=AROUND_SPHERE)


class BadInput(SurfaceTest):
    def test_wrong_usage(self):
        ball = self.sphere()
        mesh = self.put("v 0 0 0\n", "m.obj")
        out = ["-o", self.folder / "a.stl"]
        cases = [
            ([], ["no document", "zrk surface --help"]),
            ([ball], ["-o FILE"]),
            ([ball, "--json", *out], ["--json: found it without --report"]),
            *[([mesh, "--report", *option], [f"{option[0].split('=')[0]}: found ", "m.obj\", a mesh", "a graph document"])
              for option in (["--sharp"], ["--iso=1"], ["--pin=1:0"], ["--bounds=0,0,0,1,1,1"], ["--strict"])],
            ([mesh], ["a mesh file", "--report"]),
            ([mesh, "--report", *out], ["a mesh file", "without -o"]),
            ([ball, *out, "--report", self.folder / "r.stl"], ["--report", "report.txt"]),
            ([ball, *out, "--report", self.folder / "r.zrk.json"], ["--report", "not a mesh or a document"]),
            ([ball, "-o", self.folder / "a.xyz"], ["extension .xyz", ".3mf, .stl, .ply", ".obj"]),
            ([ball, "-o", self.folder / "a"], ["no extension"]),
            (["--report", self.folder / "a.vdb"], ["a.vdb", ".3mf, .stl, .ply or .obj", "convert"]),
            ([self.folder / "a.step", "--report"], ["extension .step", ".stl, .ply or .obj"]),
            ([self.folder / "a.3mf", *out], ["a.3mf", "a mesh file", "a graph document"]),
            ([ball, *out, "--report", self.folder / "r.3mf"], ["--report", "not a mesh or a document"]),
            ([COLORS, *out, "--pin", "1:0", "--color", "9:0"], ["STL", "no colours", ".3mf, .ply or .obj"]),
            ([BLEND, "-o", self.folder / "a.ply", "--range", "0,1"], ["--range", "a scalar output after --color"]),
            ([BLEND, "-o", self.folder / "a.zrk-tiles", "--shard", "1/2", "--color", "3:0"],
             ["--color 3:0", "values in tiles", "--range LO,HI"]),
            *[([ball, *out, f"--cell={cell}"], ["--cell"]) for cell in ("0", "-1", "nan", "inf", "x")],
            *[([ball, *out, f"--iso={iso}"], ["--iso"]) for iso in ("nan", "inf", "x")],
            *[([ball, *out, f"--adaptive={e}"], ["--adaptive"]) for e in ("nan", "-1", "inf", "0")],
            ([ball, *out, "--cell", "0.1", "--resolution", "8"], ["--cell"]),
            ([ball, *out, "--resolution", "0"], ["--resolution"]),
            ([ball, *out, "--bounds", "0,0,0,1,1,0"], ["no extent along z", "--bounds"]),
            ([ball, *out, "--bounds", "0,0,0,1,1"], ["--bounds", "six"]),
            ([BLEND, *out, "--pin", "1:0"], ["node 1", "Vector3d", "tag Scalar", "zrk check"]),
            ([COLORS, *out], ["node 9", "Color", "tag Scalar"]),
        ]
        before = self.files()
        for arguments, parts in cases:
            with self.subTest(arguments=[str(a)[-20:] for a in arguments]):
                self.refused(2, "surface", *arguments, contains=parts)
        self.assertEqual(self.files(), before)

    def test_bounds_without_a_surface(self):
        target = self.put("old", "a.stl")
        for bounds in ("2,2,2,3,3,3", "-.1,-.1,-.1,.1,.1,.1"):
            arguments = ["surface", self.sphere(), "-o", target, "--bounds=" + bounds]
            if bounds[0] == "-":
                arguments += ["--density", "--iso", "0"]
            self.refused(1, *arguments, contains=["no surface at 0", "--bounds"])
        self.refused(1, "surface", self.sphere(), "-o", target, "--bounds=-.1,-.1,-.1,.1,.1,.1", "--open",
                     contains=["no surface at 0", "values on both sides of 0"])
        self.assertEqual(target.read_text(), "old")
        self.assertEqual(self.files(), ["a.stl", "ball.zrk.json"])

    def test_too_many_cells_are_refused_before_the_work(self):
        for options, part in ((["--resolution", 1_000_000], "TiB"), (["--cell", 1e-12], "2147483631"),
                              (["--cell", 2e-9], "4294967295 vertices")):
            begun = time.monotonic()
            self.refused(1, "surface", BLEND, "-o", self.folder / "a.stl", *options, contains=[part, "--resolution"])
            self.assertLess(time.monotonic() - begun, 5 * PATIENCE)
        # A small ball in large bounds needs little, however many cells there are.
        self.succeed("surface", self.sphere(), "-o", self.folder / "a.stl", "--resolution", 20000,
                     "--bounds", "-500,-500,-500,500,500,500")

    def test_regions_without_values_are_closed_around(self):
        path = self.put(half_without_values())
        answer = self.succeed("surface", path, "-o", self.folder / "a.ply", "--resolution", 24)
        self.assertRegex(answer.err, r"warning: .*node 16: found no value \(NaN\) at [1-9]\d+ samples")
        self.assertEqual(answer.err.count("warning"), 1)
        mesh = mesh_files.read(self.folder / "a.ply")
        self.assertEqual(mesh.open_edges(), 0)
        self.assertLess(volume(mesh), 4 / 3 * math.pi - 0.5)
        self.assertGreater(volume(mesh), 1)
        self.refused(1, "surface", path, "-o", self.folder / "b.ply", "--pin", "15:0", "--bounds", "-9,0,0,-8,1,1",
                     contains=["no surface", "no value"])


class Disks(SurfaceTest):
    def test_targets_that_cannot_be_written(self):
        (self.folder / "folder.stl").mkdir()
        self.put("old", "file")
        slow = ["--resolution", "20000"]  # refused before the work
        for name, part in (("folder.stl", "folder"), ("none/a.stl", "create the folder"), ("file/a.stl", "Not a dir")):
            self.refused(1, "surface", BLEND, "-o", self.folder / name, *slow, contains=[name, part])
        for name in FORMATS:
            link = self.folder / ("full." + name)
            link.symlink_to("/dev/full")
            self.refused(1, "surface", self.sphere(), "-o", link, contains=["full." + name, "No space"])
        self.refused(1, "surface", self.sphere(), "-o", self.folder / "a.stl", "--resolution", 8, "--report",
                     "/dev/full", contains=["/dev/full", "No space"])

    def test_a_file_size_limit_leaves_the_old_file(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (50_000, 50_000))
        for name in FORMATS:
            target = self.put("old", "a." + name)
            finished = subprocess.run([PROGRAM, "surface", str(BLEND), "-o", str(target), "--resolution", "48"],
                                      capture_output=True, timeout=30 * PATIENCE, preexec_fn=limit)
            self.assertEqual(finished.returncode, 1, finished.stderr)
            self.assertIn(b"File too large", finished.stderr)
            self.assertEqual(target.read_text(), "old")
        self.assertEqual(self.files(), sorted("a." + name for name in FORMATS))

    def test_a_closed_pipe(self):
        ball = self.sphere()
        for arguments in (["-o", self.folder / "pipe.stl"], ["-o", self.folder / "a.stl", "--report"]):
            (self.folder / "pipe.stl").symlink_to("/dev/stdout")
            reader, writer = os.pipe()
            os.close(reader)
            process = subprocess.run([PROGRAM, "surface", ball, "--resolution", "64", *arguments], stdout=writer,
                                     stderr=subprocess.PIPE, timeout=30 * PATIENCE)
            os.close(writer)
            self.assertIn(process.returncode, (1, -signal.SIGPIPE), process.stderr)
            (self.folder / "pipe.stl").unlink()
        self.assertEqual(self.files(), ["a.stl", "ball.zrk.json"])
        mesh_files.read(self.folder / "a.stl")  # whole: only the report was lost


class Interrupts(SurfaceTest):
    def interrupted(self, arguments, after):
        """Seconds from Ctrl-C to the end."""
        process = subprocess.Popen([PROGRAM, "surface", *map(str, arguments)], stderr=subprocess.PIPE)
        time.sleep(after)
        self.assertIsNone(process.poll(), "ended before it was interrupted")
        begun = time.monotonic()
        process.send_signal(signal.SIGINT)
        err = process.communicate(timeout=30)[1]
        seconds = time.monotonic() - begun
        self.assertEqual((process.returncode, err), (130, b""))
        return seconds

    def test_end_soon_and_leave_the_old_file(self):
        twists = [{"id": i, "type": "TwistTransform"} for i in range(300)]
        slow = self.put(graph([*twists, {"id": 300, "type": "Gyroid"}], [(i, 0, i + 1, 0) for i in range(300)],
                              (300, 0)))
        target = self.put("old", "a.3mf")
        before = self.files()
        for document, resolution, after in ((slow, 400, 0.5), (BLEND, 700, 0.3), (BLEND, 700, 1.5)):
            seconds = self.interrupted([document, "-o", target, "--resolution", resolution], after)
            # The work stops within 0.1 s on a machine with nothing else to do.
            self.assertLess(seconds, 1 * PATIENCE)
        self.assertEqual(target.read_text(), "old")
        self.assertEqual(self.files(), before)

    def test_while_it_reports(self):
        self.surface(BLEND, "a.stl", resolution=300)
        self.assertLess(self.interrupted(["--report", self.folder / "a.stl"], 0.3), 1 * PATIENCE)


if __name__ == "__main__":
    unittest.main()

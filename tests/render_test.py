"""`render`: its pictures, seen from outside, and what it refuses."""

import signal
import subprocess
import time
import unittest

from zrk_program import PATIENCE, PROGRAM, ROOT, SPHERE, ZrkTest, graph, pixels

BOUNDS = {"context": {"modelBounds": [[-1.5, -1.5, -1.5], [1.5, 1.5, 1.5]]}}
GYROID = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
MESH = ROOT / "examples/mesh.zrk.json"


class Pictures(ZrkTest):
    def render(self, document, *options, name="p.png"):
        self.succeed("render", document, "-o", self.folder / name, *options)
        return pixels(self.folder / name)

    def sphere(self, **values):
        return self.put(graph([{**SPHERE, "values": {"radius": 0.8, **values}}], output=(1, 0), **BOUNDS))

    def test_the_size_is_the_one_asked_for_and_the_solid_fills_it(self):
        width, height, rows = self.render(self.sphere(), "--size", "160x120", "--background", "#ff0000", "--from",
                                          "front")
        self.assertEqual((width, height), (160, 120))
        drawn = [[colour != (255, 0, 0) for colour in row] for row in rows]
        tall = sum(any(row) for row in drawn)
        wide = sum(any(row[x] for row in drawn) for x in range(width))
        self.assertTrue(abs(tall - 96) <= 3 and abs(wide - 96) <= 3, (wide, tall))  # a tenth is free on each side

    def test_light_comes_from_the_upper_left(self):
        _, _, rows = self.render(self.sphere(), "--size", "96x96", "--from", "front")
        self.assertGreater(sum(rows[32][32]), sum(rows[64][64]) + 60)

    def test_a_transparent_background_leaves_the_solid_opaque(self):
        _, _, rows = self.render(self.sphere(), "--size", "96x96", "--background", "transparent")
        self.assertEqual(rows[2][2][3], 0)
        self.assertEqual(rows[48][48][3], 255)
        softs = {pixel[3] for row in rows for pixel in row} - {0, 255}
        self.assertGreater(len(softs), 20, "a soft shadow has many opacities")

    def test_the_side_decides_what_is_seen(self):
        """A sphere right of and above the middle of a slab, from each side."""
        nodes = [{"id": 1, "type": "SphereSDF", "values": {"radius": 0.3, "center": [0.7, 0, 0.7]}},
                 {"id": 2, "type": "BoxSDF", "values": {"center": [0, 0, -0.75], "dimensions": [2, 2, 0.5]}},
                 {"id": 3, "type": "BinaryOperator", "values": {"op_name": "minimum"}}]
        document = self.put(graph(nodes, [(1, 0, 3, 0), (2, 0, 3, 1)], (3, 0), **BOUNDS))
        for side, column in [("front", "right"), ("back", "left")]:
            with self.subTest(side):
                _, _, rows = self.render(document, "--size", "96x96", "--background", "#00ff00", "--from", side)
                row = rows[24]
                drawn = [x for x, colour in enumerate(row) if colour != (0, 255, 0)]
                self.assertTrue(drawn)
                self.assertEqual("right" if sum(drawn) / len(drawn) > 48 else "left", column)

    def test_a_section_shows_a_blue_cut(self):
        for side in ("right", "left"):  # the viewer's side is cut away
            with self.subTest(side):
                _, _, rows = self.render(self.sphere(), "--size", "96x96", "--from", side, "--section", "x=0.2")
                red, _, blue = map(sum, zip(*(rows[y][x] for y in range(40, 56) for x in range(40, 56))))
                self.assertGreater(blue, red + 60 * 256)  # of the mean, as white lines cross the cut

    def test_colours_come_from_a_pin(self):
        nodes = [SPHERE, {"id": 2, "type": "PositionVec3"}]
        document = self.put(graph(nodes, output=(1, 0), **BOUNDS))
        _, _, rows = self.render(document, "--size", "96x96", "--from", "right", "--color", "2:0")
        red, green, blue = rows[48][48]
        self.assertGreater(red, max(green, blue) + 60)  # x is 1 there

    def test_a_scalar_is_shown_by_colours_and_their_range_is_told(self):
        shifted = {**SPHERE, "id": 2, "values": {"center": [0, 0, 2], "radius": 0}}  # 2 - z at the top
        document = self.put(graph([SPHERE, shifted], output=(1, 0), **BOUNDS))
        said = self.succeed("render", document, "-o", self.folder / "p.png", "--size", "96x96", "--from", "front",
                            "--color", "2:0").err
        low, high = map(float, said.split("colours from ")[1].split(" to "))
        self.assertTrue(abs(low - 1) < 0.1 and abs(high - 3) < 0.1, said)
        _, _, rows = pixels(self.folder / "p.png")
        top, bottom = rows[14][40], rows[82][40]
        self.assertGreater(top[2], top[1] + 30, "near is violet")
        self.assertGreater(min(bottom[:2]), bottom[2] + 40, "far is yellow")
        _, _, others = self.render(document, "--size", "96x96", "--from", "front", "--color", "2:0", "--range", "5,6")
        self.assertGreater(others[82][40][2], others[82][40][1] + 30)

    def test_iso_values_bounds_and_projection_change_the_picture(self):
        document = self.sphere()
        seen = {}
        for name, options in [("plain", []), ("larger", ["--iso", "0.4", "--bounds", "-1,-1,-1,1,1,1"]),
                              ("perspective", ["--perspective"]), ("iso", ["--from", "iso"])]:
            self.succeed("render", document, "-o", self.folder / "p.png", "--size", "64x64", *options)
            seen[(self.folder / "p.png").read_bytes()] = name
        # A sphere is the same from everywhere, but for perspective, light and ground.
        self.assertGreaterEqual(len(seen), 3)

    def test_any_number_of_threads_gives_the_same_bytes(self):
        seen = set()
        for threads in (1, 2, 5):
            self.succeed("render", GYROID, "-o", self.folder / "p.png", "--size", "200x150", "--threads", threads)
            seen.add((self.folder / "p.png").read_bytes())
        self.assertEqual(len(seen), 1)

    def test_a_turntable_writes_numbered_pictures(self):
        self.succeed("render", GYROID, "-o", self.folder / "t.png", "--size", "64x64", "--turntable", 4)
        self.assertEqual(self.files(), [f"t_00{i}.png" for i in range(4)])
        self.assertEqual(len({(self.folder / name).read_bytes() for name in self.files()}), 4)

    def test_densities_are_solid_above_their_iso_value(self):
        width, height, rows = self.render(ROOT / "examples/falloff.zrk.json", "--size", "96x96", "--from", "top",
                                          "--background", "#00ff00")
        self.assertTrue(any(colour != (0, 255, 0) for row in rows for colour in row))


    def test_directions_may_have_any_length(self):
        document = self.put(graph([SPHERE], output=(1, 0), **BOUNDS))
        pictures = set()
        for direction in ("1,1,0.5", "1e300,1e300,5e299", "1e-300,1e-300,5e-301"):
            self.succeed("render", document, "-o", self.folder / "p.png", "--size", "32x32", "--from", direction)
            pictures.add((self.folder / "p.png").read_bytes())
        self.assertEqual(len(pictures), 1)


class Refusals(ZrkTest):
    def test_wrong_options_are_named_with_what_would_be_right(self):
        document = self.put(graph([SPHERE, {"id": 2, "type": "PositionVec3"}], output=(1, 0), **BOUNDS))
        cases = [
            (["-o", "p.jpg"], ["p.jpg", ".png"]),
            (["--size", "10x10"], ["10x10", "16 to 16384"]),
            (["--size", "16000x16000"], ["16000x16000", "33554432"]),
            (["--size", "99999999999x20"], ["16 to 16384"]),
            (["--size", "300"], ["WIDTHxHEIGHT"]),
            (["--from", "above"], ["above", "front, back, left, right, top, bottom, iso"]),
            (["--from", "0,0,0"], ["not all 0"]),
            (["--section", "x=7"], ["x=7", "between -1.5 and 1.5"]),
            (["--section", "w=0"], ["AXIS=VALUE"]),
            (["--section", "x=0.5", "--section", "x=0.9"], ["between -1.5 and 0.5"]),
            (["--color", "1:0", "--range", "1,0"], ["--range", "1,0", "the smaller one first"]),
            (["--color", "2:0", "--range", "0,1"], ["--range", "a scalar output"]),
            (["--range", "0,1"], ["--range", "a scalar output"]),
            (["--color", "red"], ["--color", "NODE:OUT"]),
            (["--color", "9:0"], ["9"]),
            (["--pin", "2:0"], ["node 2", "Vector3d", "Scalar"]),
            (["--bounds", "0,0,0,0,1,1"], ["along x"]),
            (["--background", "#12345"], ["#rrggbb"]),
            (["--background", "#-12345"], ["#rrggbb"]),
        ]
        for options, parts in cases:
            with self.subTest(options):
                output = [] if "-o" in options else ["-o", self.folder / "p.png"]
                self.refused(2, "render", document, *output, *options, contains=parts)
        self.assertEqual(self.files(), ["case.zrk.json"])

    def test_bounds_without_a_surface_are_failed_work(self):
        document = self.put(graph([SPHERE], output=(1, 0), **BOUNDS))
        self.refused(1, "render", document, "-o", self.folder / "p.png", "--bounds", "5,5,5,6,6,6",
                     contains=["below 0", "5,5,5,6,6,6", "--bounds"])
        self.assertEqual(self.files(), ["case.zrk.json"])

    def test_a_target_that_cannot_be_written_is_failed_work(self):
        document = self.put(graph([SPHERE], output=(1, 0), **BOUNDS))
        (self.folder / "full.png").symlink_to("/dev/full")
        self.refused(1, "render", document, "-o", self.folder / "full.png", "--size", "32x32", contains=["No space"])
        self.refused(1, "render", document, "-o", self.folder / "none/p.png", "--size", "32x32")


class Interrupts(ZrkTest):
    def test_stop_at_once_and_leave_the_old_file(self):
        for document, size, after in [(MESH, "2000x2000", 1.0), (GYROID, "5000x5000", 0.3), (GYROID, "5000x5000", 1.5)]:
            with self.subTest(document=document.name, after=after):
                target = self.put("old", "p.png")
                process = subprocess.Popen([PROGRAM, "render", document, "-o", target, "--size", size],
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                time.sleep(after)
                self.assertIsNone(process.poll(), "ended before it was interrupted")
                begun = time.monotonic()
                process.send_signal(signal.SIGINT)
                process.communicate(timeout=30)
                self.assertLess(time.monotonic() - begun, 0.5 * PATIENCE)
                self.assertEqual(process.returncode, 130)
                self.assertEqual((target.read_text(), self.files()), ("old", ["p.png"]))


if __name__ == "__main__":
    unittest.main()

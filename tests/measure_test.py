"""`measure`: numbers of known solids, with errors that hold; walls and gaps; solving for a volume; faults."""

import json
import math
import unittest

from zrk_program import ROOT, ZrkTest, graph, run

BLEND = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
AROUND = {"modelBounds": [[-1.5, -1.5, -1.5], [1.5, 1.5, 1.5]], "unit": "mm"}
RADIUS = 0.8


class MeasureTest(ZrkTest):
    def ball(self, **values):
        node = {"id": 1, "type": "SphereSDF", "values": {"radius": RADIUS, **values}}
        return self.put(graph([node], output=(1, 0), context=AROUND), "ball.zrk.json")

    def measure(self, *arguments):
        return json.loads(self.succeed("measure", *arguments, "--json").out)

    def assert_within(self, measured, truth):
        self.assertLessEqual(abs(measured["value"] - truth), measured["error"] + 1e-9 * truth)


class Measures(MeasureTest):
    def test_a_ball_has_its_volume_area_and_thickness(self):
        found = self.measure(self.ball())
        self.assert_within(found["volume"], 4 / 3 * math.pi * RADIUS ** 3)
        self.assert_within(found["area"], 4 * math.pi * RADIUS ** 2)
        self.assertAlmostEqual(found["fraction"]["value"] * 27, found["volume"]["value"], 12)
        self.assertEqual((found["unit"], found["accurate"], found["areaOnBounds"]), ("mm", True, 0))
        self.assertAlmostEqual(found["smallestWall"]["length"], 2 * RADIUS, 4)
        self.assertIsNone(found["smallestGap"])

    def test_the_text_tells_the_same_with_its_unit(self):
        text = self.succeed("measure", self.ball()).out
        for line in ("mm^3", "mm^2", "of the bounds", "smallest wall", "none within the bounds", "cells"):
            self.assertIn(line, text)

    def test_the_iso_value_and_the_bounds_count(self):
        found = self.measure(self.ball(), "--iso", 0.1, "--bounds", "0,0,0,2,2,2")
        self.assert_within(found["volume"], math.pi / 6 * (RADIUS + 0.1) ** 3)
        self.assertGreater(found["areaOnBounds"], 0)

    def test_a_field_that_is_no_distance_has_no_walls_to_tell(self):
        found = self.measure(BLEND, "--accuracy", 0.01)
        self.assertFalse(found["isDistance"])
        self.assertIsNone(found["smallestWall"])

    def test_a_coarse_answer_is_warned_of(self):
        answer = self.succeed("measure", BLEND, "--accuracy", 1e-6, seconds=120)
        self.assertIn("estimated error", answer.err)
        self.assertEqual(run("measure", BLEND, "--accuracy", 1e-6, "--strict", seconds=120).status, 2)

    def test_samples_without_a_value_are_warned_of(self):
        far = {"id": 1, "type": "SphereSDF", "values": {"center": [1e308, 0, 0]}}  # infinitely far
        path = self.put(graph([far, {"id": 2, "type": "BinaryOperator", "values": {"op_name": "subtract"}}],
                              [(1, 0, 2, 0), (1, 0, 2, 1)], (2, 0)))
        self.assertIn("no value (NaN) at", run("measure", path, "--bounds", "9,9,9,10,10,10").err)
        self.assertEqual(run("measure", path, "--bounds", "9,9,9,10,10,10", "--strict").status, 2)
        self.assertIn("no values (all are NaN)", run("sample", path, "--bounds", "9,9,9,10,10,10", "--resolution", 4, "-o",
                                                     self.folder / "x.npy").err)

    def test_an_empty_solid_is_told_as_one(self):
        found = self.measure(self.ball(), "--iso", -5)
        self.assertEqual((found["volume"]["value"], found["fraction"]["value"]), (0, 0))
        self.assertNotIn("center", found)


class Solving(MeasureTest):
    def test_the_value_that_gives_a_fraction_is_found_and_written(self):
        solved = self.folder / "solved.zrk.json"
        found = self.measure(self.ball(), "--solve", "1.radius", "--for", "fraction=0.3", "-o", solved)
        self.assertAlmostEqual(found["fraction"]["value"], 0.3, delta=0.3e-3)
        self.assertAlmostEqual(found["solution"]["value"], (0.3 * 27 * 3 / (4 * math.pi)) ** (1 / 3), delta=1e-3)
        written = json.loads(solved.read_text())["nodes"][0]["values"]
        self.assertEqual(written["radius"], found["solution"]["value"])
        self.assertEqual(self.measure(solved)["fraction"], found["fraction"])

    def test_a_target_that_cannot_be_written_is_refused_before_the_work(self):
        # Work that would end otherwise.
        self.refused(1, "measure", self.ball(), "--solve", "1.radius", "--for", "fraction=1.5", "-o", self.folder / "no/a.json",
                     contains=["no/a.json", "create the folder"])

    def test_what_cannot_be_reached_is_refused_with_what_can(self):
        self.refused(1, "measure", self.ball(), "--solve", "1.radius", "--for", "fraction=1.5",
                     contains=["fraction from 0 to 1"])

    def test_bad_words_are_refused(self):
        ball = self.ball()
        for words, parts in (
                (("--solve", "1.radius"), ["--for"]),
                (("--for", "fraction=0.3"), ["--solve"]),
                (("--solve", "radius", "--for", "fraction=0.3"), ["NODE.KEY"]),
                (("--solve", "9.radius", "--for", "fraction=0.3"), ["node 9"]),
                (("--solve", "1.radios", "--for", "fraction=0.3"), ["\"radius\""]),
                (("--solve", "1.radius", "--for", "weight=0.3"), ["fraction=F"]),
                (("--solve", "1.radius", "--for", "fraction=-1"), ["not negative"]),
                (("--solve", "1.radius", "--for", "fraction=nan"), ["not negative"]),
                (("-o", "x.zrk.json"), ["--solve with it"]),
                (("--iso", "nan"), ["finite"]),
                (("--accuracy", "nan"), ["--accuracy", "finite"])):
            with self.subTest(words=words):
                self.refused(2, "measure", ball, *words, contains=parts)

    def test_a_vector_has_no_solid(self):
        twist = self.put(graph([{"id": 1, "type": "TwistTransform"}], output=(1, 0)))
        self.refused(2, "measure", twist, contains=["Scalar"])


if __name__ == "__main__":
    unittest.main()

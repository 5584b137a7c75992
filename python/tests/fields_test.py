"""Fields: values at points of all kinds, operators, functions, constants, and what is refused."""

import json
import os
import pathlib
import subprocess
import tempfile
import unittest

import numpy as np

import zrk

ZRK = os.environ.get("ZRK_PROGRAM")
EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"


def twisted_part():
    return zrk.BinaryOperator(zrk.SphereSDF(radius=0.8), zrk.Gyroid(coords=zrk.TwistTransform(angle=60), contour=-0.5),
                              op_name="minimum")


class Values(unittest.TestCase):
    def setUp(self):
        self.points = np.random.default_rng(3).uniform(-2, 2, (5000, 3))

    def test_are_those_of_the_command_line(self):
        """To the bit, for scalars, vectors and colours, in small numbers and in large ones."""
        for name, pin in (("sphere_and_twisted_gyroid", (4, 0)), ("sphere_and_twisted_gyroid", (1, 0))):
            document = zrk.Document.load(EXAMPLES / f"{name}.zrk.json")
            with tempfile.NamedTemporaryFile("w", suffix=".txt") as file:
                np.savetxt(file, self.points, fmt="%.17g", delimiter=",")
                file.flush()
                printed = subprocess.run([ZRK, "probe", EXAMPLES / f"{name}.zrk.json", "--points", file.name, "--pin",
                                          f"{pin[0]}:{pin[1]}"], check=True, capture_output=True, text=True).stdout
            expected = np.array([[float(x) for x in line.split(",")] for line in printed.splitlines()])
            field = document[pin[0]].outputs[pin[1]]
            for count in (1, 1000, 5000):
                values, weights = field.sample(self.points[:count])
                np.testing.assert_array_equal(values.reshape(count, -1), expected[:count, :-1])
                np.testing.assert_array_equal(weights, expected[:count, -1])

    def test_of_many_points_are_those_of_single_ones(self):
        points = np.random.default_rng(4).uniform(-1, 1, (200000, 3))
        for field in (twisted_part(), zrk.GradDerivative(twisted_part())):
            values = field(points)
            for i in (0, 1023, 1024, 16383, 16384, 65537, 199999):
                np.testing.assert_array_equal(values[i], field(points[i]))

    def test_at_arrays_of_any_layout(self):
        part = twisted_part()
        p = self.points[:300]
        expected = part(p)
        fours = np.zeros((300, 4))
        fours[:, :3] = p
        packed = np.zeros(300, np.dtype([("tag", "u1"), ("p", "3f8")]))
        packed["p"] = p
        read_only = p.copy()
        read_only.flags.writeable = False
        for name, points in {
            "contiguous": p, "by columns": np.asfortranarray(p), "part of a wider array": fours[:, :3],
            "read-only": read_only, "unaligned": packed["p"], "other byte order": p.astype(">f8"),
            "a list": p.tolist(), "axes in reverse": np.ascontiguousarray(p[:, ::-1])[:, ::-1],
        }.items():
            with self.subTest(name):
                np.testing.assert_array_equal(part(points), expected)
        np.testing.assert_array_equal(part(p[::-2]), expected[::-2])
        np.testing.assert_array_equal(part(p.reshape(10, 30, 3)), expected.reshape(10, 30))
        np.testing.assert_array_equal(part(np.moveaxis(p.reshape(10, 30, 3), 0, 1)), expected.reshape(10, 30).T)
        np.testing.assert_array_equal(part(p.astype(np.float32)), part(p.astype(np.float32).astype(float)))
        np.testing.assert_array_equal(part(np.array([[1, 0, 2]], np.int16)), part([[1.0, 0.0, 2.0]]))

    def test_have_the_shape_of_the_points(self):
        part, vectors = twisted_part(), zrk.TwistTransform()
        self.assertIsInstance(part((0, 0, 0)), float)
        for shape in ((3,), (0, 3), (1, 3), (4, 0, 3), (2, 5, 3)):
            points = np.zeros(shape)
            self.assertEqual(np.shape(part(points)), shape[:-1])
            self.assertEqual(np.shape(vectors(points)), shape)
            self.assertEqual([np.shape(a) for a in vectors.sample(points)], [shape, shape[:-1]])

    def test_are_arrays_of_their_own(self):
        first = twisted_part()(self.points)
        kept = first.copy()
        twisted_part()(self.points + 1)
        self.assertTrue(first.flags.writeable and first.flags.owndata)
        np.testing.assert_array_equal(first, kept)

    def test_at_nan_and_infinity_are_values(self):
        values = zrk.SphereSDF()(np.array([[np.nan, 0, 0], [np.inf, 0, 0], [0, 0, 0]]))
        np.testing.assert_array_equal(values, [np.nan, np.inf, -1])

    def test_refuse_what_is_no_array_of_positions(self):
        part = twisted_part()
        recursive = []
        recursive.append(recursive)
        for name, points in {
            "two columns": np.zeros((5, 2)), "no axis": 1.0, "complex": np.zeros((5, 3), complex), "text": "abc",
            "texts": [["a", "b", "c"]], "nothing": None, "objects": np.array([[None, 1, 2]]), "truth": [[True] * 3],
            "ragged": [[1, 2, 3], [4, 5]], "a dict": {}, "a field": part, "dates": np.zeros((2, 3), "M8[s]"),
            "within itself": recursive,
        }.items():
            for call in (part, part.sample):
                with self.subTest(name), self.assertRaises(ValueError):
                    call(points)
        with self.assertRaises(zrk.Error) as caught:
            part(np.zeros((5, 2)))
        self.assertIn("(5, 2)", caught.exception.finding)
        self.assertIn("(n, 3)", caught.exception.expectation)


class Combinations(unittest.TestCase):
    def test_do_what_numpy_does(self):
        a, b = zrk.SphereSDF(radius=0.5), zrk.PlaneSDF(origin=(0, 0, 0.1))
        p = np.random.default_rng(5).uniform(-1, 1, (100, 3))
        x, y = a(p), b(p)
        for name, field, expected in [
            ("or", a | b, np.minimum(x, y)), ("and", a & b, np.maximum(x, y)), ("minus", a - b, x - y),
            ("plus", a + b, x + y), ("number on the right", a + 0.25, x + 0.25),
            ("number on the left", 0.25 - a, 0.25 - x), ("numpy's number", np.float64(0.25) + a, 0.25 + x),
        ]:
            with self.subTest(name):
                np.testing.assert_array_equal(field(p), expected)
        np.testing.assert_allclose((abs_field(a) * abs_field(b))(p), np.abs(x) * np.abs(y), rtol=1e-14)
        moved = np.array([1.0, 2.0, 3.0]) + zrk.PositionVec3()  # a field, not an array of fields
        np.testing.assert_array_equal(moved(p), np.array([1.0, 2.0, 3.0]) + p)

    def test_with_what_is_no_field_are_refused(self):
        class Foreign:
            def __radd__(self, other):
                return "its own"

        a = zrk.SphereSDF()
        self.assertEqual(a + Foreign(), "its own")
        for name, act, place, found in [
            ("text", lambda: a | "text", "operator |", "str"), ("None", lambda: None - a, "operator -", "NoneType"),
            ("None on the right", lambda: a + None, "operator +", "NoneType"), ("flag", lambda: a & True, "operator &", "bool"),
            ("other object", lambda: a * object(), "operator *", "object"), ("foreign one", lambda: a - Foreign(), "operator -", "Foreign"),
            ("two numbers", lambda: a + (1, 2), "operator +", "(2,)"), ("array of them", lambda: np.zeros(2) * a, "operator *", "(2,)"),
        ]:
            with self.subTest(name):
                with self.assertRaises(zrk.Error) as caught:
                    act()
                self.assertEqual(caught.exception.place, place)
                self.assertIn(found, caught.exception.finding)
                self.assertTrue(caught.exception.remedy)

    def test_constants_are_exact(self):
        p = np.random.default_rng(6).uniform(-9, 9, (50, 3))
        for value in (0.1, -3.0, (1.0, 0.1, 2.0), (0.1, 0.2, 0.3, 1.0)):
            np.testing.assert_array_equal(zrk.constant(value)(p), np.broadcast_to(value, (50, *np.shape(value))))
        with self.assertRaises(zrk.Error):
            zrk.constant(np.zeros((2, 2)))
        for value in ("a", 10 ** 400, float("nan"), [], None):
            self.assertRaises(zrk.Error, zrk.constant, value)

    def test_outputs_by_name_and_index(self):
        split = zrk.Vector3SplitComponents(zrk.PositionVec3())
        for name, index in (("x", 0), ("z", 2), ("z", -1)):
            self.assertEqual(split.outputs[name]((1, 2, 3)), float(index % 3 + 1))
            self.assertEqual(split.outputs[index], split.outputs[name])
        for wrong in ("w", 3, None, 1.0):
            with self.assertRaises(zrk.Error):
                split.outputs[wrong]

    def test_links_that_lead_round_or_dont_fit_are_refused(self):
        a = zrk.SphereSDF() | zrk.PlaneSDF()
        b = a + 1.0
        with self.assertRaises(zrk.Error) as caught:
            a.inputs["a"] = b
        self.assertIn("one way", caught.exception.expectation)
        with self.assertRaises(zrk.Error) as caught:
            zrk.SphereSDF(coords=zrk.Gyroid())
        self.assertIn("Vector3d", caught.exception.expectation)
        with self.assertRaises(zrk.Error):
            zrk.BinaryOperator(zrk.SphereSDF())((0, 0, 0))  # half-built: no type

    def test_long_chains(self):
        chain = zrk.SphereSDF()
        for i in range(5000):
            chain = chain | zrk.SphereSDF(center=(i, 0, 0))
        self.assertEqual(chain((4999, 0, 1)), 0.0)
        del chain  # without recursion


def abs_field(field):
    return zrk.field(lambda p, v: np.abs(v), field)


class Functions(unittest.TestCase):
    def test_are_called_with_blocks(self):
        seen = []

        def height(points):
            seen.append(points.shape)
            return points[:, 2]

        field = zrk.field(height, coords=zrk.AffineTransform(translation=(0, 0, 1), inverse=False))
        values = field(np.zeros((3000, 3)))
        np.testing.assert_array_equal(values, np.full(3000, 1.0))
        self.assertEqual([sum(s[0] for s in seen), max(s[0] for s in seen)], [3000, 1024])

    def test_take_inputs_and_give_vectors(self):
        field = zrk.field(lambda p, d, g: g * d[:, None], zrk.SphereSDF(), zrk.PositionVec3(), type="Vector3d")
        np.testing.assert_array_equal(field([[2, 0, 0], [0, 3, 0]]), [[2, 0, 0], [0, 6, 0]])
        self.assertEqual(zrk.NormVec3(field)((2, 0, 0)), 2.0)

    def test_may_ask_other_fields(self):
        ball = zrk.SphereSDF(radius=0.5)
        inner = zrk.field(lambda p: ball(p) * 2)
        frozen = zrk.RasterFX(inner, resolution=3, blur_radius=0.0)  # built with several threads
        self.assertEqual(inner((1, 0, 0)), 1.0)
        self.assertEqual(frozen((1, 0, 0)), 1.0)
        self.assertEqual((inner | ball).volume(resolution=5).values[2, 2, 2], -1.0)

    def test_raise_what_they_raise(self):
        class Own(Exception):
            pass

        def broken(points):
            raise Own("in the function")

        field = zrk.SphereSDF() + zrk.field(broken)
        for name, call in {"one point": lambda: field((0, 0, 0)), "many": lambda: field(np.zeros((99999, 3))),
                           "volume": lambda: field.volume(resolution=16), "surface": field.surface,
                           "render": lambda: field.render(size=(32, 32)), "measure": field.measure,
                           "frozen": lambda: zrk.RasterFX(field)((0, 0, 0))}.items():
            with self.subTest(name), self.assertRaisesRegex(Own, "in the function"):
                call()

    def test_must_give_a_value_for_each_point(self):
        for name, function in {"a number": lambda p: 1.0, "too few": lambda p: p[1:, 0], "none": lambda p: None,
                               "vectors": lambda p: p, "texts": lambda p: ["a"] * len(p),
                               "complex": lambda p: p[:, 0] * 1j}.items():
            with self.subTest(name), self.assertRaises(zrk.Error) as caught:
                zrk.field(function)(np.zeros((7, 3)))
            self.assertIn("(7,)", caught.exception.expectation)
        with self.assertRaises(zrk.Error):
            zrk.field("no function")

    def test_must_not_edit_what_is_evaluated(self):
        ball = zrk.SphereSDF()

        def edits(points):
            ball.radius = 2.0
            return points[:, 0]

        with self.assertRaises(zrk.Error) as caught:
            (ball | zrk.field(edits)).volume(resolution=4)
        self.assertIn("edit", caught.exception.finding)


if __name__ == "__main__":
    unittest.main()

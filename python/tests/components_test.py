"""The classes of the components: names, properties, documentation, and what components keep ready."""

import inspect
import keyword
import unittest

import numpy as np

import zrk

OTHER = {"double": 0.375, "int": 5, "vector3": (0.25, 0.5, 2.0), "enum": 1,
         "falloff": {"start": -1.0, "end": 2.0, "curve": "smooth"}}


class Classes(unittest.TestCase):
    def test_are_one_for_each_type(self):
        self.assertEqual(len(zrk.components), 48)
        for name, cls in zrk.components.items():
            self.assertIs(getattr(zrk, name), cls)
            self.assertIs(getattr(zrk, "ZRK" + name if hasattr(zrk, "ZRK" + name) else cls._description["class"]), cls)
            self.assertTrue(name.isidentifier() and name in dir(zrk))
        # Two pairs share a type name.
        self.assertIsNot(zrk.Invert, zrk.LevelsetIsoValue)
        self.assertIsNot(zrk.Image2DExtrude, zrk.Image3D)

    def test_take_and_show_every_property(self):
        """A fresh value comes back under each spelling, and others stay as they are."""
        for name, cls in zrk.components.items():
            for row in cls._description["properties"]:
                value = OTHER.get(row["type"])
                if row["type"] == "bool":
                    value = not row["default"]
                if row["type"] == "matrix4":
                    value = np.diag([1.0, 2, 3, 1]) + np.eye(4, k=3)
                if row["type"] == "string":
                    value = "multiply"
                if row["type"] == "curve":
                    value = [[0, 1, 0], [1, 3, 0]]
                if value is None:
                    continue
                python = [n for n, entry in zrk._fields.names_of(cls()._core).items()
                          if entry[0] == row["name"] and n.isidentifier() and not keyword.iskeyword(n)]
                self.assertTrue(python, (name, row["name"]))
                for spelling in (row["name"], *python):
                    with self.subTest(component=name, spelling=spelling):
                        fresh = cls()
                        before = fresh.values
                        node = cls(**{spelling: value})
                        np.testing.assert_equal(node[spelling], value)
                        after = node.values
                        self.assertEqual({k: v for k, v in after.items() if k != row["name"]},
                                         {k: v for k, v in before.items() if k != row["name"]})
                        fresh[spelling] = value
                        self.assertEqual(fresh.values, after)

    def test_values_in_the_place_of_inputs_are_told_apart(self):
        for call, remedy in ((lambda: zrk.SphereSDF(1), r"SphereSDF\(radius=1\)"), (lambda: zrk.SphereSDF(1, 2), r"radius=2\)"),
                             (lambda: zrk.BinaryOperator(1, 2, (3, 4)), "by name$"),
                             (lambda: zrk.SphereSDF("a"), "by name$"), (lambda: zrk.SphereSDF([1, [2]]), "by name$")):
            with self.assertRaises(zrk.Error) as caught:
                call()
            self.assertRegex(caught.exception.remedy, remedy)
        self.assertEqual(zrk.SphereSDF((0, 0, 3), radius=1)((9, 9, 9)), 2)

    def test_are_documented(self):
        for name, cls in zrk.components.items():
            with self.subTest(name):
                text = cls.__doc__
                self.assertIn("Parameters\n----------", text)
                shown = inspect.signature(cls.__init__).parameters
                for entry in (*cls._description["properties"], *cls._description["inputs"]):
                    python = zrk._fields.python_name(entry["name"])
                    self.assertRegex(text, rf"(?m)^ *{python} : ")
                    self.assertIn(python, shown)
                    self.assertIn(python, dir(cls()))
                    self.assertFalse(hasattr(zrk.Node, python), "a name of all fields")

    def test_refuse_unknown_names_and_tell_the_nearest(self):
        ball = zrk.SphereSDF()
        for name, act in {"keyword": lambda: zrk.SphereSDF(radus=1), "set": lambda: ball.set(radus=1),
                          "item": lambda: ball["radus"], "item set": lambda: ball.__setitem__("radus", 1)}.items():
            with self.subTest(name), self.assertRaises(zrk.Error) as caught:
                act()
            self.assertIn('"radius"', caught.exception.remedy)
        for name, act in {"get": lambda: ball.radus, "module": lambda: zrk.SphereSDV}.items():
            with self.subTest(name), self.assertRaisesRegex(AttributeError, "did you mean"):
                act()
        with self.assertRaises(zrk.Error):
            ball.radus = 1
        self.assertFalse(hasattr(ball, "radus"))
        with self.assertRaises(zrk.Error):
            ball[0]
        for act in (lambda: list(ball), lambda: "radius" in ball):
            self.assertRaises(TypeError, act)

    def test_refuse_values_of_another_kind_and_keep_what_they_had(self):
        part = zrk.SphereSDF() | zrk.PlaneSDF()
        cases = [
            (zrk.SphereSDF(), {"radius": "wide"}), (zrk.SphereSDF(), {"center": (1, 2)}),
            (zrk.SphereSDF(), {"center": 1.0}), (zrk.SphereSDF(), {"radius": 2.0, "center": "x"}),
            (zrk.SphereSDF(), {"radius": None}), (zrk.SphereSDF(), {"radius": part}),
            (zrk.SphereSDF(), {"radius": object()}), (zrk.BoxSDF(), {"wireframe": 2}),
            (zrk.MatrixTransform(), {"matrix": np.zeros(16)}), (part, {"op_name": "unite"}), (part, {"op_name": 3}),
            (zrk.Image2DExtrude(), {"compositing": 1}), (zrk.ScalarImageSampler(), {"image": "disc.png"}),
            (zrk.ScalarImageSampler(), {"image": np.zeros((2, 2, 9))}), (zrk.PipeSDF(), {"path_curve": [[1, 2]]}),
            (zrk.PipeSDF(), {"path_curve": zrk.Geometry("circle", center=(0, 0, 0))}),
            (zrk.PipeSDF(), {"path_curve": zrk.Geometry("knot")}), (zrk.CylinderSDF(), {"cap_style": "rund"}),
            (zrk.SphereSDF(), {"radius": 10 ** 400}), (zrk.SphereSDF(), {"radius": float("nan")}),
            (zrk.SphereSDF(), {"center": (0, float("inf"), 0)}), (part, {"op_name": "\ud800"}),
        ]
        for node, values in cases:
            with self.subTest(node=type(node).__name__, values=str(values)):
                before = node.values
                with self.assertRaises(zrk.Error) as caught:
                    node.set(**values)
                self.assertTrue(caught.exception.place and caught.exception.remedy)
                self.assertEqual(node.values, before)

    def test_take_choices_by_their_labels(self):
        self.assertEqual(zrk.CylinderSDF(cap_style="flat").cap_style, 1)

    def test_stand_for_one_node_however_they_are_had(self):
        ball = zrk.SphereSDF()
        same = (ball | zrk.PlaneSDF()).inputs["a"]
        same.radius = 7.0
        self.assertEqual((ball, ball.radius, hash(ball)), (same, 7.0, hash(same)))
        self.assertIsInstance(same, zrk.SphereSDF)


class KeptData(unittest.TestCase):
    """What a component computes once follows its properties and what it reads."""

    def test_of_a_frozen_field(self):
        ball = zrk.SphereSDF(radius=0.5)
        frozen = zrk.RasterFX(ball + 0.0, resolution=3, blur_radius=0.0)
        self.assertEqual(frozen((0, 0, 0)), -0.5)
        ball.radius = 0.25
        self.assertEqual(frozen((0, 0, 0)), -0.25)
        frozen.inputs["field"] = zrk.constant(4.0)
        self.assertEqual(frozen((0, 0, 0)), 4.0)
        frozen.inputs["field"] = ball
        coarse = frozen((0.5, 0, 0))
        frozen.resolution = 9
        self.assertNotEqual(frozen((0.25, 0.1, 0)), coarse)
        self.assertEqual(frozen((0.5, 0, 0)), 0.25)

    def test_of_a_lattice(self):
        beams = zrk.BeamSDF(min=(0, 0, 0), max=(1, 1, 1))
        before = beams((0.1, 0.1, 0.1))
        beams.max = (5.0, 5.0, 5.0)
        self.assertEqual(beams((0.1, 0.1, 0.1)), zrk.BeamSDF()((0.1, 0.1, 0.1)))
        self.assertNotEqual(beams((0.1, 0.1, 0.1)), before)

    def test_of_pictures(self):
        sampler = zrk.ScalarImageSampler(image=np.full((2, 2), 255, np.uint8))
        self.assertEqual(sampler((0.5, 0.5, 0)), 1.0)
        sampler.image = np.zeros((2, 2), np.uint8)
        self.assertEqual(sampler((0.5, 0.5, 0)), 0.0)
        sampler.image = None
        self.assertIsNone(sampler.image)

    def test_of_a_sweep(self):
        disc = (np.hypot(*np.mgrid[-1:1:12j, -1:1:12j]) < 0.5) * 200 + np.uint8(20)
        sweep = zrk.ImageSweep(image_a=disc.astype(np.uint8), image_b=disc.T.astype(np.uint8), steps=3, resolution=8)
        first = sweep((0.5, 0.5, 0.5))
        sweep.image_b = (disc[::-1] // 2 + 60).astype(np.uint8)
        second = sweep((0.5, 0.5, 0.5))
        sweep.smoothing = 0.1
        third = sweep((0.5, 0.5, 0.5))
        self.assertEqual(len({first, second, third}), 3)
        self.assertGreater(first, 0.2)

    def test_of_resources_from_arrays(self):
        values = np.zeros((2, 3, 4))
        values[1, 2, 3] = 8.0
        stack = zrk.Image3D(image=values, wrap=False)
        self.assertEqual(stack((1, 1, 1)), 8.0)
        self.assertEqual(stack((0, 0, 0)), 0.0)
        ring = [(1, 0, 0), (0, 1, 0), (-1, 0, 0), (0, -1, 0)]
        for source in (zrk.Curve(ring, closed=True), zrk.Geometry("polyline", points=ring, closed=True),
                       [*ring, ring[0]], np.array([*ring, ring[0]])):
            self.assertAlmostEqual(zrk.GeometryBlend(geometries=source)((0.5, -0.5, 0.25)), 0.25)
        group = zrk.GeometryBlend(geometries=[zrk.Geometry("sphere", center=(0, 0, 0), radius=1),
                                              zrk.Geometry("point", position=(3, 0, 0))])
        self.assertEqual(group((0, 0, 0)), 1.0)

    def test_of_meshes_whoever_made_them(self):
        vertices = np.array([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], float)
        faces = np.array([[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]])

        class Trimesh:
            pass

        class Pyvista:
            points = vertices
            faces = np.insert(np.array([[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]]), 0, 3, axis=1).ravel()

        class Meshio:
            points = vertices
            cells_dict = {"triangle": faces}

        Trimesh.vertices, Trimesh.faces = vertices, faces
        for source in (zrk.Mesh(vertices, faces), (vertices, faces), Trimesh(), Pyvista(), Meshio()):
            with self.subTest(type(source).__name__):
                inside = zrk.GeometryBlend(geometries=source, falloff_params={"start": -1.0, "end": 1.0,
                                                                              "curve": "linear"})
                self.assertAlmostEqual(inside((0.1, 0.1, 0.1)), 0.55)
                self.assertLess(zrk.MeshSDF(mesh=source)((1, 1, 1)), 0)  # stretched to five units
        as_it_is = zrk.MeshSDF()
        as_it_is.import_mesh((vertices, faces), fit="none")
        self.assertAlmostEqual(as_it_is((0.1, 0.1, 0.1)), -0.1)
        with self.assertRaises(zrk.Error):
            as_it_is.import_mesh((vertices, faces), fit="tight")
        bad = np.array([[0, 1, 9]])
        for wrong in ((vertices, bad), (vertices, faces.astype(float)), (vertices[:, :2], faces),
                      (np.full((3, 3), np.nan), [[0, 1, 2]]), (vertices, np.zeros((0, 4), int))):
            with self.assertRaises(zrk.Error):
                zrk.MeshSDF(mesh=wrong)


if __name__ == "__main__":
    unittest.main()

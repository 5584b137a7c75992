"""Volumes, surfaces, pictures and measures."""

import os
import pathlib
import subprocess
import tempfile
import time
import unittest
import warnings

import numpy as np

import zrk

ZRK = os.environ.get("ZRK_PROGRAM")
EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
CUBE = ((-1, -1, -1), (1, 1, 1))


def half_defined(points):
    return np.where(points[:, 0] > 0, np.nan, points[:, 1])


class Sizes(unittest.TestCase):
    def test_beyond_all_bounds_are_refused_before_the_work(self):
        ball = zrk.SphereSDF(radius=0.8)
        for name, act, finding, expectation in [
            ("surface", lambda: ball.surface(resolution=300_000), "300000 x 300000 x 300000 cells", "4294967295 vertices"),
            ("picture", lambda: ball.render(size=(16384, 16384)), "16384 x 16384 pixels", "33554432 pixels"),
            ("threads", lambda: ball.surface(threads=1025), "1025", "from 0 to 1024"),
        ]:
            with self.subTest(name):
                begun = time.monotonic()
                with self.assertRaises(zrk.Error) as caught:
                    act()
                self.assertIn(finding, caught.exception.finding)
                self.assertIn(expectation, caught.exception.expectation)
                self.assertNotIn("--", caught.exception.remedy)
                self.assertLess(time.monotonic() - begun, 5)


class WithFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def zrk(self, *arguments):
        subprocess.run([ZRK, *map(str, arguments), "--quiet"], check=True, capture_output=True)


class Agreement(WithFolder):
    """What the command line gives for the same document, to the byte."""

    source = EXAMPLES / "sphere_and_twisted_gyroid.zrk.json"

    def test_of_volumes(self):
        field = zrk.Document.load(self.source).output
        volume = field.volume(resolution=(9, 8, 7))
        self.assertEqual(np.asarray(volume).shape, (7, 8, 9))
        for ending in ("npy", "nrrd", "vti"):
            self.zrk("sample", self.source, "-o", self.folder / f"a.{ending}", "--dims", "9,8,7")
            volume.save(self.folder / f"b.{ending}")
            self.assertEqual((self.folder / f"a.{ending}").read_bytes(), (self.folder / f"b.{ending}").read_bytes())
        self.assertEqual(field.volume(((0, 0, 0), (1, 2, 4)), 20).values.shape, (20, 10, 5))
        x, y, z = volume.coordinates()
        grid = np.stack(np.meshgrid(z, y, x, indexing="ij")[::-1], -1)
        np.testing.assert_allclose(volume.values, field(grid), atol=1e-13)

    def test_of_surfaces(self):
        field = zrk.Document.load(self.source).output
        for options, arguments in [({"resolution": 20}, ["--resolution", 20]),
                                   ({"cell": 0.21, "iso": 0.1}, ["--cell", 0.21, "--iso", 0.1]),
                                   ({"resolution": 16, "sharp": True, "adaptive": 0.01, "density": True, "iso": -0.3},
                                    ["--resolution", 16, "--sharp", "--adaptive", 0.01, "--density", "--iso=-0.3"])]:
            mesh = field.surface(**options)
            for ending in ("stl", "ply"):
                self.zrk("surface", self.source, "-o", self.folder / f"a.{ending}", *arguments)
                mesh.save(self.folder / f"b.{ending}")
                a, b = (zrk.Mesh.load(self.folder / f"{name}.{ending}") for name in "ab")
                np.testing.assert_array_equal(a.vertices, b.vertices)
                np.testing.assert_array_equal(a.faces, b.faces)

    def test_of_meshes_with_what_was_left_out(self):
        path = self.folder / "quads.obj"
        path.write_text("v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\nf 1 2\n")
        with self.assertWarnsRegex(UserWarning, "quads.obj") as caught:
            self.assertEqual(len(zrk.Mesh.load(path).faces), 2)
        self.assertEqual(caught.filename, __file__)

    def test_of_pictures(self):
        field = zrk.Document.load(self.source).output
        self.zrk("render", self.source, "-o", self.folder / "a.png", "--size", "64x48", "--from", "iso",
                 "--background", "transparent")
        field.render(size=(64, 48), direction="iso", background="transparent").save(self.folder / "b.png")
        self.zrk("slice", self.source, "-o", self.folder / "c.png", "--axis", "x", "--at", "0.25", "--size", 40)
        field.slice("x", 0.25, 40).save(self.folder / "d.png")
        for first, second in ("ab", "cd"):
            self.assertEqual((self.folder / f"{first}.png").read_bytes(), (self.folder / f"{second}.png").read_bytes())

    def test_of_measures(self):
        ball = zrk.SphereSDF(radius=0.5).measure(accuracy=1e-3)
        self.assertAlmostEqual(ball.volume, 4 / 3 * np.pi * 0.125, delta=2e-3)
        self.assertAlmostEqual(ball.area, np.pi, delta=1e-2)
        self.assertAlmostEqual(ball.smallest_wall, 1.0, delta=0.05)
        self.assertEqual((ball.is_accurate, ball.area_on_bounds), (True, 0.0))
        self.assertEqual((zrk.SphereSDF(center=(9, 9, 9)).measure()).volume, 0.0)


class Results(WithFolder):
    def test_views_outlive_what_made_them(self):
        vertices = zrk.SphereSDF(radius=0.5).surface(resolution=32).vertices
        values = zrk.SphereSDF(radius=0.5).volume(resolution=4).values
        np.testing.assert_allclose(np.linalg.norm(vertices, axis=1), 0.5, atol=0.01)
        self.assertEqual(values[0, 0, 0], np.sqrt(3) - 0.5)

    def test_of_fields_without_a_surface(self):
        empty = zrk.SphereSDF(center=(9, 9, 9)).surface(resolution=8)
        self.assertEqual((empty.vertices.shape, empty.faces.shape), ((0, 3), (0, 3)))
        self.assertEqual(empty.report()["triangles"], 0)
        with self.assertRaises(zrk.Error):
            zrk.SphereSDF(center=(9, 9, 9)).render(size=(16, 16))

    def test_colours_and_units_of_meshes(self):
        mesh = zrk.SphereSDF(radius=0.5).surface(resolution=8)
        mesh.save(self.folder / "a.3mf", unit="millimeter", colors=np.full((len(mesh.vertices), 4), 9, np.uint8))
        mesh.save(self.folder / "b.3mf", "inch")
        for wrong in ({"unit": "mile"}, {"colors": np.zeros((3, 4), np.uint8)}, {"colors": "red"}):
            with self.assertRaises(zrk.Error):
                mesh.save(self.folder / "c.3mf", **wrong)
        self.assertFalse((self.folder / "c.3mf").exists())

    def test_show_themselves_in_notebooks(self):
        for shown in (zrk.SphereSDF(), zrk.PositionVec3(), zrk.SphereSDF().render(size=(16, 16)),
                      zrk.Document.new(zrk.SphereSDF()), zrk.Picture(np.zeros((4, 4), np.uint8))):
            self.assertEqual(shown._repr_png_()[:8], b"\x89PNG\r\n\x1a\n")
        self.assertIsNone(zrk.BinaryOperator()._repr_png_())

    def test_take_other_arrays_of_the_same_kind(self):
        """Components keep what they were given; what is made afterwards has the new arrays."""
        mesh = zrk.Mesh(np.eye(3), [[0, 1, 2]])
        before = zrk.GeometryBlend(geometries=mesh)
        value = before((0.3, 0.3, 0.3))
        mesh.vertices = mesh.vertices * 2
        self.assertEqual(before((0.3, 0.3, 0.3)), value)
        self.assertNotEqual(zrk.GeometryBlend(geometries=mesh)((0.3, 0.3, 0.3)), value)
        for holder, name, wrong in ((mesh, "vertices", 5), (mesh, "faces", np.zeros((2, 3))), (mesh, "faces", "abc"),
                                    (zrk.Volume(np.zeros((2, 2, 2))), "values", np.zeros((2, 2))),
                                    (zrk.Picture(np.zeros((2, 2))), "pixels", None)):
            former = getattr(holder, name)
            with self.subTest(name, wrong=wrong), self.assertRaises(zrk.Error):
                setattr(holder, name, wrong)
            self.assertIs(getattr(holder, name), former)

    def test_pictures_tell_where_there_is_no_value(self):
        half = zrk.field(half_defined)
        with self.assertWarnsRegex(UserWarning, r"no value \(NaN\) at 128 of 256 pixels") as caught:
            half.slice(size=16)
        self.assertEqual(caught.filename, __file__)
        with self.assertWarnsRegex(UserWarning, r"no value \(NaN\) at 2048 of 4096 positions"):
            half.render(size=(16, 16))
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            zrk.SphereSDF(radius=0.5).slice(size=16)
            zrk.SphereSDF(radius=0.5).render(size=(16, 16))

    def test_refuse_arguments_that_cant_be(self):
        ball, mesh = zrk.SphereSDF(), zrk.SphereSDF(radius=0.5).surface(resolution=4)
        cases = {
            "bounds": [lambda b=b: ball.volume(b) for b in (1, (1, 2), ((0, 0, 0), (0, 1, 1)), ((0, 0), (1, 1)),
                                                            ((0, 0, 0), (1, np.inf, 1)), "ab")],
            "resolution": [lambda r=r: ball.volume(CUBE, r) for r in (1, 0, -5, 2.5, "a", (1, 2), (4, 4, 1), None, True)],
            "too large": [lambda: ball.volume(CUBE, 10**6), lambda: ball.surface(CUBE, 10**12)],
            "cells": [lambda c=c: ball.surface(CUBE, cell=c) for c in (0, -1, "a", np.nan, 1e-300)],
            "vector field": [lambda: zrk.PositionVec3().surface(), lambda: zrk.PositionVec3().render(),
                             lambda: zrk.PositionVec3().measure()],
            "size": [lambda s=s: ball.render(size=s) for s in (5, (5, 5), (64,), (10**6, 64), ("a", 64))],
            "direction": [lambda d=d: ball.render(direction=d) for d in ("isso", (0, 0, 0), (1, 2), 3)],
            "others": [lambda: ball.render(background="red"), lambda: ball.slice("w"), lambda: ball.slice(range=(1, 0)),
                       lambda: ball.measure(accuracy=7), lambda: ball.volume(threads=-1), lambda: ball.volume(progress=3),
                       lambda: ball.render(color="red"), lambda: ball.slice(at=2), lambda: ball.slice(at=-0.1),
                       lambda: ball.slice(range=5), lambda: ball.surface(adaptive=-1), lambda: ball.surface(density="yes"),
                       lambda: ball((0, 0, 0), progress=3)],
            "arrays": [lambda a=a: zrk.Mesh(*a) for a in ((None, None), ([[0, 0]], [[0, 1]]), ("abc", "abc"), (1, 2),
                                                          (np.eye(3), np.eye(3)), ([[1], [1, 2]], [[0, 1, 2]]))]
            + [lambda: zrk.Volume("abc"), lambda: zrk.Picture([[None]]), lambda: zrk.Curve("abc"), lambda: zrk.Curve([(1, 2)])],
            "imports": [lambda a=a: zrk.MeshSDF().import_mesh(a) for a in (5, None, [5], b"", (1, 2))]
            + [lambda: zrk.MeshSDF(mesh=5), lambda: zrk.SphereSDF().import_mesh(5)],
            "files": [lambda: mesh.save(self.folder / "a.xyz"), lambda: ball.volume(resolution=2).save(3),
                      lambda: zrk.Picture(np.zeros((2, 2))).save(self.folder / "a.png"),
                      lambda: zrk.Picture(np.zeros((2, 2), np.uint8)).save(self.folder / "a.jpg"),
                      lambda: zrk.Volume(np.zeros((2, 2))).save(self.folder / "a.npy"),
                      lambda: zrk.Mesh.load(self.folder / "none.stl"), lambda: zrk.Mesh([[0, 0, 0]], [[0, 1, 2]]).report(),
                      lambda: mesh.save(self.folder / "a.stl", unit=5)],
        }
        for name, calls in cases.items():
            for i, call in enumerate(calls):
                with self.subTest(name, i=i):
                    with self.assertRaises(zrk.Error) as caught:
                        call()
                    self.assertTrue(caught.exception.remedy)
        self.assertEqual(list(self.folder.iterdir()), [])


if __name__ == "__main__":
    unittest.main()

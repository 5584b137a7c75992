"""Unpacks the packages that `./run packages` has made into a folder and tries what they hold: packages_test.py FOLDER."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
PACKAGES = {path.name.partition("_")[0]: path for path in pathlib.Path(sys.argv.pop()).resolve().glob("*.deb")}
EXAMPLE = ROOT / "examples" / "sphere_and_twisted_gyroid.zrk.json"
# All that the level v4 has beyond v3 is switched off by its first part.
OLDER = {"GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX512F"}


def run(*command, **environment):
    """Returns what a command prints."""
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                          env={**os.environ, **{key: str(value) for key, value in environment.items()}})
    if done.returncode != 0:
        raise AssertionError(f"{command}\n{done.stdout}{done.stderr}")
    return done.stdout


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp())
        cls.tree = cls.folder / "tree"
        for path in PACKAGES.values():
            run("dpkg-deb", "-x", path, cls.tree)
        (cls.library,) = (cls.tree / "usr" / "lib").glob("*/libzrk.so.0")
        cls.paths = {"LD_LIBRARY_PATH": cls.library.parent}
        cls.zrk = cls.tree / "usr" / "bin" / "zrk"

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def test_names_and_dependencies(self):
        self.assertEqual(sorted(PACKAGES), ["libzrk-dev", "libzrk-inspectors0", "libzrk0", "python3-zrk", "zrk", "zrk-workbench"])
        version = run("dpkg-deb", "-f", PACKAGES["zrk"], "Version").strip()
        wanted = {"libzrk0": ["libc6", "libsleef3"], "zrk": [f"libzrk0 (= {version})", "libfmt9"],
                  "zrk-workbench": [f"libzrk-inspectors0 (= {version})", "libqt5widgets5"],
                  "libzrk-inspectors0": [f"libzrk0 (= {version})", "libqt5widgets5"],
                  "python3-zrk": [f"libzrk0 (= {version})", "python3-numpy", "python3 (<< 3.12)"],
                  "libzrk-dev": [f"libzrk0 (= {version})", "nlohmann-json3-dev", "libexpected-dev"]}
        for name, needs in wanted.items():
            depends = run("dpkg-deb", "-f", PACKAGES[name], "Depends")
            for need in needs:
                self.assertIn(need, depends, name)
            self.assertTrue((self.tree / "usr" / "share" / "doc" / name / "copyright").exists(), name)
        self.assertNotIn("libqt5", run("dpkg-deb", "-f", PACKAGES["zrk"], "Depends"))

    def test_the_code_of_newer_processors_is_chosen_and_gives_the_same_bits(self):
        version = run(self.zrk, "--version", **self.paths)
        if "x86-64-v4, 8 lanes" not in version:
            self.skipTest("this processor has no x86-64-v4")
        self.assertIn("x86-64-v3, 4 lanes", run(self.zrk, "--version", **self.paths, **OLDER))
        volumes = [self.folder / f"{name}.npy" for name in ("newer", "older")]
        for volume, more in zip(volumes, ({}, OLDER)):
            run(self.zrk, "sample", EXAMPLE, "-o", volume, "--resolution", "64", **self.paths, **more)
        self.assertEqual(volumes[0].read_bytes(), volumes[1].read_bytes())

    @unittest.skipUnless(shutil.which("qemu-x86_64"), "qemu-user isn't installed")
    def test_older_processors_get_a_message(self):
        done = subprocess.run(["qemu-x86_64", "-E", f"LD_LIBRARY_PATH={self.library.parent}", "-cpu", "Nehalem", self.zrk,
                               "--version"], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertRegex(done.stderr, r"^zrk: processor, found none of the instructions AVX, .*x86-64-v3.*\n  remedy: .*\n$")

    def test_the_module_for_vdb_files_is_found(self):
        if "VDB" in run(self.zrk, "--version", **self.paths):
            volume = self.folder / "part.vdb"
            run(self.zrk, "sample", EXAMPLE, "-o", volume, "--resolution", "16", **self.paths)
            self.assertGreater(volume.stat().st_size, 1000)

    def test_python(self):
        code = "import zrk; print(zrk.__file__); print(zrk.SphereSDF(radius=2.0)([[3.0, 4.0, 0.0]]))"
        out = run("/usr/bin/python3", "-c", code, PYTHONPATH=self.tree / "usr/lib/python3/dist-packages", **self.paths)
        self.assertEqual(out.splitlines(), [str(self.tree / "usr/lib/python3/dist-packages/zrk/__init__.py"), "[3.]"])

    def test_workbench(self):
        picture = self.folder / "workbench.png"
        run(self.tree / "usr/bin/zrk-workbench", "--screenshot", picture, EXAMPLE, QT_QPA_PLATFORM="offscreen", **self.paths)
        self.assertEqual(picture.read_bytes()[:4], b"\x89PNG")

    def test_a_program_of_the_development_package(self):
        for kind in ("shared", "static"):
            build = self.folder / kind
            run("cmake", "-G", "Ninja", "-S", ROOT / "tests/embedding/project", "-B", build, f"-DKIND={kind}",
                f"-DCMAKE_PREFIX_PATH={self.tree / 'usr'}")
            run("cmake", "--build", build)
            self.assertIn("types with ours 49\n", run(build / "embedding", EXAMPLE, **self.paths))


if __name__ == "__main__":
    unittest.main()

"""The workbench from outside: what it prints and draws, and what it says of wrong calls."""

import json
import os
import pathlib
import struct
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAM = os.environ["ZRK_WORKBENCH"]
EXAMPLE = ROOT / "examples" / "sphere_and_twisted_gyroid.zrk.json"


def run(*arguments, env=None):
    return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True, timeout=120,
                          env=env)


class Workbench(unittest.TestCase):
    def test_describes_panels(self):
        everything = run("--describe-panels")
        self.assertEqual(everything.returncode, 0, everything.stderr)
        panels = json.loads(everything.stdout)
        self.assertEqual(len(panels), 48)
        self.assertEqual(list(panels)[:3], ["ZRKSphereUVW", "ZRKTorusUVW", "ZRKCylinderUVW"])
        self.assertIsNone(panels["ZRKInvert"])
        some = json.loads(run("--describe-panels", "Gyroid", "ZRK3DImage").stdout)
        self.assertEqual(some, {name: panels[name] for name in ("ZRKGyroid", "ZRK3DImage")})

    def test_draws_the_window(self):
        with tempfile.TemporaryDirectory() as folder:
            picture = pathlib.Path(folder) / "window.png"
            done = run("--screenshot", picture, "--select", "1", "--size", "900x600", EXAMPLE)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(struct.unpack(">II", picture.read_bytes()[16:24]), (900, 600))

    def test_numbers_stay_where_the_locale_writes_a_comma(self):
        with tempfile.TemporaryDirectory() as folder:
            locale = pathlib.Path(folder, "de_DE.UTF-8")
            try:
                subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", locale], check=True, capture_output=True)
            except (OSError, subprocess.CalledProcessError) as missing:
                self.skipTest(f"no such locale can be made: {missing}")
            german = {**os.environ, "LOCPATH": folder, "LC_ALL": "de_DE.UTF-8"}
            done = run("--screenshot", pathlib.Path(folder, "window.png"), EXAMPLE, env=german)
            self.assertEqual(done.returncode, 0, done.stderr)
            panels = []
            for environment in None, german:
                done = run("--picture-panels", folder, env=environment)
                self.assertEqual(done.returncode, 0, done.stderr)
                panels.append({path.name: path.read_bytes() for path in pathlib.Path(folder).glob("ZRK*.png")})
            self.assertEqual(*panels)
            self.assertGreater(len(panels[0]), 30)

    def test_first_start_where_it_is_installed(self):
        build = pathlib.Path(PROGRAM).resolve().parent.parent
        with tempfile.TemporaryDirectory() as folder:
            prefix = pathlib.Path(folder, "prefix")
            subprocess.run(["cmake", "--install", build, "--prefix", prefix, "--component", "zrk-workbench"], check=True,
                           stdout=subprocess.DEVNULL)
            empty = pathlib.Path(folder, "empty.zrk.json")
            empty.write_text('{"zrkGraph": 1, "nodes": []}')

            def drawn(*document):
                picture = pathlib.Path(folder, "window.png")
                done = subprocess.run([prefix / "bin" / "zrk-workbench", "--screenshot", picture, *document],
                                      capture_output=True, text=True, timeout=120)
                self.assertEqual(done.returncode, 0, done.stderr)
                return picture.stat().st_size

            # An example in the view, and the pictures of all of them.
            self.assertGreater(drawn(), 2 * drawn(empty))

    def test_measures_no_document_that_isnt_there(self):
        done = run("--measure", "none.zrk.json")
        self.assertEqual(done.returncode, 2)
        self.assertRegex(done.stderr, r"\Azrk-workbench: none.zrk.json: found no file [^\n]*\n  remedy: [^\n]*\n\Z")

    def test_tells_that_there_is_no_screen(self):
        env = {key: value for key, value in os.environ.items() if key not in ("WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
        for screen in ({"DISPLAY": ":7777"}, {"QT_QPA_PLATFORM": "nothing"}):
            done = run(EXAMPLE, env={**env, **screen})
            self.assertEqual(done.returncode, 1, screen)
            self.assertRegex(done.stderr, r"\Azrk-workbench: screen: found [^\n]*, expected [^\n]*\n  remedy: [^\n]*\n\Z")

    def test_refuses_wrong_calls(self):
        for arguments, words in (
            (("--describe-panels", "Sphere"), ["unknown type", "\"Sphere\"", "zrk types"]),
            (("--describe-panels", "Invert"), ["ambiguous"]),
            (("--screenshot", "/tmp/never.png", "/nowhere.zrk.json"), ["/nowhere.zrk.json"]),
            (("--screenshot", "/tmp/never.png", "--select", "99", EXAMPLE), ["--select", "99"]),
            (("--screenshot", "/tmp/never.png", "--size", "9x9", EXAMPLE), ["--size", "1280x800"]),
            (("--screenshot", "/tmp/never.png", "--view", "inside", EXAMPLE), ["--view", "solid"]),
            (("--none",), ["--none", "--help"]),
            (("--select", "99999999999", EXAMPLE), ["--select", "--help"]),
        ):
            done = run(*arguments)
            self.assertEqual(done.returncode, 2, arguments)
            for word in words:
                self.assertIn(word, done.stderr)
            self.assertRegex(done.stderr, r"\Azrk-workbench: [^\n]*found [^\n]*, expected [^\n]*\n  remedy: [^\n]*\n\Z")
            self.assertFalse(os.path.exists("/tmp/never.png"))


if __name__ == "__main__":
    unittest.main()

"""Fails one call of the system in every small run, whichever it is, and kills the run before each call on files.

Tries some of the calls, spread over the run; with ZRK_FAIL_ALL=1 all of them. The last line of the output counts
the runs.
"""

import os
import pathlib
import re
import subprocess
import unittest

from zrk_program import PATIENCE, PROGRAM, ROOT, ZrkTest, graph

SHIM = os.environ.get("ZRK_FAIL_NTH_LIBRARY", str(ROOT / "build/develop/tests/libfail_nth.so"))
ALL = os.environ.get("ZRK_FAIL_ALL") == "1"
FAILURES = ("alloc", "open", "read", "write", "fsync", "rename", "link", "thread")
TEMPORARY = re.compile(r"\.zrk-\d+-\d+\.tmp$")


def spread(total, most):
    """Numbers from 1 to the total, the first and the last among them."""
    if ALL or total <= most:
        return range(1, total + 1)
    return sorted({1 + round(k * (total - 1) / (most - 1)) for k in range(most)})


class Run:
    """What one run left."""

    def __init__(self, folder, words, **environment):
        finished = subprocess.run([PROGRAM, *words], cwd=folder, capture_output=True, timeout=60 * PATIENCE,
                                  env={**os.environ, "LD_PRELOAD": SHIM, **environment})
        self.status = finished.returncode
        self.out = finished.stdout
        self.err = finished.stderr.decode(errors="replace")
        self.files = {path.name: path.read_bytes() for path in folder.iterdir()}


@unittest.skipUnless(SHIM and pathlib.Path(SHIM).exists(), "the library isn't built")
class FailNth(ZrkTest):
    OLD = b"old"

    def setUp(self):
        super().setUp()
        self.count_file = self.folder / "count"
        self.work = self.folder / "work"
        self.work.mkdir()
        self.runs = 0
        tetrahedron = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n"
        picture = (ROOT / "examples/pictures/gear.png").read_bytes()
        nodes = [{"id": 1, "type": "TwistTransform", "values": {"angle": 90.0}}, {"id": 2, "type": "SphereSDF"},
                 {"id": 3, "type": "MeshSDF", "import": "part.obj"},
                 {"id": 4, "type": "BinaryOperator", "values": {"op_name": "minimum"}}]
        images = [{"uuid": "0b0e0000-0000-4000-8000-000000000000", "kind": "image2d", "path": "gear.png"}]
        self.put(graph(nodes, [(1, 0, 2, 0), (2, 0, 4, 0), (3, 0, 4, 1)], (4, 0), resources=images,
                       context={"modelBounds": [[-1, -1, -1], [1, 1, 1]]}), "work/a.zrk.json")
        self.put(tetrahedron, "work/part.obj")
        self.put(picture, "work/gear.png")
        self.put("0,0,0\n1,0,0\n", "work/points")
        self.commands = {
            "types": (["types"], None), "version": (["--version"], None), "check": (["check", "a.zrk.json"], None),
            "wrong usage": (["check"], None),
            "probe": (["probe", "a.zrk.json", "--points", "points", "--quiet"], None),
            "sample": (["sample", "a.zrk.json", "--resolution", "12", "--threads", "3", "-o", "v.npy"], "v.npy"),
            "slice": (["slice", "a.zrk.json", "--size", "24", "-o", "p.png"], "p.png"),
            "surface": (["surface", "a.zrk.json", "--resolution", "8", "-o", "s.3mf"], "s.3mf"),
            "render": (["render", "a.zrk.json", "--size", "32x32", "-o", "r.png"], "r.png"),
            "report": (["surface", "--report", "part.obj"], None),
        }

    def tearDown(self):
        print(f"{self.id().split('.')[-1]}: {self.runs} runs")

    def run_once(self, words, target, **environment):
        self.runs += 1
        if target:
            (self.work / target).write_bytes(self.OLD)
        return Run(self.work, words, **environment)

    def undisturbed(self, words, target, what):
        """A run in which nothing fails, and the number of its calls."""
        finished = self.run_once(words, target, ZRK_FAIL_WHAT=what, ZRK_FAIL_COUNT=str(self.count_file))
        return finished, int(self.count_file.read_text())

    def without_mesh(self, words, target):
        """A run in which the mesh isn't there: an import that can't be read is a warning."""
        mesh = self.work / "part.obj"
        mesh.rename(self.folder / "part.obj")
        finished = self.run_once(words, target, ZRK_FAIL_WHAT="none")
        (self.folder / "part.obj").rename(mesh)
        finished.files["part.obj"] = mesh.read_bytes()
        return finished

    def judge(self, finished, whole, words, target):
        self.assertIn(finished.status, (0, 1, 2), finished.err)
        if finished.status == 0 and finished.files != whole.files and "part.obj: found no readable file" in finished.err:
            whole = self.without_mesh(words, target)
        if finished.status == whole.status:
            self.assertEqual(finished.out, whole.out)
        if finished.status == 0:
            self.assertEqual(finished.files, whole.files)
        if target:
            self.assertIn(finished.files[target], (self.OLD, whole.files[target]))
        self.assertEqual(set(finished.files), set(whole.files), "a file more or less")

    def test_each_failure_alone_and_with_all_that_follow(self):
        for name, (words, target) in self.commands.items():
            for what in FAILURES:
                whole, total = self.undisturbed(words, target, what)
                for rest in ("0", "1"):
                    for n in spread(total, 12 if what == "alloc" else 5):
                        with self.subTest(command=name, what=what, n=n, of=total, rest=rest):
                            self.judge(self.run_once(words, target, ZRK_FAIL_WHAT=what, ZRK_FAIL_NTH=str(n),
                                                     ZRK_FAIL_REST=rest), whole, words, target)

    def test_a_lack_of_memory_is_told(self):
        whole, total = self.undisturbed(*self.commands["sample"], "alloc")
        for n in spread(total, 10):
            finished = self.run_once(*self.commands["sample"], ZRK_FAIL_WHAT="alloc", ZRK_FAIL_NTH=str(n),
                                     ZRK_FAIL_REST="1")
            with self.subTest(n=n):
                if finished.status != whole.status:
                    self.assertIn("more memory than there is", finished.err)

    def test_killed_before_any_call_on_files(self):
        for name in ("sample", "slice", "surface", "render"):
            words, target = self.commands[name]
            whole, total = self.undisturbed(words, target, "kill")
            for n in spread(total, 25):
                with self.subTest(command=name, n=n, of=total):
                    killed = self.run_once(words, target, ZRK_FAIL_WHAT="kill", ZRK_FAIL_NTH=str(n))
                    self.assertIn(killed.status, (-9, whole.status))
                    self.assertIn(killed.files[target], (self.OLD, whole.files[target]))
                    for left in set(killed.files) - set(whole.files):
                        self.assertRegex(left, TEMPORARY)
                    # The next run removes what is left.
                    self.assertEqual(self.run_once(words, target, ZRK_FAIL_WHAT="none").files, whole.files)


if __name__ == "__main__":
    unittest.main()

"""The scripts under examples/cluster, with a stand-in for each scheduler; tools/simulate-shards."""

import hashlib
import importlib.machinery
import importlib.util
import os
import pathlib
import subprocess
import unittest

from zrk_program import PATIENCE, PROGRAM, ROOT, ZrkTest

SCRIPTS = ROOT / "examples/cluster"
GYROID = ROOT / "examples/gyroid.zrk.json"
VOLUME = ["--dims", "100,100,330"]  # four tiles
SURFACE = ["--bounds", "-1,-1,-7,1,1.1,8", "--cell", "0.04"]  # three

# What stands in for GNU parallel: one job after the other, {} its line, each tried until it ends well, as --retries says.
PARALLEL = """#!/bin/sh
retries=1
while [ "${1#--}" != "$1" ]; do
    [ "$1" = --retries ] && retries=$2
    shift 2
done
while read -r line; do
    try=0
    until [ $try = "$retries" ] || STAND_IN=$line.$try sh -c "$(printf '%s ' "$@" | sed "s/{}/$line/g")"; do
        try=$((try + 1))
    done
    [ $try = "$retries" ] && exit 1
done
exit 0
"""


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


class Schedulers(ZrkTest):
    def script(self, name, *arguments, status=0, **variables):
        environment = {**os.environ, "ZRK": PROGRAM, "PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}", **variables}
        done = subprocess.run([SCRIPTS / name, *map(str, arguments)], env=environment, capture_output=True, text=True,
                              timeout=120 * PATIENCE)
        self.assertEqual(done.returncode, status, done.stderr)
        return done.stderr

    def array(self, count, *arguments):
        """Slurm's part: the tasks of an array, the last one first."""
        for task in range(count, 0, -1):
            self.script("shard.slurm", *arguments, SLURM_ARRAY_TASK_ID=str(task), SLURM_ARRAY_TASK_COUNT=str(count),
                        SLURM_ARRAY_TASK_MIN="1", SLURM_ARRAY_TASK_MAX=str(count), SLURM_CPUS_PER_TASK="2")

    def test_an_array_and_what_follows_it(self):
        for kind, index, options, ending in (("sample", "part.pvti", VOLUME, ".npy"), ("surface", "part.zrk-tiles", SURFACE, ".ply")):
            tiles = self.folder / index
            self.array(3, GYROID, tiles, *options)
            self.script("join.slurm", tiles, self.folder / f"joined{ending}")
            self.succeed(kind, GYROID, *options, "-o", self.folder / f"whole{ending}")
            self.assertEqual(digest(self.folder / f"joined{ending}"), digest(self.folder / f"whole{ending}"), kind)
        self.script("join.slurm", self.folder / "part.pvti")
        self.assertTrue((self.folder / "part.pvti").exists())

    def test_a_missing_task_is_told(self):
        self.array(1, GYROID, self.folder / "part.pvti", *VOLUME)
        (self.folder / "part_0002.vti").unlink()
        self.assertIn("tile 2 missing", self.script("join.slurm", self.folder / "part.pvti", self.folder / "a.npy", status=1))
        message = self.script("shard.slurm", GYROID, self.folder / "part.pvti", status=2, SLURM_ARRAY_TASK_ID="3",
                              SLURM_ARRAY_TASK_COUNT="4", SLURM_ARRAY_TASK_MIN="0", SLURM_ARRAY_TASK_MAX="3")
        self.assertIn("--array=1-N", message)
        for script in ("shard.slurm", "ranks.slurm"):
            self.assertIn(".pvti or .zrk-tiles", self.script(script, GYROID, self.folder / "part.npy", status=2))

    def test_in_parallel(self):
        (self.folder / "bin").mkdir()
        self.put(PARALLEL, "bin/parallel").chmod(0o755)
        # A program that fails at the first try of the second shard.
        self.put(f'#!/bin/sh\n[ "$STAND_IN" = 2.0 ] && exit 1\nexec {PROGRAM} "$@"\n', "bin/failing-zrk").chmod(0o755)
        self.script("shards-in-parallel", 3, GYROID, self.folder / "part.pvti", *VOLUME, ZRK="failing-zrk")
        self.assertIn("4 tiles", self.succeed("join", self.folder / "part.pvti").err)


class Simulation(unittest.TestCase):
    """Cases with answers that are told without a simulation."""

    @classmethod
    def setUpClass(cls):
        loader = importlib.machinery.SourceFileLoader("simulate_shards", str(ROOT / "tools/simulate-shards"))
        cls.tool = importlib.util.module_from_spec(importlib.util.spec_from_loader("simulate_shards", loader))
        loader.exec_module(cls.tool)

    def test_known_ends(self):
        shards, handed = self.tool.by_shards, self.tool.by_hand_out
        self.assertEqual(shards([1, 5, 1, 5], 2), 10)  # all slow ones in one shard
        self.assertEqual(handed([1, 5, 1, 5], 2, 0, 0), 7)  # 1 + 1 + 5 beside 5
        self.assertEqual(handed([2, 2, 2], 1, 0.5, 1), 3 * (0.5 + 0.5 + 0.5 + 2))  # way, answer, way, work
        self.assertEqual(handed([0.0] * 100, 100, 0.25, 0), 25)  # the desk is what all wait for
        self.assertEqual(handed([1] * 4, 8, 0, 0), 1)  # more ranks than tiles

    def test_a_table_of_times(self):
        done = subprocess.run([ROOT / "tools/simulate-shards", "--times", "/dev/stdin", "--tiles", "1000", "--ranks", "1,10"],
                              input="1\n2\n3\n", capture_output=True, text=True, check=True)
        lines = done.stdout.splitlines()
        self.assertIn("1000 tiles of 1 to 3 s", lines[0])
        ratios = [float(word) for word in lines[-1].split()[2:]]
        self.assertEqual(ratios, sorted(ratios, reverse=True))
        self.assertTrue(all(1 <= ratio < 1.2 for ratio in ratios), lines)


if __name__ == "__main__":
    unittest.main()

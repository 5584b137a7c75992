"""`zrk --mpi` under mpirun: the same tiles as one program writes, whoever ends or fails meanwhile."""

import hashlib
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time
import unittest

from zrk_program import PATIENCE, PROGRAM, ROOT, SPHERE, ZrkTest, graph, run

GYROID = ROOT / "examples/gyroid.zrk.json"
VOLUME = ["--dims", "100,100,330"]  # four tiles
LONG = ["--dims", "150,150,3000"]  # 66 tiles
SURFACE = ["--bounds", "-1,-1,-7,1,1.1,8", "--cell", "0.04"]  # three
HAS_MODULE = (pathlib.Path(PROGRAM).parent / "zrk_mpi.so").exists()


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


# Runs a rank and writes the processor time that it took.
TIMED = """import os, resource, subprocess, sys
status = subprocess.call(sys.argv[2:])
seconds = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
open(f"{sys.argv[1]}.{os.environ['OMPI_COMM_WORLD_RANK']}", "w").write(str(seconds))
sys.exit(status)
"""


def is_alive(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0] != "Z"
    except OSError:
        return False


class Refused(ZrkTest):
    def test_what_is_no_work_for_ranks(self):
        self.refused(2, "--mpi", "check", GYROID, contains=["--mpi", "sample or surface"])
        if not HAS_MODULE:
            self.refused(1, "--mpi", "sample", GYROID, "-o", self.folder / "a.pvti", contains=["zrk_mpi.so", "install-dependencies mpi"])


@unittest.skipUnless(HAS_MODULE and shutil.which("mpirun"), "needs Open MPI (tools/install-dependencies mpi)")
class Ranks(ZrkTest):
    def start(self, ranks, *arguments, program=(PROGRAM,)):
        environment = {**os.environ, "OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1"}
        command = ["mpirun", "--oversubscribe", "--bind-to", "none", "-n", ranks, *program, "--mpi", *arguments]
        return subprocess.Popen(list(map(str, command)), env=environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def finish(self, process, status=0):
        """What a run prints. None stands for any failure."""
        _, told = process.communicate(timeout=120 * PATIENCE)
        if status is None:
            self.assertNotEqual(process.returncode, 0, told)
        else:
            self.assertEqual(process.returncode, status, told)
        return told

    def tiles(self, stem="part"):
        return {path.name: digest(path) for path in sorted(self.folder.glob(f"{stem}_*"))}

    def ranks_of(self, process):
        """Processes that mpirun has started."""
        children = [pid for path in pathlib.Path(f"/proc/{process.pid}/task").glob("*/children") for pid in path.read_text().split()]
        return sorted(int(pid) for pid in children if "zrk" in pathlib.Path(f"/proc/{pid}/comm").read_text())

    def wait_for_tiles(self, count):
        end = time.monotonic() + 60 * PATIENCE
        while len(self.tiles()) < count and time.monotonic() < end:
            time.sleep(0.01)
        self.assertGreaterEqual(len(self.tiles()), count)

    def test_ranks_write_what_one_program_does(self):
        for command, options, index in (("sample", VOLUME, "pvti"), ("surface", SURFACE, "zrk-tiles")):
            self.succeed(command, GYROID, *options, "--shard", "1/1", "-o", self.folder / f"whole.{index}")
            whole = list(self.tiles("whole").values())
            told = self.finish(self.start(4, command, GYROID, *options, "--threads", 1, "-o", self.folder / f"part.{index}"))
            self.assertIn(f"4 ranks: {len(whole)} of {len(whole)} tiles written, 0 were there", told)
            self.assertEqual(told.count("part."), 1, told)
            self.assertEqual(list(self.tiles().values()), whole)
            self.succeed("join", self.folder / f"part.{index}")
            # What is there isn't done again, and rank 0 can do all alone.
            sorted(self.folder.glob("part_*"))[1].unlink()
            told = self.finish(self.start(1 if command == "sample" else 3, command, GYROID, *options, "-o", self.folder / f"part.{index}"))
            self.assertIn(f"1 of {len(whole)} tiles written, {len(whole) - 1} were there", told)
            self.assertEqual(list(self.tiles().values()), whole)
            for path in self.folder.glob("*_*"):
                path.unlink()
        self.assertIn(b"PImageData", (self.folder / "part.pvti").read_bytes())

    def test_several_outputs_are_several_works(self):
        # A rank that has no more of the first asks for the second while others are still at the first.
        document = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
        pins = ["--pin", "1:0", "2:0", "--dims", "200,200,100"]
        for _ in range(3):
            self.finish(self.start(4, "sample", document, *pins, "--threads", 1, "-o", self.folder / "part.pvti"))
            for index in ("part_1_0.pvti", "part_2_0.pvti"):
                self.succeed("join", self.folder / index)
            for path in self.folder.glob("part*"):
                path.unlink()

    def test_what_is_frozen_is_computed_once(self):
        sweep = {"id": 1, "type": "ImageSweep", "values": {"imageA": "a", "imageB": "b", "resolution": 48, "steps": 12}}
        pictures = [{"uuid": name, "kind": "image2d", "path": str(ROOT / f"examples/pictures/{file}.png")}
                    for name, file in (("a", "ring"), ("b", "gear"))]
        raster = {"id": 3, "type": "RasterFX", "values": {"resolution": 100}}
        box = {"modelBounds": [[-1, -1, -1], [1, 1, 1]]}
        documents = {"sweep": graph([sweep], output=(1, 0), resources=pictures),
                     "rasters": graph([SPHERE, {**raster, "id": 2}, raster], [(1, 0, 2, 0), (2, 0, 3, 0)], (3, 0), context=box),
                     "mesh": graph([{"id": 1, "type": "MeshSDF", "import": {"path": str(ROOT / "examples/torus_knot.obj")}}],
                                   output=(1, 0), context={"modelBounds": [[0, 0, 0], [5, 5, 5]]})}
        timed = self.put(TIMED, "timed.py")
        for name, text in documents.items():
            document = self.put(text, f"{name}.zrk.json")
            command, index = ("surface", "zrk-tiles") if name == "rasters" else ("sample", "pvti")
            options = [document, "--resolution", 20, "--threads", 1]
            self.succeed(command, *options, "--shard", "1/1", "-o", self.folder / f"whole.{index}", seconds=200)
            self.finish(self.start(3, command, *options, "-o", self.folder / f"{name}.{index}",
                                   program=(sys.executable, timed, self.folder / "seconds", PROGRAM)))
            self.assertEqual(list(self.tiles(name).values()), list(self.tiles("whole").values()), name)
            first, *others = (float((self.folder / f"seconds.{rank}").read_text()) for rank in range(3))
            if name != "mesh":
                self.assertLess(max(others), first / 2, name)
            for path in self.folder.glob("whole_*"):
                path.unlink()

    def test_a_rank_that_dies_ends_all(self):
        for victim in (0, -1):
            process = self.start(3, "sample", GYROID, *LONG, "--threads", 1, "-o", self.folder / "part.pvti")
            self.wait_for_tiles(3)
            os.kill(self.ranks_of(process)[victim], signal.SIGKILL)
            self.assertIn("signal 9", self.finish(process, None))
            before = self.tiles()
            self.assertLess(len(before), 66)
            time.sleep(0.5)
            self.assertEqual(self.tiles(), before, "a rank lives on")
            self.assertFalse([name for name in self.files() if name.endswith(".tmp")])
            # Those that are there are good: nothing of them is written again.
            told = self.finish(self.start(2, "sample", GYROID, *LONG, "-o", self.folder / "part.pvti"))
            self.assertIn(f"{66 - len(before)} of 66 tiles written, {len(before)} were there", told)
            for path in self.folder.glob("part*"):
                path.unlink()

    def test_an_interrupt_ends_all(self):
        # Of mpirun, which asks the ranks to end, may lose what they tell then, and ends with 1; and of all ranks, as srun does it.
        for of_ranks in (False, True):
            process = self.start(3, "sample", GYROID, "--dims", "300,300,6000", "--threads", 1, "-o", self.folder / "part.pvti")
            self.wait_for_tiles(3)
            ranks = self.ranks_of(process)
            begun = time.monotonic()
            for pid in ranks if of_ranks else [process.pid]:
                os.kill(pid, signal.SIGINT)
            told = self.finish(process, 130 if of_ranks else None)
            self.assertLessEqual(told.count("zrk: "), 1, told)
            if of_ranks:
                self.assertIn("zrk: interrupted; tiles that are written stay, and the same command goes on with the others\n", told)
            self.assertLess(time.monotonic() - begun, 10 * PATIENCE)
            self.assertEqual(len(ranks), 3)
            self.assertFalse([pid for pid in ranks if is_alive(pid)])
            self.assertFalse([name for name in self.files() if name.endswith(".tmp")])
            for path in self.folder.glob("part*"):
                path.unlink()

    def test_a_fault_is_told_and_ends_all(self):
        part = self.folder / "part.pvti"
        told = self.finish(self.start(3, "sample", self.folder / "none.zrk.json", "-o", part), 2)
        self.assertEqual(told.count("zrk: "), 1, told)
        self.assertIn("none.zrk.json", told)
        told = self.finish(self.start(2, "sample", GYROID, *VOLUME, "--shard", "1/2", "-o", part), 2)
        self.assertIn("leave --shard out", told)
        self.assertIn(".pvti, with --mpi", self.finish(self.start(2, "sample", GYROID, *VOLUME, "-o", self.folder / "a.npy"), 2))
        # In the middle, by whichever rank meets it.
        self.put("mine", "part_0003.vti")
        self.assertIn("no tile", self.finish(self.start(3, "sample", GYROID, *VOLUME, "-o", part), 1))
        self.assertEqual((self.folder / "part_0003.vti").read_text(), "mine")


if __name__ == "__main__":
    unittest.main()

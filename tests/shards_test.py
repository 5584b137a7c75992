"""`sample` beyond memory and in shards: the same bytes for every memory, number of threads and division of the work."""

import hashlib
import random
import re
import shutil
import signal
import subprocess
import time
import unittest
import xml.etree.ElementTree as xml

from zrk_program import PATIENCE, PROGRAM, ROOT, SPHERE, ZrkTest, graph, run

BLEND = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
GRID = ["--dims", "100,100,330"]  # four tiles of at most 105 layers


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


class LargerThanMemory(ZrkTest):
    def test_memory_and_threads_change_nothing(self):
        # 64 MB of samples, in pieces of some megabytes and at once; a raster that is frozen over the whole bounds.
        frozen = self.put(graph([SPHERE, {"id": 2, "type": "RasterFX", "values": {"resolution": 9}}], [(1, 0, 2, 0)], (2, 0),
                                context={"modelBounds": [[-1, -1, -1], [1, 2, 1]]}), "frozen.zrk.json")
        for document, options in ((BLEND, ["--resolution", "200"]), (frozen, ["--resolution", "150", "--type", "float32"])):
            expected = set()
            for extension in ("npy", "nrrd", "vti"):
                found = set()
                for memory, threads in (("70M", 1), ("90M", 3), ("2G", 2)):
                    path = self.folder / f"v.{extension}"
                    self.succeed("sample", document, "-o", path, *options, "--memory", memory, "--threads", threads)
                    found.add(digest(path))
                self.assertEqual(len(found), 1, extension)


class Shards(ZrkTest):
    def shard(self, k, n, name="part.pvti", document=BLEND, *options):
        return ["sample", document, *GRID, "--shard", f"{k}/{n}", "-o", self.folder / name, "--quiet", *options]

    def tiles(self, stem="part"):
        return {path.name: digest(path) for path in sorted(self.folder.glob(f"{stem}_*.vti"))}

    def test_every_division_gives_the_same_bytes(self):
        self.succeed(*self.shard(1, 1))
        whole = self.tiles()
        self.assertEqual(list(whole), [f"part_{i:04}.vti" for i in range(4)])
        draw = random.Random(3)
        for n in (3, 7):
            for name in whole:
                (self.folder / name).unlink()
            order = list(range(1, n + 1))
            draw.shuffle(order)
            for k in order:
                before = self.tiles()
                self.succeed(*self.shard(k, n), "--threads", 1 + k % 3)
                self.assertEqual({name: self.tiles()[name] for name in before}, before)
            self.assertEqual(self.tiles(), whole)
        # One file of all, and one that was sampled at once.
        for extension in ("npy", "nrrd", "vti"):
            at_once, joined = self.folder / f"once.{extension}", self.folder / f"joined.{extension}"
            self.succeed("sample", BLEND, *GRID, "-o", at_once)
            self.succeed("join", self.folder / "part.pvti", "-o", joined)
            self.assertEqual(digest(joined), digest(at_once), extension)

    def test_killed_shards_resume(self):
        self.succeed(*self.shard(1, 1, "whole.pvti"))
        draw = random.Random(11)
        for signal_number in (signal.SIGKILL, signal.SIGINT) * 4:
            process = subprocess.Popen([PROGRAM, *map(str, self.shard(1, 1))], stderr=subprocess.DEVNULL)
            time.sleep(draw.uniform(0.02, 0.3) * PATIENCE)
            process.send_signal(signal_number)
            process.wait()
        self.succeed(*self.shard(1, 1))
        self.assertEqual(list(self.tiles().values()), list(self.tiles("whole").values()))
        self.assertFalse([name for name in self.files() if name.endswith(".tmp")])
        # What is complete isn't computed again.
        self.assertIn("0 of 4 tiles written, 4 were there", run(*[a for a in self.shard(1, 1) if a != "--quiet"]).err)

    def test_two_jobs_on_one_shard(self):
        jobs = [subprocess.Popen([PROGRAM, *map(str, self.shard(1, 1))]) for _ in range(2)]
        self.assertEqual([job.wait(60 * PATIENCE) for job in jobs], [0, 0])
        self.succeed(*self.shard(1, 1, "whole.pvti"))
        self.assertEqual(list(self.tiles().values()), list(self.tiles("whole").values()))

    def test_the_index_names_all_tiles(self):
        self.succeed(*self.shard(1, 1))
        self.succeed("join", self.folder / "part.pvti")
        image = xml.parse(self.folder / "part.pvti").getroot().find("PImageData")
        self.assertEqual(image.get("WholeExtent"), "0 99 0 99 0 329")
        end = 0
        for i, piece in enumerate(image.findall("Piece")):
            extent = list(map(int, piece.get("Extent").split()))
            self.assertEqual((extent[4], piece.get("Source")), (end, f"part_{i:04}.vti"))
            head = (self.folder / piece.get("Source")).read_bytes().split(b"<AppendedData")[0].decode() + "</VTKFile>"
            tile = xml.fromstring(head).find("ImageData")
            self.assertEqual(tile.find("Piece").get("Extent"), piece.get("Extent"))
            self.assertEqual((tile.get("Origin"), tile.get("Spacing")), (image.get("Origin"), image.get("Spacing")))
            end = extent[5]
        self.assertEqual(end, 329)
        self.succeed("join", self.folder / "part.pvti")  # an index may be written again
        self.put("mine", "part.pvti")
        self.refused(1, "join", self.folder / "part.pvti", contains=["no index of tiles"])
        self.assertEqual((self.folder / "part.pvti").read_text(), "mine")

    def test_join_lists_what_is_wrong(self):
        self.refused(1, "join", self.folder / "part.pvti", contains=["part_0000.vti", "no tiles"])
        self.succeed(*self.shard(1, 1))
        (self.folder / "part_0001.vti").unlink()
        cut = self.folder / "part_0002.vti"
        cut.write_bytes(cut.read_bytes()[:-1])
        for arguments in (["join", self.folder / "part.pvti"], ["join", self.folder / "part.pvti", "-o", self.folder / "v.npy"]):
            self.refused(1, *arguments, contains=["tile 1 missing", "tile 2 cut short", "all 4 tiles"])
        self.assertFalse((self.folder / "v.npy").exists() or (self.folder / "part.pvti").exists())
        self.succeed(*self.shard(3, 4))  # the cut one
        self.refused(1, "join", self.folder / "part.pvti", contains=["tile 1 missing, expected"])
        self.succeed(*self.shard(2, 4))
        self.succeed("join", self.folder / "part.pvti")

    def test_other_work_is_refused_with_both_digests(self):
        document = self.put(graph([SPHERE], output=(1, 0)))
        self.succeed(*self.shard(1, 2, "part.pvti", document))
        first = re.search(r"digest: (\w{64})", (self.folder / "part_0000.vti").read_bytes()[:1000].decode(errors="replace"))[1]
        before = self.tiles()
        for options in (["--set", "1.radius=2"], ["--type", "float32"], ["--bounds", "0,0,0,1,1,2"]):
            message = self.refused(1, *self.shard(1, 2, "part.pvti", document, *options), contains=["part_0000.vti", first])
            self.assertEqual(len(set(re.findall(r"\b[0-9a-f]{64}\b", message))), 2, message)
        self.assertEqual(self.tiles(), before)
        # The other half of another document: told by join.
        self.succeed(*self.shard(2, 2, "part.pvti", document, "--set", "1.radius=2"))
        message = self.refused(1, "join", self.folder / "part.pvti", contains=["tile 1 of other work", "tile 3 of other work", first])
        # A file that isn't ours stays.
        self.put("mine", "other_0000.vti")
        self.refused(1, *self.shard(1, 1, "other.pvti"), contains=["no tile"])
        self.assertEqual((self.folder / "other_0000.vti").read_text(), "mine")

    def test_files_of_the_document_count(self):
        shutil.copy(ROOT / "examples/pictures/ring.png", self.folder / "a.png")
        document = self.put(graph([{"id": 1, "type": "ScalarImageSampler", "values": {"image": "a1"}}], output=(1, 0),
                                  resources=[{"uuid": "a1", "kind": "image2d", "path": "a.png"}]))
        self.succeed(*self.shard(1, 4, "part.pvti", document))
        shutil.copy(document, self.folder / "copy.zrk.json")  # another name is no other document
        self.succeed(*self.shard(1, 4, "part.pvti", self.folder / "copy.zrk.json"))
        shutil.copy(ROOT / "examples/pictures/gear.png", self.folder / "a.png")
        self.refused(1, *self.shard(1, 4, "part.pvti", document), contains=["digest"])

    def test_wrong_usage(self):
        for arguments, parts in ((self.shard(0, 3), ["--shard", '"0/3"']), (self.shard(4, 3), ["1 to N"]), (self.shard("x", 3), ["--shard"]),
                                 (["sample", BLEND, "--shard", "1", "-o", self.folder / "a.pvti"], ["K/N"]),
                                 (["sample", BLEND, "-o", self.folder / "a.pvti"], ["--shard 1/1"]), (self.shard(1, 1, "a.vti"), [".pvti"]),
                                 (self.shard(1, 1, "a.pvti", BLEND, "--type", "float16"), ["float16"]), (["join", self.folder / "a.vti"], [".pvti"]),
                                 (["join", self.folder / "a.pvti", "-o", self.folder / "a.xyz"], [".xyz"])):
            self.refused(2, *arguments, contains=parts)
        self.assertEqual(self.files(), [])


if __name__ == "__main__":
    unittest.main()

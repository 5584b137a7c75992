"""`sample` and `surface` beyond memory and in shards: the same bytes for every memory, number of threads and division of the work."""

import hashlib
import os
import random
import re
import shutil
import signal
import subprocess
import time
import unittest
import xml.etree.ElementTree as xml

import mesh_files
from zrk_program import PATIENCE, PROGRAM, ROOT, SANITIZED, SPHERE, ZrkTest, graph, run

BLEND = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
GRID = ["--dims", "100,100,330"]  # four tiles of at most 105 layers


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()



def end_early(arguments, seed):
    """Kills and interrupts runs at moments drawn."""
    draw = random.Random(seed)
    for signal_number in (signal.SIGKILL, signal.SIGINT) * 4:
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], stderr=subprocess.DEVNULL)
        time.sleep(draw.uniform(0.02, 0.3) * PATIENCE)
        process.send_signal(signal_number)
        process.wait()


def spoil(path, place):
    """Flips a bit of a byte; None appends one instead."""
    data = bytearray(path.read_bytes())
    if place is None:
        data.append(10)
    else:
        data[place] ^= 4
    path.write_bytes(data)


def spoil_and_mend(test, shard, index, ending, joined):
    """A tile with other bytes is told by `join` and by a run, which writes it again."""
    test.succeed(*shard)
    tile = test.folder / f"part_0001{ending}"
    whole = tile.read_bytes()
    values = len(whole) // 2
    # In the head, the first and the last of the numbers, the checksum, behind the end.
    for place in (whole.index(b"digest") + 60, values, len(whole) - 64, len(whole) - 40, None):
        spoil(tile, place)
        found = "with bytes behind its end" if place is None else "damaged"
        for target in ([], ["-o", test.folder / joined]):
            test.refused(1, "join", test.folder / index, *target, contains=[f"tile 1 {found}", "run the shards again"])
        told = run(*[a for a in shard if a != "--quiet"])
        test.assertEqual(told.status, 0, told.err)
        test.assertIn(f"{tile.name}: found a tile that is {found}", told.err)
        test.assertIn("1 of ", told.err)
        test.assertEqual(tile.read_bytes(), whole)
    test.succeed("join", test.folder / index)


class LargerThanMemory(ZrkTest):
    @unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
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
        end_early(self.shard(1, 1), seed=11)
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
        (self.folder / "part_0003.vti").unlink()
        cut = self.folder / "part_0002.vti"
        cut.write_bytes(cut.read_bytes()[:-1])
        os.mkfifo(self.folder / "part_0003.vti")
        for arguments in (["join", self.folder / "part.pvti"], ["join", self.folder / "part.pvti", "-o", self.folder / "v.npy"]):
            self.refused(1, *arguments, contains=["tile 1 missing", "tile 2 cut short", "tile 3 no tile", "all 4 tiles"])
        (self.folder / "part_0003.vti").unlink()
        self.succeed(*self.shard(4, 4))
        self.assertFalse((self.folder / "v.npy").exists() or (self.folder / "part.pvti").exists())
        self.succeed(*self.shard(3, 4))  # the cut one
        self.refused(1, "join", self.folder / "part.pvti", contains=["tile 1 missing, expected"])
        self.succeed(*self.shard(2, 4))
        self.succeed("join", self.folder / "part.pvti")

    def test_damage_is_seen_and_mended(self):
        spoil_and_mend(self, self.shard(1, 1), "part.pvti", ".vti", "v.npy")

    def test_other_work_is_refused_with_both_digests(self):
        document = self.put(graph([SPHERE], output=(1, 0)))
        self.succeed(*self.shard(1, 2, "part.pvti", document))
        first = re.search(r"digest: (\w{32})", (self.folder / "part_0000.vti").read_bytes()[:1000].decode(errors="replace"))[1]
        before = self.tiles()
        for options in (["--set", "1.radius=2"], ["--type", "float32"], ["--bounds", "0,0,0,1,1,2"]):
            message = self.refused(1, *self.shard(1, 2, "part.pvti", document, *options), contains=["part_0000.vti", first])
            self.assertEqual(len(set(re.findall(r"\b[0-9a-f]{32}\b", message))), 2, message)
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


GYROID = ROOT / "examples/gyroid.zrk.json"
LONG = ["--bounds", "-.4,-.4,-7,.4,.5,8", "--cell", "0.04"]  # 376 cells along z, three tiles of 16 layers of 8


class Surfaces(ZrkTest):
    """Every way to a surface has the bytes of `zrk surface` with the whole mesh in memory, which --report needs."""

    def shard(self, k, n, *options, name="part.zrk-tiles", document=GYROID):
        return ["surface", document, *LONG, "--shard", f"{k}/{n}", "-o", self.folder / name, "--quiet", *options]

    def tiles(self, stem="part"):
        return {path.name: digest(path) for path in sorted(self.folder.glob(f"{stem}_*.zrk-tile"))}

    def in_memory(self, name, document, *options):
        path = self.folder / name
        self.succeed("surface", document, *options, "-o", path, "--report", self.folder / "report.txt", seconds=120)
        return digest(path)

    @unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
    def test_memory_and_threads_change_nothing(self):
        # A mesh of some 50 MB, which doesn't fit into the memory beside what a run needs.
        options = ["--bounds", "-4,-4,-4,4,4,4", "--resolution", "200"]
        for name, extra in (("a.stl", []), ("a.ply", ["--sharp"])):
            expected = self.in_memory(name, GYROID, *options, *extra)
            for memory, threads in (("120M", 1), ("150M", 3)):
                path = self.folder / ("b" + name)
                self.succeed("surface", GYROID, *options, *extra, "-o", path, "--memory", memory, "--threads", threads)
                self.assertEqual(digest(path), expected, name)
        for whole in (["--adaptive", "0.001"], ["--open"]):
            self.refused(1, "surface", GYROID, *options, "-o", self.folder / "c.stl", "--memory", "120M", *whole, contains=["memory"])
        self.assertFalse([name for name in self.files() if name.endswith(".tmp")])

    def test_layers_are_divided(self):
        box = self.put(graph([{"id": 1, "type": "BoxSDF"}], output=(1, 0), context={"modelBounds": [[-0.1, -0.1, -0.1], [1.1, 1.1, 1.1]]}))
        whole, joined = self.folder / "a.ply", self.folder / "b.ply"
        # Faces that fill a layer of 101^2 leaves: with all that is known of them it would take 150 MB.
        self.succeed("surface", box, "--resolution", 800, "--threads", 1, "-o", whole, "--memory", "64M", seconds=120)
        # Layers of 26^2 leaves are divided, too, and so are those beneath a tile.
        options = ["--resolution", 200, "--threads", 1]
        expected = self.in_memory("whole.ply", box, *options)
        self.succeed("surface", box, *options, "-o", whole)
        self.succeed("surface", box, *options, "--shard", "1/1", "-o", self.folder / "part.zrk-tiles")
        self.succeed("join", self.folder / "part.zrk-tiles", "-o", joined)
        self.assertEqual([digest(whole), digest(joined)], [expected] * 2)

    def test_every_division_gives_the_same_bytes(self):
        draw = random.Random(5)
        for options in ([], ["--sharp"], ["--iso", "0.4", "--unit", "mm"]):
            whole = None
            for n in (1, 3, 7):
                for path in self.folder.glob("part_*"):
                    path.unlink()
                order = list(range(1, n + 1))
                draw.shuffle(order)
                for k in order:
                    before = self.tiles()
                    self.succeed(*self.shard(k, n, *options), "--threads", 1 + k % 3)
                    self.assertEqual({name: self.tiles()[name] for name in before}, before)
                whole = whole or self.tiles()
                self.assertEqual(list(whole), [f"part_{i:04}.zrk-tile" for i in range(3)])
                self.assertEqual(self.tiles(), whole)
            for extension in ("stl", "ply", "obj", "3mf") if options == [] else ("3mf",):
                joined, once = self.folder / f"joined.{extension}", self.folder / f"once.{extension}"
                self.succeed("join", self.folder / "part.zrk-tiles", "-o", joined)
                self.succeed("surface", GYROID, *LONG, *options, "-o", once)
                self.assertEqual(digest(joined), digest(once), (extension, options))
            self.assertEqual(digest(once), self.in_memory("whole.3mf", GYROID, *LONG, *options), options)

    def test_colours_and_beams_come_along(self):
        beams = self.put(graph([{"id": 1, "type": "BeamSDF", "values": {"min": [-1, -1, -1], "max": [0.66, 0.66, 0.66], "resolution": 3}}],
                               output=(1, 0)))
        for name, document, options in (("beams.3mf", beams, ["--resolution", "150", "--bounds", "-3,-3,-3,3,3,3"]),
                                        ("colours.ply", ROOT / "examples/color_of_fields.zrk.json",
                                         ["--resolution", "130", "--pin", "1:0", "--color", "9:0"])):
            for k in (2, 1):
                self.succeed("surface", document, *options, "--shard", f"{k}/2", "-o", self.folder / "part.zrk-tiles")
            joined = self.folder / name
            self.succeed("join", self.folder / "part.zrk-tiles", "-o", joined)
            self.assertEqual(digest(joined), self.in_memory("whole_" + name, document, *options), name)
            mesh = mesh_files.read(joined)
            self.assertTrue(mesh.beams if name == "beams.3mf" else mesh.colors)
            for path in self.folder.glob("part_*"):
                path.unlink()

    def test_killed_shards_resume(self):
        self.succeed(*self.shard(1, 1, name="whole.zrk-tiles"))
        end_early(self.shard(1, 1), seed=12)
        self.succeed(*self.shard(1, 1))
        self.assertEqual(list(self.tiles().values()), list(self.tiles("whole").values()))
        self.assertFalse([name for name in self.files() if name.endswith(".tmp")])
        self.assertIn("0 of 3 tiles written, 3 were there", run(*[a for a in self.shard(1, 1) if a != "--quiet"]).err)

    def test_join_lists_what_is_wrong(self):
        index, mesh = self.folder / "part.zrk-tiles", self.folder / "a.stl"
        self.refused(1, "join", index, "-o", mesh, contains=["part_0000.zrk-tile", "no tiles", "zrk surface --shard"])
        os.mkfifo(self.folder / "part_0000.zrk-tile")  # nobody writes to it
        self.refused(2, "join", index, contains=["part_0000.zrk-tile: found no tile of a surface"])
        (self.folder / "part_0000.zrk-tile").unlink()
        self.succeed(*self.shard(1, 1))
        self.assertIn("3 tiles, all complete", self.succeed("join", index).err)
        (self.folder / "part_0001.zrk-tile").unlink()
        whole = (self.folder / "part_0002.zrk-tile").read_bytes()
        for size in (len(whole) - 1, 300, 40, 0):
            (self.folder / "part_0002.zrk-tile").write_bytes(whole[:size])
            for arguments in (["join", index], ["join", index, "-o", mesh]):
                self.refused(1, *arguments, contains=["tile 1 missing", "tile 2 cut short", "all 3 tiles"])
        self.assertFalse(mesh.exists())
        self.succeed(*self.shard(3, 3))
        self.refused(1, "join", index, contains=["tile 1 missing, expected"])
        self.succeed(*self.shard(2, 3))
        self.succeed("join", index, "-o", mesh)
        self.refused(2, "join", index, "-o", self.folder / "a.vdb", contains=["vdb"])
        self.refused(2, "join", index, "-o", self.folder / "a.npy", contains=[".npy", ".3mf"])
        # Nothing in the bounds: tiles are written, and join tells.
        self.succeed(*self.shard(1, 1, "--iso", "100", name="none.zrk-tiles"))
        self.refused(1, "join", self.folder / "none.zrk-tiles", "-o", mesh, contains=["no surface"])

    def test_damage_is_seen_and_mended(self):
        spoil_and_mend(self, self.shard(1, 1), "part.zrk-tiles", ".zrk-tile", "a.stl")

    def test_other_work_is_refused_with_both_digests(self):
        self.succeed(*self.shard(1, 3))
        first = re.search(r"digest: (\w{32})", (self.folder / "part_0000.zrk-tile").read_bytes()[:1000].decode(errors="replace"))[1]
        before = self.tiles()
        for options in (["--iso", "0.1"], ["--sharp"], ["--unit", "cm"], ["--set", "1.contour=0.1"]):
            message = self.refused(1, *self.shard(1, 3, *options), contains=["part_0000.zrk-tile", first])
            self.assertEqual(len(set(re.findall(r"\b[0-9a-f]{32}\b", message))), 2, message)
        self.assertEqual(self.tiles(), before)
        self.put("mine", "other_0000.zrk-tile")
        self.refused(1, *self.shard(1, 1, name="other.zrk-tiles"), contains=["no tile"])
        self.assertEqual((self.folder / "other_0000.zrk-tile").read_text(), "mine")

    def test_wrong_usage(self):
        for arguments, parts in ((self.shard(0, 3), ["--shard", '"0/3"']), (self.shard(1, 1, name="a.stl"), [".zrk-tiles"]),
                                 (["surface", GYROID, "-o", self.folder / "a.zrk-tiles"], ["--shard 1/1"]),
                                 (self.shard(1, 1, "--adaptive", "0.1"), ["--adaptive", "across tiles"]),
                                 (self.shard(1, 1, "--open"), ["--open", "whole mesh"]), (self.shard(1, 1, "--report"), ["--report"])):
            self.refused(2, *arguments, contains=parts)
        self.assertEqual(self.files(), [])


if __name__ == "__main__":
    unittest.main()

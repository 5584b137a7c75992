"""Files of other kinds, signals, sizes and documents that nobody can trust: a message, never a wait or a rest."""

import json
import os
import pathlib
import random
import resource
import signal
import struct
import subprocess
import sys
import threading
import time
import unittest
import zlib

import mesh_files
from zrk_program import PATIENCE, PROGRAM, ROOT, SANITIZED, SPHERE, ZrkTest, graph, run, wait_until_it_hears

SPHERE_AT = ["--at", "0,0,0"]


def sweep(resolution, steps=4):
    """A document whose node computes while it is loaded, and the picture that it needs."""
    return graph([{"id": 1, "type": "ImageSweep", "values": {
        "imageA": "0b0e0000-0000-4000-8000-000000000000", "imageB": "0b0e0000-0000-4000-8000-000000000000",
        "resolution": resolution, "steps": steps}}], output=(1, 0),
        resources=[{"uuid": "0b0e0000-0000-4000-8000-000000000000", "kind": "image2d", "path": "a.png"}])


class FaultsTest(ZrkTest):
    def sphere(self, **members):
        return self.put(graph([SPHERE], output=(1, 0), **members))

    def start(self, *arguments, **options):
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   **options)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def fifo(self, name):
        path = self.folder / name
        os.mkfifo(path)
        return path

    def end(self, process, number, status):
        """Sends a signal to a program that waits; it ends at once."""
        wait_until_it_hears(process)
        time.sleep(0.3)
        self.assertIsNone(process.poll(), "ended before it was asked to")
        begun = time.monotonic()
        process.send_signal(number)
        out, err = process.communicate(timeout=10 * PATIENCE)
        self.assertLess(time.monotonic() - begun, 0.1 + 0.2 * PATIENCE)
        self.assertEqual((process.returncode, out, err), (status, b"", b""))

    def feed(self, path, data):
        threading.Thread(target=lambda: pathlib.Path(path).write_bytes(data), daemon=True).start()


class FilesOfOtherKinds(FaultsTest):
    def test_a_wait_for_a_pipe_ends_at_an_interrupt(self):
        sphere = self.sphere()
        held, _ = os.pipe()
        self.addCleanup(os.close, held)
        self.end(self.start("check", self.fifo("document")), signal.SIGINT, 130)
        self.end(self.start("probe", sphere, "--points", self.fifo("points")), signal.SIGINT, 130)
        for name in ("-", "/dev/stdin"):
            with self.subTest(name=name):
                self.end(self.start("probe", sphere, "--points", name, stdin=held), signal.SIGINT, 130)

    def test_a_wait_for_a_pipe_that_has_begun_ends_too(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, writer)
        os.write(writer, b"0,0,0\n")
        self.end(self.start("probe", self.sphere(), "--points", "-", stdin=reader), signal.SIGINT, 130)
        os.close(reader)

    def test_positions_from_streams(self):
        sphere, lines = self.sphere(), b"0,0,0\n2,0,0\n"
        expected = self.succeed("probe", sphere, *SPHERE_AT, "2,0,0").out
        for name in ("-", "/dev/stdin"):
            self.assertEqual(self.succeed("probe", sphere, "--points", name, stdin=lines).out, expected)
        pipe = self.fifo("pipe")
        self.feed(pipe, lines)
        self.assertEqual(self.succeed("probe", sphere, "--points", pipe).out, expected)
        self.assertEqual(self.succeed("probe", sphere, "--points", "-", stdin=b"\xEF\xBB\xBF" + lines).out, expected)
        # More than a pipe holds at a time.
        many = self.succeed("probe", sphere, "--points", "-", stdin=b"0,0,0\n" * 100_000)
        self.assertEqual(many.out.count("\n"), 100_000)

    def test_a_document_from_a_pipe(self):
        text = self.sphere().read_bytes()
        pipe = self.fifo("pipe")
        self.feed(pipe, text)
        self.assertEqual(self.succeed("check", pipe).out, "1:0 Scalar\n")
        script = 'exec "$0" check <(cat "$1")'
        shell = subprocess.run(["bash", "-c", script, PROGRAM, self.folder / "case.zrk.json"], capture_output=True)
        self.assertEqual((shell.returncode, shell.stdout), (0, b"1:0 Scalar\n"), shell.stderr)

    def test_streams_without_end_are_refused(self):
        sphere = self.sphere()
        self.refused(2, "probe", sphere, "--points", "/dev/zero", contains=["line 1"])
        self.refused(2, "check", "/dev/zero", contains=["more than 256 MiB"])
        # Positions for as long as anybody reads them: what is allowed of memory is the limit.
        yes = subprocess.Popen(["yes", "0,0,0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        endless = subprocess.run([PROGRAM, "probe", sphere, "--memory", "100M", "--points", "-"], stdin=yes.stdout,
                                 capture_output=True, timeout=60 * PATIENCE)
        yes.stdout.close()
        yes.wait()
        self.assertEqual((endless.returncode, endless.stdout), (1, b""))
        self.assertIn(b"more positions than the limit", endless.stderr)

    def test_an_import_from_a_pipe_is_refused_at_once(self):
        self.fifo("pipe.obj")
        self.fifo("pipe.png")
        kinds = [graph([{"id": 1, "type": kind, "import": "pipe.obj"}], output=(1, 0))
                 for kind in ("MeshSDF", "BeamSDF")]
        for document in kinds:
            answer = self.succeed("check", self.put(document), seconds=5)
            self.assertIn("found a pipe, expected an ordinary file", answer.err)
        mesh = {"uuid": "m", "kind": "geometry", "shape": "mesh", "path": "pipe.obj"}
        image = {"uuid": "i", "kind": "image2d", "path": "pipe.png"}
        for entry in (mesh, image):
            path = self.put(graph([SPHERE], resources=[entry]))
            self.refused(2, "check", path, contains=["resources[0]", "found a pipe"], seconds=5)
        for name in ("pipe.stl", "pipe.ply"):
            self.refused(2, "surface", "--report", self.fifo(name), contains=["found a pipe"], seconds=5)

    @unittest.skipUnless(os.access("/proc/kmsg", os.R_OK), "the kernel's messages can't be read")
    def test_an_ordinary_file_by_its_looks_that_gives_nothing_is_refused(self):
        document = self.put(graph([{"id": 1, "type": "MeshSDF", "import": "/proc/kmsg"}], output=(1, 0)))
        self.assertIn("/proc/kmsg: found", self.succeed("check", document, seconds=5).err)

    def test_a_target_that_nobody_reads(self):
        # To open it waits for a reader.
        self.end(self.start("sample", self.sphere(), "--quiet", "-o", self.folder / self.fifo("pipe.npy")),
                 signal.SIGINT, 130)


class Signals(FaultsTest):
    def slow(self):
        nodes = [{"id": i, "type": "TwistTransform"} for i in range(1000)] + [{"id": 1000, "type": "Gyroid"}]
        path = self.put(graph(nodes, [(i, 0, i + 1, 0) for i in range(1000)], (1000, 0)))
        return ["sample", str(path), "--resolution", "220", "-o", str(self.folder / "v.npy")]

    def test_requests_to_end_leave_nothing_and_are_seen_by_who_sent_them(self):
        self.put("old", "v.npy")
        work = self.slow()
        before = self.files()
        for number, status in ((signal.SIGTERM, -signal.SIGTERM), (signal.SIGHUP, -signal.SIGHUP)):
            with self.subTest(signal=number):
                process = self.start(*work)
                wait_until_it_hears(process)
                time.sleep(0.3)
                process.send_signal(number)
                self.assertEqual(process.wait(timeout=10 * PATIENCE), status)
                self.assertEqual(self.files(), before)
        self.assertEqual((self.folder / "v.npy").read_text(), "old")

    def test_a_killed_program_leaves_nothing_beside_its_target(self):
        # The surface's file is open during the whole work.
        nodes = [{"id": i, "type": "TwistTransform"} for i in range(1000)] + [{"id": 1000, "type": "Gyroid"}]
        path = self.put(graph(nodes, [(i, 0, i + 1, 0) for i in range(1000)], (1000, 0)))
        before = self.files()
        for number in (signal.SIGKILL, signal.SIGTERM):
            process = self.start("surface", path, "--resolution", 200, "-o", self.folder / "s.stl")
            wait_until_it_hears(process)
            time.sleep(0.5)
            process.send_signal(number)
            self.assertEqual(process.wait(timeout=10 * PATIENCE), -number)
            self.assertEqual(self.files(), before)

    def test_a_hangup_that_is_ignored_stays_ignored(self):
        process = self.start(*self.slow(), preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        time.sleep(0.3 * PATIENCE)
        process.send_signal(signal.SIGHUP)
        time.sleep(0.3 * PATIENCE)
        self.assertIsNone(process.poll())

    def test_a_file_size_limit_is_failed_work(self):
        target = self.put("old", "v.npy")
        script = 'ulimit -f 100; exec "$@"'
        finished = subprocess.run(["bash", "-c", script, "-", PROGRAM, "sample", self.sphere(), "-o", target,
                                   "--resolution", "40"], capture_output=True, timeout=30 * PATIENCE)
        self.assertEqual(finished.returncode, 1, finished.stderr)
        self.assertIn(b"File too large", finished.stderr)
        self.assertEqual(target.read_text(), "old")
        self.assertEqual(self.files(), ["case.zrk.json", "v.npy"])

    def test_a_pipe_that_nobody_reads_is_failed_work(self):
        reader, writer = os.pipe()
        os.close(reader)
        (self.folder / "out.npy").symlink_to("/dev/stdout")
        for arguments in (["types"], ["--help"], ["sample", self.sphere(), "-o", self.folder / "out.npy"]):
            with self.subTest(arguments=arguments):
                finished = subprocess.run([PROGRAM, *map(str, arguments)], stdout=writer, stderr=subprocess.PIPE,
                                          timeout=30 * PATIENCE)
                self.assertEqual(finished.returncode, 1)
                self.assertIn(b"Broken pipe", finished.stderr)
        os.close(writer)


class Bounds(FaultsTest):
    def test_boxes_without_room_are_refused(self):
        sphere = self.sphere()
        outputs = {"sample": "v.npy", "surface": "s.stl", "render": "p.png"}
        cases = [("", "six finite numbers"), ("1,1", "six finite numbers"), ("0,0,0,1,1,nan", "six finite numbers"),
                 ("0,0,0,1,1,0", "no extent along z"),
                 ("-1e308,0,0,1e308,1,1", "beyond all numbers"), ("0,0,0,1,1e-310,1", "too small for numbers")]
        for command, name in outputs.items():
            for bounds, part in cases:
                with self.subTest(command=command, bounds=bounds):
                    option = [f"--bounds={bounds}"] if bounds else ["--bounds", ""]
                    self.refused(2, command, sphere, *option, "-o", self.folder / name,
                                 contains=["--bounds", part])
        self.assertEqual(self.files(), ["case.zrk.json"])

    def test_the_document_has_to_have_room_where_it_is_sampled(self):
        for corners, part in (([[0, 0, 0], [1, 1, 0]], "no extent along z"),
                              ([[-1e308, 0, 0], [1e308, 1, 1]], "beyond all numbers")):
            path = self.sphere(context={"modelBounds": corners})
            for command, name in {"sample": "v.npy", "slice": "p.png", "surface": "s.stl", "render": "p.png"}.items():
                with self.subTest(command=command, part=part):
                    self.refused(2, command, path, "-o", self.folder / name, contains=["modelBounds", part])
            self.succeed("check", path)
            self.succeed("probe", path, *SPHERE_AT)
        # Any two opposite corners make the document's box.
        self.succeed("sample", self.sphere(context={"modelBounds": [[1, 1, 1], [0, 0, 0]]}), "--resolution", 4, "-o",
                     self.folder / "v.npy")

    def test_numbers_that_are_none(self):
        sphere, picture = self.sphere(), self.folder / "p.png"
        for command, option, value, output in (
                ("slice", "--at", "nan", picture), ("slice", "--at", "inf", picture), ("slice", "--range", "", picture),
                ("render", "--iso", "nan", picture), ("sample", "--dims", "", picture.with_suffix(".npy")),
                ("slice", "--pin", "", picture)):
            with self.subTest(option=option):
                self.refused(2, command, sphere, option, value, "-o", output, contains=[option])
        self.assertEqual(self.files(), ["case.zrk.json"])


class Untrusted(FaultsTest):
    ESCAPE = "\x1b]0;owned\x07\x9b31m"

    def test_nothing_reaches_the_terminal(self):
        bad = self.ESCAPE.encode("latin-1")
        self.put(b"v 0 0 0\n" + bad + b"x" * 4_000_000 + b"\n", "bad.obj")
        self.put(bad * 1000 + b"\n", "bad.points")
        sphere = self.put(graph([SPHERE], output=(1, 0)), "sphere.zrk.json")
        runs = [["check", self.put(graph([{"id": 1, "type": "MeshSDF", "import": "bad.obj"}]))],
                ["probe", sphere, "--points", self.folder / "bad.points"],
                ["check", self.put(graph([{"id": 1, "type": self.ESCAPE * 100_000}]), "type.zrk.json")],
                ["check", self.put(graph([{**SPHERE, "values": {self.ESCAPE: 1}}]), "key.zrk.json")],
                ["check", self.put(b"{" + bad, "broken.zrk.json")],
                ["check", self.put(graph([SPHERE], resources=[{"uuid": "a", "kind": "image2d", "path": self.ESCAPE}]),
                                   "path.zrk.json")],
                ["check", self.folder / ("no" + self.ESCAPE)],
                [self.ESCAPE], ["check", sphere, "--" + self.ESCAPE], ["types", self.ESCAPE]]
        for arguments in runs:
            with self.subTest(arguments=[str(a)[-20:] for a in arguments]):
                finished = subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, timeout=30)
                self.assertIn(finished.returncode, (0, 2))
                self.assertRegex(finished.stderr, rb"\S")
                self.assertNotRegex(finished.stderr, rb"[\x00-\x09\x0b-\x1f\x7f]|\xc2[\x80-\x9f]|[^\xc2]\x9b")
                self.assertLess(len(finished.stderr), 20_000)

    def test_confined_documents_read_only_below_their_folder(self):
        inside, outside = self.folder / "inside", self.folder / "outside"
        (inside / "parts").mkdir(parents=True)
        outside.mkdir()
        mesh = b"v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 1 4 3\nf 2 3 4\n"
        self.put(mesh, "inside/parts/own.obj")
        self.put(mesh, "outside/other.obj")
        (inside / "link.obj").symlink_to("../outside/other.obj")
        (inside / "near.obj").symlink_to("parts/own.obj")
        (inside / "folder").symlink_to("../outside")
        (inside / "slices").mkdir()
        (inside / "slices" / "1.png").symlink_to("../../outside/picture.png")
        self.put(b"", "outside/picture.png")
        meshes = {"parts/own.obj": True, "near.obj": True, "parts/../parts/own.obj": True,
                  str(inside / "parts/own.obj"): True, "../outside/other.obj": False, "link.obj": False,
                  "folder/other.obj": False, str(outside / "other.obj"): False, "parts/../../outside/other.obj": False}
        for path, isWithin in meshes.items():
            imported = graph([{"id": 1, "type": "MeshSDF", "import": path}], output=(1, 0))
            resource_ = graph([SPHERE], resources=[{"uuid": "m", "kind": "geometry", "shape": "mesh", "path": path}])
            for kind, content in (("import", imported), ("resource", resource_)):
                with self.subTest(path=path, kind=kind):
                    document = self.put(content, "inside/case.zrk.json")
                    self.succeed("check", document)
                    if isWithin:
                        self.succeed("check", document, "--confine")
                    else:
                        self.refused(2, "check", document, "--confine",
                                     contains=["leads out of the document's folder", "--confine"])
        for entry in ({"kind": "image3d", "path": "slices"}, {"kind": "image2d", "path": "slices/1.png"},
                      {"kind": "image3d", "path": "../outside"}):
            document = self.put(graph([SPHERE], resources=[{"uuid": "i", **entry}]), "inside/case.zrk.json")
            self.refused(2, "check", document, "--confine", contains=["leads out of the document's folder"])
        # Every command that loads a document takes the option; a document by its bare name has a folder too.
        document = self.put(imported, "inside/case.zrk.json")
        for command in (["check"], ["probe", *SPHERE_AT], ["sample", "-o", "v.npy"], ["slice", "-o", "p.png"],
                        ["surface", "-o", "s.stl"], ["render", "-o", "p.png"]):
            finished = subprocess.run([PROGRAM, *command, "--confine", "case.zrk.json"], cwd=inside,
                                      capture_output=True)
            self.assertEqual(finished.returncode, 2, finished.stderr)
            self.assertIn(b"leads out", finished.stderr)
        self.put(graph([{"id": 1, "type": "MeshSDF", "import": "near.obj"}]), "inside/case.zrk.json")
        finished = subprocess.run([PROGRAM, "check", "--confine", "case.zrk.json"], cwd=inside, capture_output=True)
        self.assertEqual(finished.returncode, 0, finished.stderr)


@unittest.skipIf(SANITIZED, "sanitizers take memory of their own")
class Memory(FaultsTest):
    MEASURE = ("import resource, subprocess, sys; ended = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL); "
               "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss); sys.exit(ended.returncode)")

    def peak(self, *arguments, status=0):
        """Bytes that a run had at most, and what it told."""
        # Started by a small program: until it runs, a program counts what its parent has.
        finished = subprocess.run([sys.executable, "-c", self.MEASURE, PROGRAM, *map(str, arguments)],
                                  capture_output=True, timeout=60 * PATIENCE)
        self.assertIn(finished.returncode, status if isinstance(status, tuple) else (status,), finished.stderr)
        return int(finished.stdout) * 1024, finished.stderr.decode()

    def test_sizes_are_checked_before_memory_is_taken(self):
        (self.folder / "a.png").write_bytes((ROOT / "examples/pictures/gear.png").read_bytes())
        box = {"modelBounds": [[0, 0, 0], [1, 1, 1]]}
        frozen = graph([SPHERE, {"id": 2, "type": "RasterFX", "values": {"resolution": 1200}}], [(1, 0, 2, 0)], (2, 0),
                       context=box)
        cases = [(sweep(20000), 2, ["node 1 (ImageSweep)", '"resolution"', "20000 x 20000 x 4 cells", "GiB"]),
                 (frozen, 1, ["node 2 (RasterFX)", '"resolution"', "1200 x 1200 x 1200 cells", "12.9 GiB"])]
        for document, status, parts in cases:
            with self.subTest(parts=parts[0]):
                path = self.put(document)
                used, message = self.peak("probe", path, "--memory", "1G", *SPHERE_AT, status=status)
                self.assertLess(used, 200 << 20)
                for part in [*parts, "1.0 GiB", "remedy: lower", "--memory"]:
                    self.assertIn(part, message)

    def test_work_of_hours_says_so_before_it_begins(self):
        (self.folder / "a.png").write_bytes((ROOT / "examples/pictures/gear.png").read_bytes())
        process = self.start("check", self.put(sweep(512, 64)), "--memory", "4G")
        self.assertEqual(process.stderr.readline(),
                         b"ImageSweep: 512 x 512 x 64 cells take some 11 minutes of one processor\n")

    def test_a_run_keeps_to_its_budget(self):
        volume = self.folder / "v.npy"
        # 512 MB and 128 MB of samples.
        for memory, resolution in ((100, 400), (300, 400), (300, 256)):
            used, _ = self.peak("sample", self.sphere(), "--memory", f"{memory}M", "--resolution", resolution, "-o", volume)
            self.assertLess(used, memory << 20)
        # What must be in memory as a whole is refused.
        used, message = self.peak("slice", self.sphere(), "--memory", "60M", "--size", 3000, "-o", self.folder / "s.png", status=1)
        self.assertRegex(message, r"needs 68\.7 MiB, expected at most the [\d.]+ MiB of memory")
        self.assertIn("a smaller --size, or allow more with --memory", message)
        self.assertLess(used, 60 << 20)

    def test_volumes_are_converted_piece_by_piece(self):
        large = self.folder / "large.npy"
        self.succeed("sample", self.sphere(), "-o", large, "--resolution", "256")  # 128 MiB
        for source, target in (("large.npy", "a.nrrd"), ("a.nrrd", "b.vti"), ("b.vti", "c.npy")):
            used, _ = self.peak("convert", self.folder / source, self.folder / target, "--quiet")
            self.assertLess(used, 64 << 20, target)
        self.assertEqual((self.folder / "c.npy").read_bytes(), large.read_bytes())
        if "VDB" in run("--version").out:
            used, _ = self.peak("convert", large, self.folder / "d.vdb", "--type", "float32", "--quiet")
            self.assertLess(used, 128 << 20)  # 64 MiB of floats

    def test_meshes_and_slices_beyond_the_budget_are_refused(self):
        mesh = self.folder / "a.stl"
        mesh.write_bytes(bytes(80) + struct.pack("<I", 1_000_000) + bytes(50_000_000))
        slices = self.folder / "slices"
        slices.mkdir()
        self.succeed("slice", self.sphere(), "-o", slices / "00.png", "--size", "600")
        for i in range(1, 40):
            os.link(slices / "00.png", slices / f"{i:02}.png")
        for arguments in (["surface", "--report", mesh], ["convert", slices, "-o", self.folder / "v.npy"]):
            with self.subTest(arguments[0]):
                used, message = self.peak(*arguments, "--memory", "20M", status=1)
                self.assertRegex(message, "what is left of the budget of 20.0 MiB|needs more memory than there is")
                self.assertLess(used, 60 << 20)

    def test_lack_of_address_space_is_told_as_lack_of_memory(self):
        blend = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"
        cases = [(250_000, ["render", self.sphere(), "-o", self.folder / "p.png", "--size", "4000x4000"], "zrk: render: "),
                 (100_000, ["surface", blend, "-o", self.folder / "a.stl", "--resolution", "300"], "a.stl: ")]  # mapped files
        for most, arguments, place in cases:
            with self.subTest(arguments[0]):
                limits = lambda: resource.setrlimit(resource.RLIMIT_AS, (most << 10, most << 10))
                failed = subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, text=True, preexec_fn=limits)
                self.assertEqual(failed.returncode, 1, failed.stderr)
                self.assertIn(place + "found work that needs more memory than there is", failed.stderr)

    def test_a_document_beyond_its_budget_is_refused(self):
        path = self.put(graph([{**SPHERE, "note": list(range(4_000_000))}]))
        # 2 as for any document that can't be read; 1 where memory fails while what was read is given up.
        used, message = self.peak("check", path, "--memory", "50M", status=(1, 2))
        self.assertIn("more memory than there is", message)
        self.assertLess(used, 150 << 20)

    def test_a_polyline_of_many_points(self):
        # Each segment crosses the whole box, so that its own box would hold nearly all others.
        place = random.Random(1)
        points = [[place.random() for _ in range(3)] for _ in range(400_000)]
        path = self.put(graph([SPHERE], output=(1, 0), resources=[
            {"uuid": "p", "kind": "geometry", "shape": "polyline", "points": points, "closed": False}]))
        used, _ = self.peak("check", path)
        self.assertLess(used, 600 << 20)


def png_header(width, height):
    header = struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)
    chunk = b"IHDR" + header
    return b"\x89PNG\r\n\x1a\n" + struct.pack(">I", 13) + chunk + struct.pack(">I", zlib.crc32(chunk)) + b"\0" * 64


def npy_header(shape):
    text = repr({"descr": "|u1", "fortran_order": False, "shape": shape}).encode().ljust(117) + b"\n"
    return b"\x93NUMPY\x01\0" + struct.pack("<H", len(text)) + text


def saw(corners):
    """An OBJ file of one face that isn't convex."""
    points = [(i, i % 2 if 0 < i < corners - 1 else -1) for i in range(corners)]
    return ("".join(f"v {x} {y} 0\n" for x, y in points)
            + "f " + " ".join(str(i + 1) for i in range(corners)) + "\n").encode()


def tower(height):
    """A 3MF model in which each object is the one before ten times."""
    objects = "".join(f'<object id="{i}"><components>' + f'<component objectid="{i - 1}"/>' * 10
                      + "</components></object>" for i in range(1, height))
    return (f'<model xmlns="{mesh_files.CORE[1:-1]}"><resources><object id="0"/>{objects}</resources><build>'
            f'<item objectid="{height - 1}"/></build></model>')


class Limits(FaultsTest):
    def nested_groups(self):
        # Each has the one before four times: 4^11 members, beyond a million.
        groups = [{"uuid": "g0", "kind": "geometry", "shape": "point", "position": [0, 0, 0]}]
        for k in range(1, 12):
            groups.append({"uuid": f"g{k}", "kind": "geometry", "shape": "group", "members": [f"g{k - 1}"] * 4})
        return graph([SPHERE], resources=groups)

    def image(self, kind, path):
        return graph([SPHERE], resources=[{"uuid": "i", "kind": kind, "path": path}])

    def test_each_is_listed_and_has_a_message(self):
        sphere, target = self.put(graph([SPHERE], output=(1, 0)), "sphere.zrk.json"), self.folder / "r.png"
        self.put(b"x" * ((64 << 20) + 2), "long.txt")
        sparse = {"large.png": 1 << 32, "large.npy": 1 << 36, "large.stl": 1 << 37, "large.obj": 1 << 37}
        for name, size in sparse.items():
            with open(self.folder / name, "wb") as file:
                file.truncate(size)
        for name, content in {"wide.png": png_header(1 << 18, 1), "many.png": png_header(1 << 16, 1 << 16),
                              "many.npy": npy_header((1 << 16, 1 << 10, 1 << 10))}.items():
            self.put(content, name)
        packages = {"ratio.3mf": mesh_files.package(" " * 2 ** 24), "objects.3mf": mesh_files.package(tower(9)),
                    "files.3mf": mesh_files.package("", {str(i): "" for i in range(10_000)}),
                    "depth.3mf": mesh_files.package("<a>" * 65 + "</a>" * 65)}
        for name, content in packages.items():
            self.put(content, name)
        self.put(saw(10_001), "saw.obj")
        report = lambda name: ["surface", "--report", self.folder / name]
        cases = {
            "document-bytes": (2, ["check", "/dev/zero"], "256 MiB"),
            "document-nesting": (2, b'{"zrkGraph": 1, "a": ' + b"[" * 201 + b"]" * 201 + b"}", "at most 200"),
            "node-id": (2, graph([{"id": 65535, "type": "SphereSDF"}]), "from 0 to 65534"),
            "group-members": (2, self.nested_groups(), "at most 1000000"),
            "samples": (1, ["probe", self.put(graph([SPHERE, {"id": 2, "type": "RasterFX", "values": {"resolution": 2**31 - 1}}],
                                                    [(1, 0, 2, 0)], (2, 0), context={"modelBounds": [[0, 0, 0], [1, 1, 1]]}),
                                              "raster.zrk.json"), *SPHERE_AT], "2147483647"),
            "line-bytes": (2, ["probe", sphere, "--points", self.folder / "long.txt"], "line 1"),
            "png-side": (2, self.image("image2d", "wide.png"), "at most 131072 along a side"),
            "png-pixels": (2, self.image("image2d", "many.png"), "at most 268435456"),
            "png-bytes": (2, self.image("image2d", "large.png"), "at most 2147483648"),
            "voxels": (2, self.image("image3d", "many.npy"), "at most 2147483648"),
            "npy-bytes": (2, self.image("image3d", "large.npy"), "at most 34359738368"),
            "mesh-bytes": (2, ["surface", "--report", self.folder / "large.stl"], "at most 68719476736"),
            "polygon-corners": (2, report("saw.obj"), "at most 10000 corners"),
            "3mf-ratio": (2, report("ratio.3mf"), "256 times"),
            "3mf-files": (2, report("files.3mf"), "at most 10000"),
            "3mf-objects": (2, report("objects.3mf"), "at most 1000000"),
            "xml-depth": (2, report("depth.3mf"), "at most 64"),
            "picture-side": (2, ["render", sphere, "--size", "16385x16", "-o", target], "16384"),
            "picture-pixels": (2, ["render", sphere, "--size", "16384x16384", "-o", target], "33554432"),
        }
        # Of these only files of gigabytes have more, or days of work.
        untried = {"points", "png-chunk-bytes", "mesh-numbers", "surface-vertices", "3mf-bytes"}
        listed = json.loads(self.succeed("limits", "--json").out)
        self.assertEqual({limit["name"] for limit in listed}, set(cases) | untried)
        self.assertEqual([line.split()[:2] for line in self.succeed("limits").out.splitlines()],
                         [[limit["name"], str(limit["most"])] for limit in listed])
        cases["mesh-bytes of OBJ"] = (2, report("large.obj"), "at most 68719476736")
        for name, (status, given, part) in cases.items():
            with self.subTest(limit=name):
                arguments = given if isinstance(given, list) else ["check", self.put(given)]
                self.refused(status, *arguments, contains=[part], seconds=60)


@unittest.skipIf(SANITIZED, "sanitizers have no room for stacks of a terabyte")
class Threads(FaultsTest):
    def test_threads_that_cannot_be_started(self):
        # Stacks of 1 TiB: the address space has no room for many.
        sphere = self.sphere()
        for arguments in (["sample", sphere, "--resolution", 40, "-o", self.folder / "{}.npy"],
                          ["surface", sphere, "--resolution", 40, "-o", self.folder / "{}.stl"],
                          ["render", sphere, "--size", "64x64", "-o", self.folder / "{}.png"]):
            with self.subTest(command=arguments[0]):
                written = []
                for name, limit in (("many", None), ("none", lambda: resource.setrlimit(
                        resource.RLIMIT_STACK, (1 << 46, resource.getrlimit(resource.RLIMIT_STACK)[1])))):
                    words = [str(a).format(name) for a in arguments]
                    finished = subprocess.run([PROGRAM, *words], preexec_fn=limit, capture_output=True)
                    self.assertEqual(finished.returncode, 0, finished.stderr)
                    written.append(pathlib.Path(words[-1]).read_bytes())
                self.assertEqual(*written)


if __name__ == "__main__":
    unittest.main()

"""What goes wrong outside the program: disks, signals, terminals, sizes. Nothing half-written stays."""

import os
import pathlib
import pty
import select
import signal
import subprocess
import time
import unittest

from zrk_program import PATIENCE, PROGRAM, ROOT, SPHERE, TWIST, ZrkTest, graph, records, run, wait_until_it_hears

BLEND = ROOT / "examples/sphere_and_twisted_gyroid.zrk.json"


class Targets(ZrkTest):
    def test_a_target_that_cannot_be_written_is_failed_work(self):
        self.put("old", "file")
        (self.folder / "folder.npy").mkdir()
        (self.folder / "loop.npy").symlink_to("loop.npy")
        cases = [("missing/v.npy", "create the folder"), ("file/v.npy", "Not a directory"), ("folder.npy", "folder"),
                 ("loop.npy", "circle"), ("n" * 300 + ".npy", "shorter name")]
        before = self.files()
        for name, part in cases:
            with self.subTest(name=name[:20]):
                self.refused(1, "sample", BLEND, "-o", self.folder / name, "--resolution", 4, contains=[name, part])
        self.refused(1, "slice", BLEND, "-o", self.folder / "missing/p.png", contains=["missing/p.png"])
        self.assertEqual(self.files(), before)
        self.assertEqual((self.folder / "file").read_text(), "old")

    def test_a_full_disk(self):
        # Opened by name, the device takes nothing: each write fails with "no space left".
        link = self.folder / "full.npy"
        link.symlink_to("/dev/full")
        message = self.refused(1, "sample", BLEND, "-o", link, "--resolution", 4, contains=["full.npy", "No space"])
        self.assertIn("free some space", message)
        self.assertEqual(self.files(), ["full.npy"])
        with open("/dev/full", "wb") as full:
            finished = subprocess.run([PROGRAM, "types"], stdout=full, stderr=subprocess.PIPE, timeout=30)
        self.assertEqual(finished.returncode, 1)
        self.assertIn(b"standard output", finished.stderr)

    def test_a_file_size_limit_leaves_the_old_file(self):
        target = self.put("old", "v.npy")
        script = 'ulimit -f 100; trap "" XFSZ; exec "$@"'
        finished = subprocess.run(["bash", "-c", script, "-", PROGRAM, "sample", BLEND, "-o", target,
                                   "--resolution", "40"], capture_output=True, timeout=30 * PATIENCE)
        self.assertEqual(finished.returncode, 1, finished.stderr)
        self.assertIn(b"File too large", finished.stderr)
        self.assertEqual(target.read_text(), "old")
        self.assertEqual(self.files(), ["v.npy"])

    def test_grids_beyond_the_disk_are_refused_before_they_are_made(self):
        for options in (["--dims", "30000,30000,30000"], ["--resolution", 1_000_000], ["--pin", "1:0", "--dims", "2147483647,2000,2"]):
            begun = time.monotonic()
            self.refused(1, "sample", BLEND, "-o", self.folder / "v.npy", *options, contains=["v.npy", "GiB", "on its disk", "lower resolution"])
            self.assertLess(time.monotonic() - begun, 1 * PATIENCE)
        self.assertEqual(self.files(), [])

    def test_a_frozen_grid_beyond_all_is_refused_too(self):
        nodes = [SPHERE, {"id": 2, "type": "RasterFX", "values": {"resolution": 2**31 - 1}}]
        path = self.put(graph(nodes, [(1, 0, 2, 0)], (2, 0), context={"modelBounds": [[0, 0, 0], [1, 1, 1]]}))
        self.refused(1, "probe", path, "--at", "0,0,0", contains=["found 2147483647 x ", "at most 2147483647"])


class StandardStreams(ZrkTest):
    def run_in_shell(self, redirection, *arguments):
        """The status, with redirections as a shell writes them."""
        finished = subprocess.run(["sh", "-c", f'exec "$@" {redirection}', "-", PROGRAM, *map(str, arguments)],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=30 * PATIENCE)
        return finished.returncode

    def test_messages_that_nobody_can_read_change_no_status_and_no_file(self):
        unknown = self.put(graph([{**SPHERE, "values": {"raduis": 1}}], output=(1, 0)))
        sample = ["sample", unknown, "--resolution", 4, "-o"]
        self.succeed(*sample, self.folder / "told.npy")
        told = (self.folder / "told.npy").read_bytes()
        for redirection in ("2>&-", "2>/dev/full", "2>&- <&-"):
            with self.subTest(redirection=redirection):
                self.assertEqual(self.run_in_shell(redirection, "check", "nope"), 2)
                self.assertEqual(self.run_in_shell(redirection, "nope"), 2)
                self.assertEqual(self.run_in_shell(redirection, "check", unknown), 0)
                self.assertEqual(self.run_in_shell(redirection, *sample, self.folder / "v.npy"), 0)
                self.assertEqual((self.folder / "v.npy").read_bytes(), told)
                self.assertEqual(self.run_in_shell(redirection, "slice", unknown, "-o", self.folder / "p.png"), 0)
                self.assertEqual((self.folder / "p.png").read_bytes()[-8:-4], b"IEND")

    def test_results_that_cannot_be_written_are_failed_work(self):
        for redirection in (">/dev/full", ">&-", ">&- 2>&-"):
            for arguments in (["--help"], ["--version"], ["types"], ["types", "--help"], ["types", "SphereSDF"],
                              ["probe", BLEND, "--at", "0,0,0"]):
                with self.subTest(redirection=redirection, arguments=arguments):
                    self.assertEqual(self.run_in_shell(redirection, *arguments), 1)


def free_memory():
    lines = pathlib.Path("/proc/meminfo").read_text().splitlines()
    return next(int(line.split()[1]) * 1024 for line in lines if line.startswith("MemAvailable:"))


class Surroundings(ZrkTest):
    def test_libraries_in_the_current_folder_are_none_of_its_own(self):
        for name in ("libz.so.1", "libstdc++.so.6", "libc.so.6", "libfmt.so.9"):
            self.put("no library", name)
        answer = subprocess.run([PROGRAM, "--version"], cwd=self.folder, capture_output=True)
        self.assertEqual(answer.returncode, 0, answer.stderr)


class LongWork(ZrkTest):
    def slow_field(self):
        """Half a minute of work in little memory: 10 million samples of 1000 twists."""
        nodes = [{"id": i, "type": "TwistTransform"} for i in range(1000)] + [{"id": 1000, "type": "Gyroid"}]
        path = self.put(graph(nodes, [(i, 0, i + 1, 0) for i in range(1000)], (1000, 0)))
        return ["sample", str(path), "--resolution", "220", "-o", str(self.folder / "v.npy")]

    def large_grid(self):
        """Seconds of work, and 5 GiB that must not be touched before the work begins."""
        return ["sample", str(BLEND), "--pin", "2:0", "--resolution", "900", "-o", str(self.folder / "v.npy")]


class Interrupts(LongWork):
    def interrupt(self, arguments, after):
        process = subprocess.Popen([PROGRAM, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        wait_until_it_hears(process)
        time.sleep(after)
        self.assertIsNone(process.poll(), "ended before it was interrupted")
        begun = time.monotonic()
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=30)
        self.assertLess(time.monotonic() - begun, 1 * PATIENCE)
        self.assertEqual((process.returncode, out), (130, b""), err)

    def test_leave_the_old_file_and_no_other(self):
        target = self.put("old", "v.npy")
        work = self.slow_field()
        before = self.files()
        for after in (0.2, 1.0):
            with self.subTest(after=after):
                self.interrupt(work, after)
        if free_memory() > 8 << 30:
            self.interrupt(self.large_grid(), 0.2)
        self.assertEqual(target.read_text(), "old")
        self.assertEqual(self.files(), before)


class Progress(LongWork):
    def on_a_terminal(self, *arguments, seconds=1.5):
        """What the program writes to a terminal before it is interrupted."""
        master, slave = pty.openpty()
        process = subprocess.Popen([PROGRAM, *arguments], stdout=subprocess.DEVNULL, stderr=slave)
        os.close(slave)
        shown = b""
        end = time.monotonic() + seconds * PATIENCE
        while time.monotonic() < end and b"%" not in shown:
            if select.select([master], [], [], 0.1)[0]:
                shown += os.read(master, 4096)
        process.send_signal(signal.SIGINT)
        process.wait(timeout=30)
        os.close(master)
        return shown

    def test_shows_on_a_terminal_only_and_not_when_quiet(self):
        work = self.slow_field()
        self.assertRegex(self.on_a_terminal(*work, seconds=5), rb"sampling \[[#.]+\] +\d+ %")
        self.assertEqual(self.on_a_terminal(*work, "--quiet"), b"")
        piped = subprocess.Popen([PROGRAM, *work], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        time.sleep(1)
        piped.send_signal(signal.SIGINT)
        self.assertEqual(piped.communicate(timeout=30)[1], b"")


class LargeGraphs(ZrkTest):
    def answer_within(self, seconds, document, *arguments):
        begun = time.monotonic()
        answer = self.succeed(*arguments[:1], self.put(document), *arguments[1:])
        self.assertLess(time.monotonic() - begun, seconds * PATIENCE)
        return answer

    def test_a_long_chain(self):
        # Each turns by the next one's opposite angle, so that the positions come back.
        count = 5000
        nodes = [{"id": i, "type": "TwistTransform", "values": {"angle": 10.0 if i % 2 else -10.0}}
                 for i in range(count)] + [{"id": count, "type": "SphereSDF"}]
        links = [(i, 0, i + 1, 0) for i in range(count)]
        answer = self.answer_within(5, graph(nodes, links, (count, 0)), "probe", "--at", "3,4,0", "3,0,4")
        self.assertEqual([round(distance, 9) for distance, _ in records(answer)], [4, 4])
        # The links in the opposite order: found from the other end.
        self.answer_within(5, graph(nodes, links[::-1], (count, 0)), "check")

    def test_a_ladder_of_diamonds(self):
        # Every rung reads the one before twice: 2^40 paths, 41 nodes.
        rungs = [{"id": i, "type": "BinaryOperator", "values": {"op_name": "add"}} for i in range(2, 42)]
        links = [(i - 1, 0, i, side) for i in range(2, 42) for side in (0, 1)]
        answer = self.answer_within(2, graph([SPHERE, *rungs], links, (41, 0)), "probe", "--at", "2,0,0")
        self.assertEqual(answer.out, f"{2 ** 40},1\n")

    def test_fields_applied_to_themselves_again_and_again_are_refused(self):
        # Each level doubles the nodes, as the field behind it is asked at other positions.
        levels = [{"id": i, "type": "ApplyTransform"} for i in range(2, 42)]
        links = [(i - 1, 0, i, side) for i in range(2, 42) for side in (0, 1)]
        answer = run("probe", self.put(graph([TWIST, *levels], links, (41, 0))), "--at", "1,2,3")
        self.assertEqual(answer.status, 1)
        self.assertIn("remedy: fields that are applied to each other", answer.err)

    def test_a_long_cycle_is_refused(self):
        nodes = [{"id": i, "type": "TwistTransform"} for i in range(3000)]
        links = [(i, 0, (i + 1) % 3000, 0) for i in range(3000)]
        begun = time.monotonic()
        self.refused(2, "check", self.put(graph(nodes, links)), contains=["links[2999]", "cycle"])
        self.assertLess(time.monotonic() - begun, 5 * PATIENCE)

    def test_every_id_and_long_texts(self):
        nodes = [{"id": i, "type": "SphereSDF"} for i in range(0, 65535, 5)]
        nodes += [{"id": 65534, "type": "SphereSDF", "note": "x" * 1_000_000}]
        answer = self.answer_within(10, graph(nodes[:-2] + nodes[-1:]), "check")
        self.assertEqual(answer.out.splitlines()[-1], "65534:0 Scalar")
        self.refused(2, "check", self.put(graph([{"id": 1, "type": "x" * 1_000_000}])), contains=["did you mean"])


if __name__ == "__main__":
    unittest.main()

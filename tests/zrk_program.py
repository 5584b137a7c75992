"""What the outside tests share: running `zrk`, writing documents, reading volumes.

ZRK_PROGRAM names the program; ctest sets it. By hand:
    ZRK_PROGRAM=build/develop/bin/zrk python3 tests/commands_test.py
"""

import ast
import json
import os
import pathlib
import re
import signal
import struct
import subprocess
import tempfile
import time
import unittest
import zlib

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROGRAM = os.path.abspath(os.environ.get("ZRK_PROGRAM", ROOT / "build/develop/bin/zrk"))
PATIENCE = float(os.environ.get("ZRK_PATIENCE", "1"))
SANITIZED = os.environ.get("ZRK_SANITIZED", "") != ""  # the program reserves address space by the terabyte

SPHERE = {"id": 1, "type": "SphereSDF"}
TWIST = {"id": 1, "type": "TwistTransform"}


def graph(nodes, links=(), output=None, **members):
    """A document; a link is (from node, from output, to node, to input)."""
    document = {"zrkGraph": 1, "nodes": list(nodes),
                "links": [{"from": [a, i], "to": [b, j]} for a, i, b, j in links], **members}
    if output is not None:
        document["output"] = list(output)
    return document


class Answer:
    """What one run gave. A run that ends by a signal has a negative status."""

    def __init__(self, finished):
        self.status = finished.returncode
        self.bytes = finished.stdout
        self.out = finished.stdout.decode()
        self.err = finished.stderr.decode(errors="replace")


def run(*arguments, stdin=b"", seconds=30):
    return Answer(subprocess.run([PROGRAM, *map(str, arguments)], input=stdin, capture_output=True,
                                 timeout=seconds * PATIENCE))


def wait_until_it_hears(process):
    """Before the program has set what signals do, they end it as they end any other."""
    while True:
        status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
        caught = re.search(r"^SigCgt:\s*(\w+)", status, re.M)
        if int(caught[1], 16) >> (signal.SIGTERM - 1) & 1 or re.search(r"^State:\s*Z", status, re.M):
            return
        time.sleep(0.001)


class ZrkTest(unittest.TestCase):
    """A test with an empty folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="zrk-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def put(self, content, name="case.zrk.json"):
        """Writes a document (a dict), a text or bytes; the path of the file."""
        path = self.folder / name
        if isinstance(content, dict):
            content = json.dumps(content)
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def succeed(self, *arguments, **options):
        answer = run(*arguments, **options)
        self.assertEqual(answer.status, 0, f"{arguments}\n{answer.err}")
        return answer

    def refused(self, status, *arguments, contains=(), **options):
        """The single message of a run that must fail with this status and print no result."""
        answer = run(*arguments, **options)
        self.assertEqual(answer.status, status, f"{arguments}\n{answer.err}")
        self.assertEqual(answer.out, "")
        messages = [line for line in answer.err.splitlines() if line.startswith("zrk: ")]
        self.assertEqual(len(messages), 1, answer.err)
        self.assertEqual(answer.err.count("  remedy: "), 1, answer.err)
        for part in contains:
            self.assertIn(part, answer.err)
        return answer.err

    def files(self):
        return sorted(path.name for path in self.folder.iterdir())


def records(answer):
    """The printed records as tuples of floats."""
    return [tuple(float(number) for number in line.split(",")) for line in answer.out.splitlines()]


def doubles(data):
    return struct.unpack(f"<{len(data) // 8}d", data)


def read_npy(path):
    """Shape and values of a .npy file of doubles."""
    data = pathlib.Path(path).read_bytes()
    assert data[:8] == b"\x93NUMPY\x01\x00", data[:8]
    begin = 10 + struct.unpack("<H", data[8:10])[0]
    header = ast.literal_eval(data[10:begin].decode())
    assert header["descr"] == "<f8" and header["fortran_order"] is False, header
    assert begin % 64 == 0
    return header["shape"], doubles(data[begin:])


def pixels(path):
    """Width, height and rows of pixels of a PNG of 8 bits a component."""
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    place, chunks = 8, {}
    while place < len(data):
        size, kind = struct.unpack(">I4s", data[place:place + 8])
        chunks[kind] = chunks.get(kind, b"") + data[place + 8:place + 8 + size]
        place += 12 + size
    width, height, depth, colour = struct.unpack(">IIBB", chunks[b"IHDR"][:10])
    assert depth == 8
    count = {2: 3, 6: 4}[colour]
    raw, rows, above = zlib.decompress(chunks[b"IDAT"]), [], bytes(width * count)
    for y in range(height):
        line = bytearray(raw[y * (width * count + 1) + 1:(y + 1) * (width * count + 1)])
        kind = raw[y * (width * count + 1)]
        for i, value in enumerate(line):
            left = line[i - count] if i >= count else 0
            corner = above[i - count] if i >= count else 0
            paeth = min((left, above[i], corner), key=lambda v: abs(left + above[i] - corner - v))
            line[i] = (value + [0, left, above[i], (left + above[i]) // 2, paeth][kind]) & 255
        above = bytes(line)
        rows.append([tuple(line[x * count:(x + 1) * count]) for x in range(width)])
    return width, height, rows

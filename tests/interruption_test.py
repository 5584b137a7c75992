"""Long work stops within 100 ms of Ctrl-C, with status 130, and leaves nothing behind. Freeing memory counts extra.

OPERATIONS is the table of all that can take long. The tests at the end hold it against what the program itself
lists: a command, a component, a shape or a format that has no row and isn't among those that are always quick
fails them.

A run of the tests interrupts the rows marked quick, and sees that the work itself hears of it, without the thread
that ends what doesn't. ZRK_THOROUGH=N interrupts all rows at N moments spread over their length, as users do (some
ten minutes for N = 5):
    ZRK_THOROUGH=5 ZRK_PROGRAM=build/develop/bin/zrk python3 tests/interruption_test.py
"""

import json
import os
import pathlib
import random
import re
import signal
import struct
import subprocess
import tempfile
import time
import unittest
import zlib
from typing import Callable, NamedTuple

import mesh_files
from zrk_program import PATIENCE, PROGRAM, SPHERE, graph, run, wait_until_it_hears

MOMENTS = int(os.environ.get("ZRK_THOROUGH", "0"))
BOUND = 0.1 * PATIENCE
"""Seconds from the signal to the end: of the clock, or of processor time where others use the machine too."""
FREEING = 0.25 * PATIENCE
"""Seconds more for each GiB that the program holds then: the system takes them back when the program ends."""
BOUND_OF_THE_CLOCK = 2 * PATIENCE
LONGEST = 12
"""Seconds up to which the thorough test waits for a run to end by itself, to know its length."""


# What the operations work on. Each function writes a file and returns its path.


def put(folder, name, content):
    path = folder / name
    if isinstance(content, dict):
        content = json.dumps(content, separators=(",", ":"))
    path.write_bytes(content if isinstance(content, bytes) else content.encode())
    return path


def document(folder, nodes, links=(), output=(1, 0), **members):
    return put(folder, "case.zrk.json", graph(nodes, links, output, **members))


def node(number, kind, **values):
    return {"id": number, "type": kind, "values": values}


def over_geometry(folder, kind, name, resources, extent=1.0):
    """A document with one node that reads the last resource."""
    return document(folder, [node(1, kind, **{name: resources[-1]["uuid"]})], resources=resources,
                    context={"modelBounds": [[-extent] * 3, [extent] * 3]})


def geometry(number, shape, **members):
    return {"uuid": f"{number:x}", "kind": "geometry", "shape": shape, **members}


def points(count, reach=1.0):
    """Random ones, so that neighbours on a curve are far apart."""
    draw = random.Random(1).uniform
    return [[round(draw(-reach, reach), 4) for _ in range(3)] for _ in range(count)]


def gradient_chain(count):
    """Nodes and links. Each gradient asks the one below at four positions: 4^count samples of the sphere for one
    of the last node, 2 * count + 1."""
    nodes, links = [SPHERE], []
    for i in range(count):
        nodes += [{"id": 2 * i + 2, "type": "GradDerivative"}, {"id": 2 * i + 3, "type": "NormVec3"}]
        links += [(2 * i + 1, 0, 2 * i + 2, 0), (2 * i + 2, 0, 2 * i + 3, 0)]
    return nodes, links


def gradients(folder, count):
    return document(folder, *gradient_chain(count), (2 * count + 1, 0))


def solid_of_gradients(folder, count):
    """The sphere inside of it, the gradients outside."""
    nodes, links = gradient_chain(count)
    last = 2 * count + 1
    return document(folder, nodes + [node(last + 1, "BinaryOperator", op_name="minimum")],
                    links + [(1, 0, last + 1, 0), (last, 0, last + 1, 1)], (last + 1, 0))


def gyroid(folder):
    nodes = [{"id": 1, "type": "Gyroid"}, node(2, "SphereSDF", radius=0.9, center=[0, 0, 0]),
             node(3, "BinaryOperator", op_name="maximum")]
    return document(folder, nodes, [(1, 0, 3, 0), (2, 0, 3, 1)], (3, 0),
                    context={"modelBounds": [[-1, -1, -1], [1, 1, 1]]})


def frozen(folder, resolution, extent):
    nodes = [SPHERE, node(2, "RasterFX", resolution=resolution)]
    return document(folder, nodes, [(1, 0, 2, 0)], (2, 0),
                    context={"modelBounds": [[-extent] * 3, [extent] * 3]})


def png(folder, name, width, height):
    """A grey picture of 8 bit with a frame, whose ground isn't black."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    plain = b"\0" + b"\x20" * width
    lined = b"\0" + bytes(255 if width // 4 < i < width // 3 else 32 for i in range(width))
    pack = zlib.compressobj(1)
    data = b"".join(pack.compress(lined if height // 4 < y < height // 2 else plain) for y in range(height))
    header = struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)
    return put(folder, name, b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
               chunk(b"IDAT", data + pack.flush()) + chunk(b"IEND", b""))


def picture(folder, kind, size):
    png(folder, "picture.png", size, size)
    return document(folder, [node(1, kind, **{"imageXY" if kind == "ZRK2DImageExtrude" else "image": "a1"})],
                    resources=[{"uuid": "a1", "kind": "image2d", "path": "picture.png"}])


def sweep(folder, resolution, steps):
    png(folder, "a.png", 64, 64)
    png(folder, "b.png", 48, 96)
    return document(folder, [node(1, "ImageSweep", resolution=resolution, steps=steps, imageA="a1", imageB="b2",
                                  scaling=[[0, 1, 0], [1, 1, 0]], interpolation=[[0, 0, 0], [1, 1, 0]])],
                    resources=[{"uuid": "a1", "kind": "image2d", "path": "a.png"},
                               {"uuid": "b2", "kind": "image2d", "path": "b.png"}])


def volume(folder, path):
    return document(folder, [node(1, "ZRK3DImage", image="a1")],
                    resources=[{"uuid": "a1", "kind": "image3d", "path": path}])


def stack(folder, count, size):
    slices = folder / "slices"
    slices.mkdir()
    first = png(slices, "0.png", size, size)
    for i in range(1, count):
        os.link(first, slices / f"{i}.png")
    return volume(folder, "slices")


def array(folder, edge, kind, width, fortran=False):
    header = f"{{'descr': '{kind}', 'fortran_order': {fortran}, 'shape': ({edge}, {edge}, {edge}), }}"
    header += " " * (117 - len(header)) + "\n"
    path = put(folder, "volume.npy", b"\x93NUMPY\1\0" + struct.pack("<H", len(header)) + header.encode())
    with path.open("r+b") as file:
        file.truncate(10 + len(header) + edge ** 3 * width)  # zeros that take no room
    return volume(folder, "volume.npy")


def sampled(folder, name, resolution):
    """A volume in a file."""
    subprocess.run([PROGRAM, "sample", gyroid(folder), "--resolution", str(resolution), "-o", folder / name, "--quiet"], check=True)
    return folder / name


def tiles(folder):
    """A gigabyte of them."""
    subprocess.run([PROGRAM, "sample", gyroid(folder), "--resolution", "512", "--shard", "1/1", "-o", folder / "part.pvti", "--quiet"],
                   check=True)
    return folder


def obj(folder, side):
    """A wavy torus of 2 * side^2 triangles."""
    from math import cos, pi, sin
    lines = []
    for i in range(side):
        a = 2 * pi * i / side
        for j in range(side):
            b = 2 * pi * j / side
            r = 2 + (0.7 + 0.2 * sin(9 * a)) * cos(b)
            lines.append(f"v {r * cos(a):.5f} {r * sin(a):.5f} {sin(b):.5f}")
    for i in range(side):
        near, far = i * side, (i + 1) % side * side
        for j in range(side):
            k = (j + 1) % side
            lines.append(f"f {near + j + 1} {far + j + 1} {far + k + 1}\n"
                         f"f {near + j + 1} {far + k + 1} {near + k + 1}")
    return put(folder, "mesh.obj", "\n".join(lines))


def mesh(folder, kind, side):
    obj(folder, side)
    return document(folder, [{"id": 1, "type": kind, "import": "mesh.obj"}],
                    context={"modelBounds": [[0, 0, 0], [5, 5, 5]]})


def mesh_shape(folder, side):
    obj(folder, side)
    return over_geometry(folder, "geometry blend", "geometries", [geometry(1, "mesh", path="mesh.obj")], 3.0)


def quads(folder, side):
    """A wavy sheet of quads, which are split, most of them by clipping ears."""
    points = "".join(f"v {i} {j} {(i * j) % 7}\n" for j in range(side) for i in range(side))
    faces = "".join(f"f {k} {k + 1} {k + side + 1} {k + side}\n" for j in range(side - 1)
                    for k in range(j * side + 1, j * side + side))
    put(folder, "mesh.obj", points + faces)
    return document(folder, [{"id": 1, "type": "MeshSDF", "import": {"path": "mesh.obj", "polygons": "split"}}])


def saw(folder, teeth):
    """One face that ears are clipped off."""
    points = [(i, i % 2 if 0 < i < teeth - 1 else -1) for i in range(teeth)]
    put(folder, "mesh.obj", "".join(f"v {x} {y} 0\n" for x, y in points)
        + ("f " + " ".join(str(i + 1) for i in range(teeth)) + "\n") * 20)
    return over_geometry(folder, "geometry blend", "geometries", [geometry(1, "mesh", path="mesh.obj")])


def package(folder, side):
    """The sheet as a 3MF package."""
    points = [(i, j, (i * j) % 7) for j in range(side) for i in range(side)]
    corners = [(k, k + 1, k + side) for j in range(side - 1) for k in range(j * side, j * side + side - 1)]
    put(folder, "mesh.3mf", mesh_files.package(mesh_files.model(points, corners)))
    return document(folder, [{"id": 1, "type": "MeshSDF", "import": "mesh.3mf"}])


def jpeg(folder, size, progressive):
    """A grey picture whose blocks all take the first codes: zeros."""
    def segment(marker, data):
        return bytes([0xff, marker]) + struct.pack(">H", len(data) + 2) + data

    head = (segment(0xdb, b"\0" + b"\1" * 64)
            + segment(0xc2 if progressive else 0xc0, struct.pack(">BHHBBBB", 8, size, size, 1, 1, 0x11, 0))
            + segment(0xc4, b"\0" + bytes([1] + [0] * 15) + b"\0") + segment(0xc4, b"\x10" + bytes([1] + [0] * 15) + b"\0"))
    blocks = ((size + 7) // 8) ** 2
    scans = segment(0xda, b"\1\1\0\0" + (b"\0\0" if progressive else b"\x3f\0")) + bytes((blocks * (1 if progressive else 2) + 7) // 8)
    if progressive:  # the further coefficients, one after the other
        scans += b"".join(segment(0xda, b"\1\1\0" + bytes([k, k, 0])) + bytes((blocks + 7) // 8) for k in range(1, 64))
    put(folder, "picture.jpg", b"\xff\xd8" + head + scans + b"\xff\xd9")
    return document(folder, [node(1, "ScalarImageSampler", image="a1")],
                    resources=[{"uuid": "a1", "kind": "image2d", "path": "picture.jpg"}])


def pages(folder, count, size):
    """A TIFF file of deflated pages, each in one strip, all of the same bytes."""
    packed = zlib.compress(b"".join(struct.pack("<H", i % 65536) for i in range(size)) * size, 1)
    data = bytearray(b"II*\0" + struct.pack("<I", 8 + len(packed) + len(packed) % 2) + packed + bytes(len(packed) % 2))
    tags = [(256, size), (257, size), (258, 16), (259, 8), (262, 1), (273, 8), (277, 1), (278, size), (279, len(packed))]
    for k in range(count):
        data += struct.pack("<H", len(tags)) + b"".join(struct.pack("<HHII", tag, 4, 1, value) for tag, value in tags)
        data += struct.pack("<I", len(data) + 4 if k + 1 < count else 0)
    put(folder, "stack.tif", bytes(data))
    return volume(folder, "stack.tif")


def spheres(folder, count):
    shapes = [geometry(i + 1, "sphere", center=p, radius=0.1) for i, p in enumerate(points(count))]
    group = geometry(count + 1, "group", members=[shape["uuid"] for shape in shapes])
    return over_geometry(folder, "geometry blend", "geometries", shapes + [group])


def waves(folder, count):
    wave = {"fx": 1.5, "fy": 0.25, "fz": -0.5, "amplitude": 1.0, "phase": 0.1}
    return document(folder, [node(1, "PatternDesigner", mutliply=False, waves=[wave] * count)])


def poles(folder, count):
    return document(folder, [node(1, "Multipole UVW", poles=[{"strength": 0.1, "is_ref": False, "point": p}
                                                             for p in points(count)])])


def long_text(folder, megabytes):
    """Members that no reader knows."""
    piece = b'{"name":"caption","size":[1,2.5,-3e4],"isShown":true,"more":null},'
    return put(folder, "case.zrk.json", b'{"zrkGraph":1,"nodes":[{"id":1,"type":"SphereSDF"}],"output":[1,0],'
               b'"notes":[' + piece * (megabytes * 2 ** 20 // len(piece)) + b"0]}")


def long_chain(folder, count):
    nodes = [{"id": i, "type": "TwistTransform", "values": {"angle": 0.5}} for i in range(1, count)]
    return document(folder, nodes + [{"id": count, "type": "SphereSDF"}],
                    [(i, 0, i + 1, 0) for i in range(1, count)], (count, 0))


def point_list(folder, count):
    return put(folder, "points.txt", b"0.5,-1.25,2.125\n" * count)


class Operation(NamedTuple):
    name: str
    covers: tuple  # commands, component classes, shapes of geometries, formats
    arguments: Callable  # of an empty folder: the arguments of zrk, after the files that they need are written
    writes: str = ""  # the file after -o, which holds "old" before
    quick: bool = False
    finishes: str = ""  # pattern of files that are finished one by one, and stay


def sampling(name, covers, doc, resolution=300, quick=False):
    """Sampling a document: its loading, its building, its samples."""
    return Operation(name, ("sample", *covers),
                     lambda folder: ["sample", doc(folder), "--resolution", resolution], "out.npy", quick)


def surface(format):
    return Operation(f"a surface as {format}", ("surface", format),
                     lambda folder: ["surface", gyroid(folder), "--resolution", 400, "--iso", 0.3], "out" + format)


VDB = [".vdb"] if ".vdb" in run("sample", "--help").out else []  # where it is built in
CURVES = 400000
TRIANGLES = 700  # squared, times two

OPERATIONS = [
    # Samples.
    sampling("nested gradients", ["ZRKGradDerivative"], lambda f: gradients(f, 14), 8, quick=True),
    Operation("one sample of nested gradients", ("probe",),
              lambda f: ["probe", gradients(f, 17), "--at", "0.3,0.2,0.1"], quick=True),
    Operation("one worker", (), lambda f: ["sample", gradients(f, 14), "--resolution", 8, "--threads", 1],
              "out.npy"),
    sampling("a long chain", [], lambda f: long_chain(f, 60000), 64),
    sampling("many waves", ["ZRKPatternDesigner"], lambda f: waves(f, 100000), 64),
    sampling("many poles", ["ZRKMultipoleUVW"], lambda f: poles(f, 100000), 64),
    sampling("a group of many geometries", ["ZRKGeometryBlend", "sphere", "group"], lambda f: spheres(f, 100000),
             64),
    # What components make when a document is loaded or a chain is built.
    sampling("raster effects", ["ZRKRasterFX"], lambda f: frozen(f, 450, 1.0), 8, quick=True),
    sampling("raster effects, weights near 0", ["ZRKRasterFX"], lambda f: frozen(f, 200, 305.0), 8),
    sampling("an image sweep", ["ZRKImageSweep"], lambda f: sweep(f, 512, 32), 8, quick=True),
    sampling("a polyline", ["ZRKCurveUVW", "polyline"], lambda f: over_geometry(
        f, "Curve UVW", "curve", [geometry(1, "polyline", points=points(CURVES))])),
    sampling("a spline", ["ZRKCurveLength", "spline"], lambda f: over_geometry(
        f, "Curve Length", "curve", [geometry(1, "spline", points=points(CURVES))]), quick=True),
    sampling("a mesh", ["ZRKMeshSDF"], lambda f: mesh(f, "MeshSDF", TRIANGLES)),
    sampling("beams", ["ZRKBeamSDF"], lambda f: mesh(f, "BeamSDF", TRIANGLES)),
    sampling("a mesh as geometry", ["mesh"], lambda f: mesh_shape(f, TRIANGLES)),
    sampling("a mesh of quads", ["ZRKMeshSDF"], lambda f: quads(f, TRIANGLES), quick=True),
    sampling("a mesh of faces that aren't convex", ["mesh"], lambda f: saw(f, 9999), 8),
    sampling("a mesh in a package", ["ZRKMeshSDF"], lambda f: package(f, TRIANGLES), 8),
    sampling("a large JPEG picture", ["ZRKScalarImageSampler"], lambda f: jpeg(f, 12000, False), 64),
    sampling("a JPEG picture of many scans", ["ZRKScalarImageSampler"], lambda f: jpeg(f, 12000, True), 64),
    sampling("pages of TIFF", ["ZRK3DImage"], lambda f: pages(f, 48, 2048), 64),
    sampling("a large picture", ["ZRKScalarImageSampler", "ZRKVector3ImageSampler"],
             lambda f: picture(f, "ScalarImageSampler", 12000), 64),
    sampling("a large picture as colours", ["ZRKRGBAImageSampler"],
             lambda f: picture(f, "RGBAImageSampler", 8000), 64),
    sampling("an extruded picture", ["ZRK2DImageExtrude"],
             lambda f: picture(f, "ZRK2DImageExtrude", 12000), 64),
    sampling("slices", ["ZRK3DImage"], lambda f: stack(f, 48, 2048), 64),
    sampling("an array", ["ZRK3DImage"], lambda f: array(f, 700, "|u1", 1), 64),
    sampling("an array in Fortran's order", ["ZRK3DImage"], lambda f: array(f, 400, "<f8", 8, True), 64),
    # Documents.
    Operation("a long text", ("check",), lambda f: ["check", long_text(f, 120)], quick=True),
    Operation("many nodes", ("check",), lambda f: ["check", long_chain(f, 60000)]),
    Operation("a drawn graph", ("graph", ".svg"), lambda f: ["graph", long_chain(f, 60000)], "out.svg",
              quick=True),
    Operation("many resources", ("check",), lambda f: ["check", spheres(f, 250000)]),
    # Lists of positions.
    Operation("many positions", ("probe",),
              lambda f: ["probe", gyroid(f), "--points", point_list(f, 6000000)]),
    # Files.
    *(Operation(f"a large grid as {format}", ("sample", format),
                lambda f: ["sample", gyroid(f), "--resolution", 450], "out" + format)
      for format in (".npy", ".nrrd", ".vti")),
    Operation("a shard", ("sample", ".pvti"), lambda f: ["sample", gyroid(f), "--dims", "2000,2000,100", "--shard", "1/2", "-o",
                                                         f / "out.pvti"], quick=True, finishes="out_*.vti"),
    Operation("tiles that are joined", ("join",), lambda f: tiles(f) and ["join", f / "part.pvti", "-o", f / "out.npy"]),
    Operation("a volume in another format", ("convert",), lambda f: array(f, 400, "<f8", 8) and
              ["convert", f / "volume.npy", f / "out.nrrd"], quick=True),
    *(Operation(f"a volume that is read from {format}", ("convert", format), lambda f, format=format:
                ["convert", sampled(f, "in" + format, 200 if format in VDB else 420), f / "out.npy"])
      for format in (".nrrd", ".vti", *VDB)),
    # A smaller one: the system takes back the small pieces that OpenVDB is made of more slowly.
    *(Operation("a grid as .vdb", ("sample", format),
                lambda f: ["sample", gyroid(f), "--resolution", 200], "out.vdb") for format in VDB),
    Operation("a large slice", ("slice",), lambda f: ["slice", gyroid(f), "--size", 8192], "out.png", quick=True),
    Operation("the largest slice", ("slice", ".png"), lambda f: ["slice", gyroid(f), "--size", 16384], "out.png"),
    Operation("a large slice of colours", ("slice",),
              lambda f: ["slice", picture(f, "RGBAImageSampler", 2000), "--size", 8192], "out.png"),
    *map(surface, (".3mf", ".stl", ".ply", ".obj", *VDB)),
    Operation("measures", ("measure",), lambda f: ["measure", gyroid(f), "--iso", 0.3, "--accuracy", 1e-6]),
    Operation("editing an image sweep", ("edit",), lambda f: ["edit", sweep(f, 512, 32), "1.steps=31"],
              "out.zrk.json"),
    Operation("solving", ("measure",), lambda f: ["measure", gyroid(f), "--solve", "1.contour", "--for", "fraction=0.3",
                                                  "--accuracy", 1e-5], quick=True),
    Operation("a surface of nested gradients", ("surface",),
              lambda f: ["surface", solid_of_gradients(f, 8), "--resolution", 64], "out.stl"),
    Operation("a report on a surface", ("surface",),
              lambda f: ["surface", gyroid(f), "--resolution", 200, "--iso", 0.3, "--report", f / "report.json"]),
    Operation("a report on a mesh", ("surface",), lambda f: ["surface", obj(f, TRIANGLES), "--report", "-"]),
    Operation("a picture", ("render",), lambda f: ["render", gyroid(f), "--iso", 0.3, "--size", "4096x4096"],
              "out.png"),
    Operation("many pictures", ("render",), lambda f: ["render", mesh(f, "MeshSDF", 100), "--turntable", 500],
              "out.png"),
    Operation("a picture that is watched", ("watch",), lambda f: ["watch", solid_of_gradients(f, 8), "--solid"],
              "out.png"),
    Operation("a look at all fields", ("check",), lambda f: ["check", gradients(f, 17), "--fields"]),
    Operation("a picture of nested gradients", ("render",), lambda f: ["render", solid_of_gradients(f, 8)], "out.png"),
]

# What takes no time of its own, and why.
# They print what is compiled in, or write a document of it; completion reads small documents alone.
QUICK_COMMANDS = {"types", "limits", "schema", "new", "man", "completion"}
QUICK_SHAPES = {"point", "circle", "plane", "box"}  # a few numbers
# A formula over their inputs, or a few numbers; what takes long is sampling them, which asks in every block.
FORMULAS = """
    ZRKSphereUVW ZRKTorusUVW ZRKCylinderUVW ZRKVector3SplitComponents ZRKRGBASplitComponents ZRKQuantizeTransform
    ZRKTwistTransform ZRKBendTransform ZRKNormalizeVec3 ZRKNormVec3 ZRKColorFromVec3 ZRKPositionVec3 ZRKMask
    ZRKBinaryOperator ZRKMultiply ZRKMatrixTransform ZRKSphereSDF ZRKBoxSDF ZRKPlaneSDF ZRKTorusSDF
    ZRKCylinderSDF ZRKPipeSDF ZRKGyroid ZRKCross ZRKFaceUVW ZRKShell ZRKFallOff ZRKInvert ZRKLevelsetIsoValue
    ZRKAffineTransform ZRKApplyTransform ZRKVector3CombineComponents ZRKRGBACombineComponents""".split()


def processor_seconds(process):
    fields = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_gib(process):
    found = re.search(r"VmRSS:\s*(\d+)", pathlib.Path(f"/proc/{process}/status").read_text())
    return int(found[1]) / 2 ** 20 if found else 0  # none in a program that is ending


def is_soon(clock, processors, held):
    return min(clock, processors) < BOUND + FREEING * held and clock < BOUND_OF_THE_CLOCK


def contents(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))


class Interruption(unittest.TestCase):
    def start(self, arguments, isWatched=bool(MOMENTS)):
        more = {} if isWatched else {"ZRK_NO_WATCH_OF_REQUESTS": "1"}
        return subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.DEVNULL, env={**os.environ, **more},
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def length(self, arguments, target):
        """Seconds that a run takes, at most LONGEST."""
        begun = time.monotonic()
        process = self.start(arguments)
        try:
            _, err = process.communicate(timeout=LONGEST * PATIENCE)
            self.assertEqual(process.returncode, 0, err.decode())
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            for left in target.parent.glob(target.name + ".zrk-*.tmp") if target else []:
                left.unlink()
        return time.monotonic() - begun

    def interrupt(self, process, after, number=signal.SIGINT):
        """Seconds of the clock and of the processors from the signal to the end, memory held, the status, messages; None
        where the program has ended before."""
        begun = time.monotonic()
        wait_until_it_hears(process)
        time.sleep(max(0, begun + after - time.monotonic()))
        if os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOHANG | os.WNOWAIT):
            process.communicate()
            return None
        held = resident_gib(process.pid)
        used = processor_seconds(process.pid)
        begun = time.monotonic()
        os.kill(process.pid, number)
        err = process.stderr.read()
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.monotonic() - begun
        process.returncode = os.waitstatus_to_exitcode(status)
        process.stderr.close()
        return seconds, usage.ru_utime + usage.ru_stime - used, held, process.returncode, err.decode()

    def check(self, operation, folder, moments):
        arguments = [*operation.arguments(folder)]
        target = folder / operation.writes if operation.writes else None
        if target:
            arguments += ["-o", target]
        if moments:
            before = contents(folder)
            whole = self.length(arguments, target)
            for name in set(contents(folder)) - set(before):  # tiles that are there aren't written again
                (folder / name).unlink()
            times = [max(0.02, whole * (k + 0.5) / moments) for k in range(moments)]
        else:
            times = [0.3]
        for k, after in enumerate(times):
            if target:
                target.write_text("old")
            before = contents(folder)
            for _ in range(3):  # what others do to the machine isn't seen three times
                interrupted = self.interrupt(self.start(arguments), after)
                if not moments and (not interrupted or interrupted[3] == 0):  # it is faster than that
                    after /= 2
                    for name in set(contents(folder)) - set(before):
                        (folder / name).unlink()
                    if target:
                        target.write_text("old")
                elif not interrupted or is_soon(*interrupted[:3]):
                    break
            if not interrupted and moments:
                continue  # it was faster than the first time
            self.assertIsNotNone(interrupted, operation.name)
            clock, processors, held, status, err = interrupted
            told = (f"{operation.name}, after {after:.2f} s: {clock:.3f} s, {processors:.3f} s of processors, "
                    f"with {held:.2f} GiB\n{err}")
            if os.environ.get("ZRK_TELL"):
                print(told.strip(), status, flush=True)
            if moments and k + 1 == len(times) and status == 0:
                continue  # it was at its end
            with self.subTest(operation=operation.name, after=round(after, 2)):
                self.assertEqual(status, 130, told)
                self.assertTrue(is_soon(clock, processors, held), told)
                finished = set(folder.glob(operation.finishes)) if operation.finishes else set()
                for path in finished:
                    path.unlink()
                self.assertEqual(contents(folder), before)
                if target:
                    self.assertEqual(target.read_text(), "old")

    def test_stops_all_long_work_soon(self):
        only = os.environ.get("ZRK_ONLY", "")
        for operation in OPERATIONS:
            if only in operation.name and (operation.quick or MOMENTS):
                with tempfile.TemporaryDirectory(prefix="zrk-") as folder:
                    self.check(operation, pathlib.Path(folder), MOMENTS)

    def test_ends_what_does_not_hear(self):
        """Towards its end, the check of a long text takes down what it has read, which nothing can interrupt."""
        with tempfile.TemporaryDirectory(prefix="zrk-") as folder:
            arguments = ["check", long_text(pathlib.Path(folder), 30)]
            for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, -signal.SIGTERM)):
                told = []
                for _ in range(4):  # what others do to the machine, and to the length of a run, isn't seen each time
                    whole = self.length(arguments, None)
                    times = []
                    for share in (0.8, 0.86, 0.92) * 2:
                        interrupted = self.interrupt(self.start(arguments, isWatched=True), share * whole, number)
                        if interrupted and interrupted[3] != 0:
                            self.assertEqual(interrupted[3], status)
                            times.append(interrupted[:3])
                    if sum(is_soon(*time) for time in times) > len(times) / 2:
                        break
                    told.append((round(whole, 2), times))
                else:
                    self.fail(told)


class Table(unittest.TestCase):
    """Whatever the program can do has a row or is known to be quick."""

    def known(self, *more):
        return {name for operation in OPERATIONS for name in operation.covers}.union(*more)

    def test_has_all_commands(self):
        commands = re.findall(r"^  (\w+)", run("--help").out.split("Subcommands:")[1], re.MULTILINE)
        self.assertGreater(len(commands), 5)
        self.assertEqual(set(commands) - self.known(QUICK_COMMANDS), set())

    def test_has_all_components(self):
        classes = {line.split()[0] for line in run("types").out.splitlines()[1:]}
        self.assertEqual(classes - self.known(FORMULAS), set())
        self.assertEqual(set(FORMULAS) - classes, set(), "no longer there")

    def test_has_all_shapes(self):
        with tempfile.TemporaryDirectory(prefix="zrk-") as folder:
            entry = {"uuid": "a1", "kind": "geometry", "shape": "none"}
            told = run("check", document(pathlib.Path(folder), [], resources=[entry])).err
        shapes = re.findall(r'"(\w+)"', told.split("write one of")[1])
        self.assertGreater(len(shapes), 5)
        self.assertEqual(set(shapes) - self.known(QUICK_SHAPES), set())

    def test_has_all_formats(self):
        formats = set()
        for command in ("sample", "slice", "surface", "render"):
            output = re.search(r"--output.*", run(command, "--help").out)[0]
            formats |= set(re.findall(r"\.\w+", output))
        self.assertGreater(len(formats), 5)
        self.assertEqual(formats - self.known(), set())


if __name__ == "__main__":
    unittest.main()

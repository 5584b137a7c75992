"""Reads the mesh files that `zrk surface` writes, each in a few lines of its own, and holds 3MF to its rules."""

import ctypes
import ctypes.util
import io
import pathlib
import re
import struct
import xml.etree.ElementTree as xml
import zipfile

CORE = "{http://schemas.microsoft.com/3dmanufacturing/core/2015/02}"
MATERIAL = "{http://schemas.microsoft.com/3dmanufacturing/material/2015/02}"
BEAMS = "{http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02}"
NUMBER = re.compile(r"[-+]?(\d+(\.\d+)?|\.\d+)([eE][-+]?\d+)?$")


class Mesh:
    """Vertices and triangles, and what else the file tells."""

    def __init__(self, vertices, triangles, colors=(), **more):
        self.vertices, self.triangles, self.colors = vertices, triangles, list(colors)
        self.__dict__.update(more)

    def corners(self):
        """The triangles with their coordinates."""
        return [tuple(self.vertices[i] for i in triangle) for triangle in self.triangles]

    def open_edges(self):
        """Edges that aren't run along once in each direction."""
        edges = [(t[i], t[(i + 1) % 3]) for t in self.triangles for i in range(3)]
        known = set(edges)
        return len(edges) - len(known) + sum((b, a) not in known for a, b in known)


def read_stl(path):
    data = pathlib.Path(path).read_bytes()
    assert not data.startswith(b"solid"), "some readers take it for text"
    count, = struct.unpack_from("<I", data, 80)
    assert len(data) == 84 + 50 * count, (len(data), count)
    numbers, corners = {}, []
    for i in range(count):
        *values, attribute = struct.unpack_from("<12fH", data, 84 + 50 * i)
        assert attribute == 0
        corners.append(tuple(numbers.setdefault(tuple(values[k:k + 3]), len(numbers)) for k in (3, 6, 9)))
    return Mesh(list(numbers), corners, header=data[:80].decode("ascii").rstrip())


def read_ply(path):
    head, data = pathlib.Path(path).read_bytes().split(b"end_header\n", 1)
    lines = head.decode("ascii").splitlines()
    assert lines[:2] == ["ply", "format binary_little_endian 1.0"], lines
    vertices, faces = (int(line.split()[2]) for line in lines if line.startswith("element"))
    colored = "property uchar red" in lines
    size = 28 if colored else 24
    assert len(data) == size * vertices + 13 * faces, len(data)
    points = [struct.unpack_from("<3d", data, size * i) for i in range(vertices)]
    colors = [tuple(data[size * i + 24:size * i + 28]) for i in range(vertices)] if colored else []
    triangles = []
    for i in range(faces):
        corners, *triangle = struct.unpack_from("<B3i", data, size * vertices + 13 * i)
        assert corners == 3
        triangles.append(tuple(triangle))
    return Mesh(points, triangles, colors, header=lines)


def read_obj(path):
    points, triangles, colors, comments = [], [], [], []
    for line in pathlib.Path(path).read_text("ascii").splitlines():
        word, *rest = line.split()
        if word == "v":
            points.append(tuple(map(float, rest[:3])))
            colors += [tuple(round(255 * float(c)) for c in rest[3:])] if rest[3:] else []
        elif word == "f":
            triangles.append(tuple(int(i) - 1 for i in rest))
        else:
            assert word == "#", line
            comments.append(line)
    return Mesh(points, triangles, colors, header=comments)


def read_3mf(path):
    """The only object of a package, after a check of the rules of the format and of its extensions for
    materials and beam lattices that concern it."""
    with zipfile.ZipFile(path) as package:
        assert package.testzip() is None
        assert sorted(package.namelist()) == ["3D/3dmodel.model", "[Content_Types].xml", "_rels/.rels"]
        parts = {name: xml.fromstring(package.read(name)) for name in package.namelist()}
        spaces = dict(space for _, space in xml.iterparse(package.open("3D/3dmodel.model"), events=["start-ns"]))
    types = {e.get("Extension"): e.get("ContentType") for e in parts["[Content_Types].xml"]}
    assert types == {"rels": "application/vnd.openxmlformats-package.relationships+xml",
                     "model": "application/vnd.ms-package.3dmanufacturing-3dmodel+xml"}, types
    relation, = parts["_rels/.rels"]
    assert relation.tag == "{http://schemas.openxmlformats.org/package/2006/relationships}Relationship"
    assert relation.get("Target") == "/3D/3dmodel.model" and relation.get("Id")
    assert relation.get("Type") == "http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"
    model = parts["3D/3dmodel.model"]
    # Who doesn't know the extension would print triangles of the lattice alone, or none.
    required = [spaces[prefix] for prefix in model.get("requiredextensions", "").split()]
    assert (BEAMS[1:-1] in required) == any(e.tag.startswith(BEAMS) for e in model.iter()), required
    return model_mesh(model)


def model_mesh(model):
    assert model.tag == CORE + "model"
    assert model.get("unit") in ("micron", "millimeter", "centimeter", "inch", "foot", "meter")
    assert [e.tag for e in model if e.tag != CORE + "metadata"] == [CORE + "resources", CORE + "build"]
    metadata = {e.get("name"): e.text for e in model.iter(CORE + "metadata")}
    assert len(metadata) == len(model.findall(CORE + "metadata"))
    assert set(metadata) <= {"Title", "Designer", "Description", "Copyright", "LicenseTerms", "Rating",
                             "CreationDate", "ModificationDate", "Application"}
    ids, groups, objects = set(), {}, {}
    for resource in model.find(CORE + "resources"):
        number = int(resource.get("id"))
        assert number > 0 and number not in ids
        ids.add(number)
        if resource.tag == MATERIAL + "colorgroup":
            assert all(re.fullmatch("#[0-9A-F]{8}", e.get("color")) for e in resource)
            groups[str(number)] = [tuple(bytes.fromhex(e.get("color")[1:])) for e in resource]
        else:
            assert resource.tag == CORE + "object" and resource.get("type", "model") == "model"
            objects[str(number)] = object_mesh(resource, groups)
    items = [item.get("objectid") for item in model.find(CORE + "build")]
    assert items == list(objects), items
    mesh, = objects.values()
    mesh.unit, mesh.metadata = model.get("unit"), metadata
    return mesh


def object_mesh(resource, groups):
    if resource.get("pid") or resource.get("pindex"):
        groups[resource.get("pid")][int(resource.get("pindex"))]  # there must be one
    body, = resource
    assert [e.tag for e in body][:2] == [CORE + "vertices", CORE + "triangles"]
    vertices = []
    for vertex in body[0]:
        assert vertex.tag == CORE + "vertex" and all(NUMBER.match(vertex.get(axis)) for axis in "xyz"), vertex.attrib
        vertices.append(tuple(float(vertex.get(axis)) for axis in "xyz"))
    triangles, colors = [], {}
    for element in body[1]:
        triangle = tuple(int(element.get(v)) for v in ("v1", "v2", "v3"))
        assert len(set(triangle)) == 3 and all(0 <= v < len(vertices) for v in triangle), triangle
        triangles.append(triangle)
        if element.get("pid"):
            for v, p in zip(triangle, ("p1", "p2", "p3")):
                color = groups[element.get("pid")][int(element.get(p))]
                assert colors.setdefault(v, color) == color
    beams, radius = [], None
    for lattice in body[2:]:
        assert lattice.tag == BEAMS + "beamlattice"
        radius = float(lattice.get("radius"))
        assert radius > 0 and float(lattice.get("minlength")) > 0 and lattice.get("cap") == "sphere"
        for beam in lattice.find(BEAMS + "beams"):
            ends = int(beam.get("v1")), int(beam.get("v2"))
            assert ends[0] != ends[1] and all(0 <= v < len(vertices) for v in ends), ends
            beams.append(ends)
    return Mesh(vertices, triangles, [colors[v] for v in sorted(colors)], beams=beams, radius=radius)


def read(path):
    return {".stl": read_stl, ".ply": read_ply, ".obj": read_obj, ".3mf": read_3mf}[pathlib.Path(path).suffix](path)


def package(model, files=()):
    """The bytes of a 3MF package of a model's XML, and further files by name."""
    relationships = ('<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="r" '
                     'Target="/m.model" Type="http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"/></Relationships>')
    data = io.BytesIO()
    with zipfile.ZipFile(data, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, text in {"_rels/.rels": relationships, "m.model": model, **dict(files)}.items():
            archive.writestr(name, text)
    return data.getvalue()


def model(vertices, triangles, unit="millimeter", item=""):
    """The XML of a 3MF model with one mesh and one item, with more attributes."""
    return (f'<model unit="{unit}" xmlns="{CORE[1:-1]}"><resources><object id="1"><mesh><vertices>'
            + "".join(f'<vertex x="{x}" y="{y}" z="{z}"/>' for x, y, z in vertices) + "</vertices><triangles>"
            + "".join(f'<triangle v1="{a}" v2="{b}" v3="{c}"/>' for a, b, c in triangles)
            + f'</triangles></mesh></object></resources><build><item objectid="1" {item}/></build></model>')


def lib3mf():
    """The reader of the 3MF Consortium as a library; None where it isn't installed (Debian: lib3mf1)."""
    for name in ("lib3MF.so.1", ctypes.util.find_library("3MF")):
        try:
            return name and ctypes.CDLL(name)
        except OSError:
            pass
    return None


def read_by_lib3mf(library, path):
    """Warnings of the library on a package, and counts of vertices, triangles and beams of its mesh."""
    def call(function, *arguments):
        status = getattr(library, "lib3mf_" + function)(*arguments)
        assert status == 0, f"lib3mf_{function} failed with {status & 0xffffffff:#x}"

    model, reader, meshes, current = (ctypes.c_void_p() for _ in range(4))
    warnings, vertices, triangles, beams = (ctypes.c_uint32() for _ in range(4))
    found = ctypes.c_int()
    call("createmodel", ctypes.byref(model))
    call("model_queryreader", model, b"3mf", ctypes.byref(reader))
    call("reader_readfromfileutf8", reader, str(path).encode())
    call("reader_getwarningcount", reader, ctypes.byref(warnings))
    call("model_getmeshobjects", model, ctypes.byref(meshes))
    call("resourceiterator_movenext", meshes, ctypes.byref(found))
    assert found.value
    call("resourceiterator_getcurrent", meshes, ctypes.byref(current))
    call("meshobject_getvertexcount", current, ctypes.byref(vertices))
    call("meshobject_gettrianglecount", current, ctypes.byref(triangles))
    call("meshobject_getbeamcount", current, ctypes.byref(beams))
    return warnings.value, vertices.value, triangles.value, beams.value

"""What fields give, and what components take from arrays: volumes, meshes, pictures, curves and shapes."""

import os
import tempfile

import numpy as np

from . import _arguments as check
from . import _zrk
from ._errors import Error


class _WithResource:
    """Data that nodes may refer to. The form they read is made once, when it is first asked for."""

    _resource = None

    def _as_resource(self):
        if self._resource is None:
            self._resource = self._make_resource()
        return self._resource

    def __getstate__(self):
        state = self.__dict__.copy()
        state.pop("_resource", None)
        return state


def _png_bytes(pixels):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "picture.png")
        _zrk.write_picture(path, pixels, None)
        with open(path, "rb") as file:
            return file.read()


class _Array:
    """An attribute that is checked when it is assigned, which drops what nodes read of the former one."""

    def __init__(self, check_it):
        self._check = check_it

    def __set_name__(self, owner, name):
        self._name = name

    def __get__(self, holder, owner=None):
        return self if holder is None else holder.__dict__[self._name]

    def __set__(self, holder, value):
        holder.__dict__[self._name] = self._check(value)
        holder._resource = None


def _pixels(value):
    return check.real_numbers(value, "picture", (2, 3), "shape (height, width) or (height, width, channels)")


def _grid_values(value):
    return check.real_numbers(value, "volume", (3, 4), "shape (nz, ny, nx) or (nz, ny, nx, components)")


def _vertices(value):
    return check.rows_of_three(value, "vertices of a mesh", "n")


def _faces(value):
    return check.rows_of_three(value, "faces of a mesh", "k", "iu")


class Picture(_WithResource):
    """Pixels of a picture.

    Parameters
    ----------
    pixels : array_like
        Shape (height, width) or (height, width, channels) with 1 to 4 channels, row 0 on top; uint8, uint16 or
        floats. A component that is given the picture reads whole numbers as 0 to 1.

    Notes
    -----
    A notebook shows a picture of bytes. ``numpy.asarray(picture)`` are its pixels.
    """

    pixels: np.ndarray = _Array(_pixels)

    def __init__(self, pixels):
        self.pixels = pixels

    def _make_resource(self):
        return _zrk.picture_resource(self.pixels, self.pixels)

    def save(self, path, *, progress=None):
        """Writes a PNG file; what was there stays when that fails.

        Parameters
        ----------
        path : path-like
            Ends in ``.png``.
        progress : callable, optional
            Called with the fraction done.
        """
        path = check.file_name(path)
        if not path.endswith(".png"):
            raise Error(path, "another ending", "a file name ending in .png", "pictures are written as PNG")
        _zrk.write_picture(path, self.pixels, check.progress(progress))

    @property
    def size(self):
        """Width and height in pixels."""
        return self.pixels.shape[1], self.pixels.shape[0]

    def __array__(self, dtype=None):
        return self.pixels if dtype is None else self.pixels.astype(dtype)

    def _repr_png_(self):
        return _png_bytes(self.pixels) if self.pixels.dtype == np.uint8 else None

    def __repr__(self):
        return f"<zrk.Picture of shape {self.pixels.shape}, {self.pixels.dtype}>"


class Volume(_WithResource):
    """Values at the nodes of a regular grid.

    Parameters
    ----------
    values : array_like
        Shape (nz, ny, nx), or (nz, ny, nx, components).
    origin : (3,) array_like
        Position of node (0, 0, 0), model units.
    spacing : (3,) array_like
        Distance between nodes along x, y and z, model units.

    Attributes
    ----------
    values : ndarray
    origin, spacing : tuple of float
    name : str
        What the values are, for files that carry a name.

    Examples
    --------
    >>> import zrk
    >>> v = zrk.SphereSDF(radius=0.5).volume(((-1, -1, -1), (1, 1, 1)), 5)
    >>> v.values.shape, v.spacing, v.values[2, 2, 2]
    ((5, 5, 5), (0.5, 0.5, 0.5), -0.5)
    """

    values: np.ndarray = _Array(_grid_values)
    origin: "tuple[float, float, float]"
    spacing: "tuple[float, float, float]"
    name: str
    is_density: bool

    def __init__(self, values, origin=(0, 0, 0), spacing=(1, 1, 1), name="", is_density=False):
        self.values = values
        self.origin = check.vector(origin, "origin")
        self.spacing = check.vector(spacing, "spacing")
        self.name = str(name)
        self.is_density = bool(is_density)

    def _make_resource(self):
        return _zrk.volume_resource(self.values, self.values)

    @property
    def bounds(self):
        """The corners: positions of the first and of the last node."""
        nodes = self.values.shape[2::-1]
        return self.origin, tuple(o + s * (n - 1) for o, s, n in zip(self.origin, self.spacing, nodes))

    def coordinates(self):
        """Positions of the nodes along x, y and z: three arrays of shape (nx,), (ny,) and (nz,)."""
        lower, upper = self.bounds
        return tuple(np.linspace(a, b, n) for a, b, n in zip(lower, upper, self.values.shape[2::-1]))

    def save(self, path, *, progress=None):
        """Writes ``.npy``, ``.nrrd``, ``.vti`` or, where this build can, ``.vdb``; what was there stays when that fails.

        Parameters
        ----------
        path : path-like
        progress : callable, optional
            Called with the fraction done.
        """
        lower, upper = self.bounds
        _zrk.write_volume(check.file_name(path), self.values, lower, upper, self.name, self.is_density,
                          check.progress(progress))

    def __array__(self, dtype=None):
        return self.values if dtype is None else self.values.astype(dtype)

    def __repr__(self):
        return f"<zrk.Volume of shape {self.values.shape}, origin {self.origin}, spacing {self.spacing}>"


class Mesh(_WithResource):
    """Triangles over shared vertices.

    Parameters
    ----------
    vertices : array_like
        Shape (n, 3), model units.
    faces : array_like
        Shape (k, 3): indices of the vertices, counterclockwise as seen from outside.

    Attributes
    ----------
    vertices : ndarray of shape (n, 3)
    faces : ndarray of whole numbers, shape (k, 3)
        Arrays of the same shapes may be assigned to both. Components that were given the mesh keep what they read.
    """

    vertices: np.ndarray = _Array(_vertices)
    faces: np.ndarray = _Array(_faces)
    name: str

    def __init__(self, vertices, faces, name=""):
        self.vertices = vertices
        self.faces = faces
        self.name = str(name)

    def _make_resource(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "mesh.obj")
            _zrk.write_mesh(path, self.vertices, self.faces, "", "", None, None)
            return _zrk.mesh_resource(path, (self.vertices, self.faces))

    @classmethod
    def load(cls, path, *, progress=None):
        """Reads ``.3mf``, ``.stl``, ``.ply`` or ``.obj``, by content. What was left out is warned of."""
        path = check.file_name(path)
        vertices, faces = _zrk.read_mesh(path, check.progress(progress))
        return cls(vertices, faces)

    def save(self, path, unit="", *, colors=None, progress=None):
        """Writes ``.3mf``, ``.stl``, ``.ply`` or ``.obj``; what was there stays when that fails.

        Parameters
        ----------
        path : path-like
        unit : str, optional
            What a length of 1 means: ``"millimeter"``, ``"mm"`` and so on. Nothing is rescaled.
        colors : ndarray of uint8, shape (n, 4), optional
            Red, green, blue and opacity of the vertices.
        progress : callable, optional
            Called with the fraction done.
        """
        if unit is not None and not isinstance(unit, str):
            raise Error("unit", repr(unit), "a unit of length", 'give for example "mm"')
        names = {"meter": "m", "centimeter": "cm", "millimeter": "mm", "micron": "um", "micrometer": "um", "foot": "ft"}
        _zrk.write_mesh(check.file_name(path), self.vertices, self.faces, names.get(unit, unit or ""), self.name,
                        None if colors is None else np.asarray(colors), check.progress(progress))

    def report(self, *, progress=None):
        """Looks the mesh over.

        Returns
        -------
        dict
            Counts of faults (``open_edges``, ``self_intersections`` and so on), ``volume``, ``area``, ``genus``, and
            whether the mesh ``is_closed`` and ``is_clean``, which is fit to be printed.
        """
        return _zrk.mesh_report(self.vertices, self.faces, check.progress(progress))

    def __repr__(self):
        return f"<zrk.Mesh of {len(self.vertices)} vertices and {len(self.faces)} triangles>"


class Geometry(_WithResource):
    """A shape that components refer to.

    Parameters
    ----------
    shape : str
        ``"point"``, ``"polyline"``, ``"spline"``, ``"circle"``, ``"plane"``, ``"sphere"``, ``"box"`` or
        ``"group"``.
    **keys
        What a document writes for the shape: ``center``, ``radius`` and so on; for a group the ``members``, a list.

    Examples
    --------
    >>> import zrk
    >>> ring = zrk.Geometry("circle", center=(0, 0, 0), axis=(0, 0, 1), radius=0.5)
    >>> round(zrk.GeometryBlend(geometries=ring)((0.6, 0, 0)), 6)  # 0.5 less the distance
    0.4
    """

    def __init__(self, shape, **keys):
        self.shape = shape
        self.keys = {key: value if key == "members" else _plain(value) for key, value in keys.items()}

    def _make_resource(self):
        if self.shape == "group":
            members = [as_geometry(member)._as_resource() for member in self.keys.get("members", ())]
            return _zrk.group_resource(members, "", None)
        return _zrk.shape_resource({"shape": self.shape, **self.keys}, "", None)

    def __repr__(self):
        return f"<zrk.Geometry {self.shape}>"


def Curve(points, closed=False, smooth=False):
    """A curve through points.

    Parameters
    ----------
    points : array_like
        Shape (n, 3), at least two.
    closed : bool
        Whether the curve returns to its first point.
    smooth : bool
        A spline through the points, else straight segments.

    Returns
    -------
    Geometry
    """
    array = check.rows_of_three(points, "points", "n").astype(float)
    return Geometry("spline" if smooth else "polyline", points=array, closed=bool(closed))


class Stored(_WithResource):
    """A resource that came with a document or from another one."""

    def __init__(self, resource):
        self._resource = resource

    def __getstate__(self):
        return self._resource.entry, self._resource.source, [Stored(m) for m in self._resource.members]

    def __setstate__(self, state):
        entry, source, members = state
        self._resource = restored(entry, source, members)

    def __repr__(self):
        entry = self._resource.entry
        return f"<zrk resource: {entry.get('shape', entry['kind'])} {entry.get('path', '')}>"


def restored(entry, source, members):
    """A resource from what it was pickled as; one that lies in a file is read again."""
    kind, path = entry["kind"], entry.get("path")
    if source is not None:
        made = {"image2d": Picture, "image3d": Volume}.get(kind)
        return (made(source) if made else Mesh(*source))._as_resource()
    if path is None and entry.get("shape") == "group":
        return _zrk.group_resource([m._as_resource() for m in members], entry["uuid"], None)
    if path is None:
        keys = {key: value for key, value in entry.items() if key not in ("kind", "uuid")}
        return _zrk.shape_resource(keys, entry["uuid"], None)
    import json
    text = json.dumps({"zrkGraph": 1, "resources": [entry], "nodes": [_READERS[kind](entry["uuid"])]})
    document = _zrk.Document.parse(text, "resource", None)
    return document.release_nodes()[0][1].resources[0]


_READERS = {
    "image2d": lambda uuid: {"id": 1, "type": "ZRKScalarImageSampler", "values": {"image": uuid}},
    "image3d": lambda uuid: {"id": 1, "type": "ZRK3DImage", "values": {"image": uuid}},
    "geometry": lambda uuid: {"id": 1, "type": "ZRKGeometryBlend", "values": {"geometries": uuid}},
}


def _plain(value):
    return value.tolist() if isinstance(value, (np.ndarray, np.generic)) else value


def mesh_arrays(value):
    """Vertices and triangles of whatever has them, None where it is no mesh: of this module, trimesh, pyvista,
    meshio, or a pair of arrays."""
    if hasattr(value, "vertices") and hasattr(value, "faces"):  # this module's, trimesh
        return _vertices(value.vertices), _faces(value.faces)
    if hasattr(value, "cells_dict") and hasattr(value, "points"):  # meshio
        triangles = [cells for kind, cells in value.cells_dict.items() if kind == "triangle"]
        if not triangles:
            raise Error("mesh", "cells of " + ", ".join(value.cells_dict), "triangles",
                        "split the faces into triangles first")
        return _vertices(value.points), _faces(np.concatenate(triangles))
    if hasattr(value, "points") and hasattr(value, "faces"):  # pyvista: the count of corners before each face
        faces = np.asarray(value.faces)
        if faces.ndim == 1:
            if faces.size % 4 or (faces[::4] != 3).any():
                raise Error("mesh", "faces of more than three corners", "triangles",
                            "call triangulate() on the mesh first")
            faces = faces.reshape(-1, 4)[:, 1:]
        return _vertices(value.points), _faces(faces)
    if isinstance(value, tuple) and len(value) == 2:
        return _vertices(value[0]), _faces(value[1])
    return None


def as_geometry(value):
    """Whatever can be a geometry: one of this module, a mesh, the points of a curve, or a list of geometries."""
    if isinstance(value, (Geometry, Mesh, Stored)):
        return value
    arrays = mesh_arrays(value)
    if arrays is not None:
        return Mesh(*arrays)
    if isinstance(value, (list, tuple)) and value and not np.isscalar(value[0]) and not _is_point(value[0]):
        return Geometry("group", members=list(value))
    try:
        return Curve(value)
    except (TypeError, ValueError) as error:
        raise Error("geometry", f"an object of the type {type(value).__name__}",
                    "a Geometry, a mesh or the points of a curve", "see help(zrk.Geometry)") from error


def _is_point(value):
    try:
        return np.shape(value) == (3,)
    except ValueError:
        return False


def as_resource(kind, value):
    """The resource for a property of a kind."""
    if kind == "geometry":
        return as_geometry(value)._as_resource()
    made = Picture if kind == "image2d" else Volume
    if not isinstance(value, (Picture, Volume, Stored)):
        value = made(np.asarray(value))
    resource = value._as_resource()
    if resource.entry["kind"] != kind:
        raise Error(kind, repr(value), f"an array for a {made.__name__}", f"give a zrk.{made.__name__}")
    return resource


def write_resource(resource, path):
    """Writes what a resource was made of, beside a document."""
    source = resource if isinstance(resource, tuple) else resource.source
    if isinstance(source, tuple):
        _zrk.write_mesh(path, source[0], source[1], "", "", None, None)
    elif resource.entry["kind"] == "image3d":
        is_known = source.dtype in (np.uint8, np.uint16, np.float32, np.float64)
        array = source if is_known else source.astype(np.float64)
        with open(path + ".tmp", "wb") as file:
            np.save(file, np.ascontiguousarray(array))
        os.replace(path + ".tmp", path)
    else:
        if source.dtype != np.uint8:
            raise Error(path, f"a picture of {source.dtype}", "uint8, which a PNG file of this module holds",
                        "scale the pixels to 0 to 255 and convert them, so that the document can be saved")
        _zrk.write_picture(path, source, None)

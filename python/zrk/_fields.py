"""Fields, and the components that they are outputs of."""

import os
import tempfile

import numpy as np

from . import _arguments as check
from . import _results, _zrk
from ._errors import Error

_COMPONENTS = {"Scalar": 1, "Vector3d": 3, "Color": 4}
_SIZES = {"Scalar": (), "Vector3d": (3,), "Color": (4,)}
_CONSTANTS = {"Scalar": "a number", "Vector3d": "three numbers", "Color": "four numbers"}


class Measures:
    """What a solid measures, in model units.

    Attributes
    ----------
    volume, area : float
    volume_error, area_error : float
        How far off they may be.
    fraction : float
        The volume over that of the bounds.
    area_on_bounds : float
        The part of the area that the bounds cut.
    center, lower, upper : tuple of float
        Centre of mass, and the corners of the box around the solid.
    smallest_wall, smallest_gap : float or None
        None where there is none, or where the field isn't a distance.
    is_accurate : bool
        False where finer cells would be needed.
    """

    volume: float
    volume_error: float
    area: float
    area_error: float
    fraction: float
    area_on_bounds: float
    center: "tuple[float, float, float]"
    lower: "tuple[float, float, float]"
    upper: "tuple[float, float, float]"
    smallest_wall: "float | None"
    smallest_gap: "float | None"
    is_accurate: bool

    def __init__(self, values):
        self.__dict__.update(values)

    def __repr__(self):
        return "<zrk.Measures: " + ", ".join(f"{k}={v!r}" for k, v in self.__dict__.items()) + ">"


class Field:
    """An output of a component: a number, a vector or a colour at each position.

    Fields are called with positions, combined with ``|``, ``&``, ``-``, ``+`` and ``*``, and given to the inputs of
    other components. They always show the properties that their components have now, may be called from many threads
    at once, and can be pickled.

    Examples
    --------
    >>> import numpy as np, zrk
    >>> ball = zrk.SphereSDF(radius=0.5) | zrk.BoxSDF(dimensions=(1, 1, 1))
    >>> ball(np.zeros((2, 3)))
    array([-0.5, -0.5])
    """

    __slots__ = ("_core", "_output", "__weakref__")
    __array_ufunc__ = None  # so that NumPy leaves `2.0 * field` to the field

    def __init__(self, core, output=0):
        object.__setattr__(self, "_core", core)
        object.__setattr__(self, "_output", output)

    @property
    def node(self):
        """The component whose output this is."""
        return wrapped(self._core)

    @property
    def type(self):
        """What the field gives now: ``"Scalar"``, ``"Vector3d"`` or ``"Color"``; ``"None"`` while its inputs are
        missing or don't fit together."""
        return self._core.tag(self._output)

    def __call__(self, points, *, progress=None):
        """Values at positions.

        Parameters
        ----------
        points : array_like of float, shape (..., 3)
            Positions in model units. Arrays of float64 are read in place, whatever their layout; others are converted.
        progress : callable, optional
            Called with the fraction done, 0 to 1, some times a second; what it raises stops the work.

        Returns
        -------
        float or ndarray of float64, shape (...), or (..., components) for vectors and colours
            NaN and infinity are values like others.

        Raises
        ------
        Error
            For points of another shape or type, and for a field that carries no values.
        KeyboardInterrupt
            After Ctrl-C, within 100 ms.
        """
        return self._core.values_at(self._output, points, check.progress(progress))

    def sample(self, points, *, progress=None):
        """Values and weights at positions.

        Parameters
        ----------
        points : array_like of float, shape (..., 3)
        progress : callable, optional

        Returns
        -------
        values : float or ndarray, shape (...) or (..., components)
        weights : float or ndarray, shape (...)
        """
        return self._core.records_at(self._output, points, check.progress(progress))

    @property
    def bounds(self):
        """Where the field is sampled unless told otherwise: the bounds of its document, or (-1, -1, -1) to
        (1, 1, 1)."""
        return self._core.bounds

    def _box(self, bounds):
        return check.box(self._core.bounds, "bounds of the document") if bounds is None else check.box(bounds)

    def volume(self, bounds=None, resolution=64, *, threads=0, progress=None):
        """Values at the nodes of a grid, which lie on the faces of the bounds.

        Parameters
        ----------
        bounds : ((x0, y0, z0), (x1, y1, z1)), optional
        resolution : int or (nx, ny, nz)
            Nodes along the longest side, or along each axis.
        threads : int
            0 for all processors.
        progress : callable, optional

        Returns
        -------
        Volume
        """
        lower, upper = self._box(bounds)
        dims = check.grid(resolution, lower, upper)
        values = self._core.volume(self._output, lower, upper, dims, check.whole(threads, "threads", 0, 1024),
                                   check.progress(progress))
        spacing = [(b - a) / (n - 1) for a, b, n in zip(lower, upper, dims)]
        return _results.Volume(values, lower, spacing, self.name, self._core.is_density(self._output))

    def _surface_options(self, bounds, resolution, cell, iso, density, sharp, is_open, flatness, threads):
        lower, upper = self._box(bounds)
        return _zrk.SurfaceOptions(lower, upper, check.cells(resolution, cell, lower, upper),
                                   check.optional_number(iso, "iso"), check.optional_flag(density, "density"),
                                   bool(sharp), bool(is_open), check.number_within(flatness, "adaptive", 0),
                                   check.whole(threads, "threads", 0, 1024))

    def surface(self, bounds=None, resolution=128, *, cell=None, iso=None, density=None, sharp=False, open=False,
                adaptive=0.0, threads=0, progress=None):
        """The surface of the solid: closed at the bounds, without triangles that pass through each other.

        Parameters
        ----------
        bounds : ((x0, y0, z0), (x1, y1, z1)), optional
        resolution : int or (nx, ny, nz)
            Cells along the longest side, or along each axis.
        cell : float, optional
            Longest side of a cell in model units, in place of a resolution.
        iso : float, optional
            Value at the surface; without it 0 for a distance, 0.5 for a density.
        density : bool, optional
            Whether the solid lies above the iso value; without it that of the output's name.
        sharp : bool
            Keeps edges and corners sharp.
        open : bool
            Leaves the surface open where the bounds cut it.
        adaptive : float
            Joins triangles where the surface is flat within this, model units.
        threads : int
            0 for all processors.
        progress : callable, optional

        Returns
        -------
        Mesh
            Without triangles where there is no surface in the bounds.
        """
        options = self._surface_options(bounds, resolution, cell, iso, density, sharp, open, adaptive, threads)
        vertices, faces = self._core.surface(self._output, options, check.progress(progress))
        return _results.Mesh(vertices, faces, self.name)

    def measure(self, bounds=None, *, iso=None, density=None, accuracy=1e-3, threads=0, progress=None):
        """Measures the solid: volume, area, centre of mass, narrowest wall and gap.

        Parameters
        ----------
        bounds, iso, density, threads, progress
            As for `surface`.
        accuracy : float
            Share of volume and area that their error may be.

        Returns
        -------
        Measures
        """
        options = self._surface_options(bounds, 96, None, iso, density, False, False, 0.0, threads)
        share = check.number_within(accuracy, "accuracy", 1e-6, 0.5)
        return Measures(self._core.measure(self._output, options, share, check.progress(progress)))

    def render(self, size=(640, 480), bounds=None, *, direction=None, perspective=False, iso=None, density=None,
               color=None, background="studio", threads=0, progress=None):
        """A shaded picture of the solid, which a notebook shows.

        Parameters
        ----------
        size : (int, int)
            Width and height in pixels.
        bounds : ((x0, y0, z0), (x1, y1, z1)), optional
        direction : str or (3,) array_like, optional
            Where the viewer stands: ``"front"``, ``"back"``, ``"left"``, ``"right"``, ``"top"``, ``"bottom"``,
            ``"iso"`` or a vector.
        perspective : bool
        iso, density
            As for `surface`.
        color : Field, optional
            Colours of the solid, or a scalar to be shown by colours.
        background : {"studio", "transparent"}
        threads : int
        progress : callable, optional

        Returns
        -------
        Picture
        """
        lower, upper = self._box(bounds)
        try:
            width, height = size
        except (TypeError, ValueError):
            raise Error("size", repr(size), "width and height", "write (640, 480)") from None
        width, height = (check.whole(n, "size", 16, 16384) for n in (width, height))
        if background not in ("studio", "transparent"):
            raise Error("background", repr(background), '"studio" or "transparent"', "name one of these")
        paint = None if color is None else as_field(color, "color")
        options = _zrk.RenderOptions(lower, upper, check.optional_number(iso, "iso"),
                                     check.optional_flag(density, "density"), width, height, check.direction(direction), bool(perspective), background,
                                     paint and paint._core, paint._output if paint else 0,
                                     check.whole(threads, "threads", 0, 1024))
        return _results.Picture(self._core.picture(self._output, options, check.progress(progress)))

    def slice(self, axis="z", at=0.5, size=512, bounds=None, *, range=None, progress=None):
        """A cut as a picture: scalars in colours with a line at the surface, vectors and colours as colours.

        Parameters
        ----------
        axis : {"x", "y", "z"}
        at : float
            Where along the axis, 0 to 1 of the bounds.
        size : int
            Pixels along the longer side.
        bounds : ((x0, y0, z0), (x1, y1, z1)), optional
        range : (float, float), optional
            Values at the ends of the colours.
        progress : callable, optional

        Returns
        -------
        Picture
        """
        lower, upper = self._box(bounds)
        if axis not in ("x", "y", "z"):
            raise Error("axis", repr(axis), '"x", "y" or "z"', "name one of these")
        if range is not None:
            range = check.pair(range, "range")
        pixels = self._core.slice(self._output, lower, upper, "xyz".index(axis), check.number_within(at, "at", 0, 1),
                                  check.whole(size, "size", 2, 16384), range, check.progress(progress))
        return _results.Picture(pixels)

    def _repr_png_(self):
        try:
            return self.slice(size=256)._repr_png_()
        except Error:
            return None  # a notebook then shows the text

    @property
    def name(self):
        """Of the output, empty where it has none."""
        return self._core.output_pins[self._output]["name"]

    def __or__(self, other):
        return _combined("minimum", self, other)

    def __ror__(self, other):
        return _combined("minimum", other, self)

    def __and__(self, other):
        return _combined("maximum", self, other)

    def __rand__(self, other):
        return _combined("maximum", other, self)

    def __add__(self, other):
        return _combined("add", self, other)

    def __radd__(self, other):
        return _combined("add", other, self)

    def __sub__(self, other):
        return _combined("subtract", self, other)

    def __rsub__(self, other):
        return _combined("subtract", other, self)

    def __mul__(self, other):
        if np.isscalar(other) and not isinstance(other, str):
            return _component("ZRKMultiply", a=self, multiplier=check.number(other, "multiply"))
        return _combined("multiply", self, other)

    def __rmul__(self, other):
        return self * other if np.isscalar(other) else _combined("multiply", other, self)

    def __neg__(self):
        return self * -1.0

    def __eq__(self, other):
        return isinstance(other, Field) and (self._core, self._output) == (other._core, other._output)

    def __hash__(self):
        return hash((self._core.identity, self._output))

    def __reduce__(self):
        from . import _states
        return _states.restore_field, _states.field_state(self)

    def __repr__(self):
        name = self.name
        return f"<output {self._output}{f' ({name})' if name else ''} of {self.node!r}>"


class _Pins:
    """The pins of a component, by name or index."""

    def __init__(self, node):
        self._node = node

    def _index(self, key):
        names = self._names()
        if isinstance(key, int) and not isinstance(key, bool) and -len(names) <= key < len(names):
            return key % len(names)
        if isinstance(key, str) and key in names:
            return names.index(key)
        if isinstance(key, str) and python_name(key) in map(python_name, names):
            return [python_name(name) for name in names].index(python_name(key))
        shown = ", ".join(f"{i}: {name!r}" for i, name in enumerate(names)) or "none"
        raise Error(f"{self._node._core.place}, {self._kind} {key!r}", "no such pin", shown,
                    "give one of these names, or an index")

    def __len__(self):
        return len(self._names())

    def __iter__(self):
        return (self[i] for i in range(len(self)))

    def keys(self):
        """The names of the pins."""
        return self._names()

    def __repr__(self):
        return f"<{self._kind}s of {self._node!r}: {self._names()}>"


class Outputs(_Pins):
    """The outputs of a component by name or index, each a `Field`."""

    _kind = "output"

    def _names(self):
        return [pin["name"] for pin in self._node._core.output_pins]

    def __getitem__(self, key):
        return Field(self._node._core, self._index(key))


class Inputs(_Pins):
    """What the inputs of a component read, by name or index: a `Field`, or None."""

    _kind = "input"

    def _names(self):
        return [pin["name"] for pin in self._node._core.input_pins]

    def __getitem__(self, key):
        source = self._node._core.source(self._index(key))
        return None if source is None else field_of(*source)

    def __setitem__(self, key, value):
        index = self._index(key)
        core = self._node._core
        if value is None:
            core.connect(index, None, 0)
            return
        pin = core.input_pins[index]
        field = as_field(value, f"{core.place}, input {pin['name']!r}")
        core.connect(index, field._core, field._output)


def _shape(value):
    """As an array; None for what makes none."""
    try:
        return np.shape(value)
    except ValueError:
        return None


def python_name(name):
    """A name of a property or pin as Python writes it: "ring radius" is ring_radius, "pathCurve" path_curve."""
    import keyword
    text = ""
    for i, c in enumerate(name):
        if c.isupper() and i > 0 and name[i - 1].islower():
            text += "_"
        text += c.lower() if c.isalnum() else "_"
    text = text.strip("_")
    if not text:
        return "field"
    if text[0].isdigit():
        text = "_" + text
    return text + "_" if keyword.iskeyword(text) else text


class Node(Field):
    """A component with its properties, as attributes, and its inputs and outputs. Used as a field it is its first
    output. There is a class for each type: see ``zrk.components``.

    Inputs are given in their order or by keyword, properties by keyword, or as attributes later:
    ``node.radius = 0.4``. Names that Python can't write stand in brackets: ``node["ring radius"] = 0.4``.
    """

    __slots__ = ()
    _description = None  # of the type, for the classes made from the registry

    def __init__(self, *inputs, **values):
        description = self._description
        if description is None:
            raise Error(type(self).__name__, "a class that stands for all components", "one of zrk.components",
                        "make a zrk.SphereSDF, for example")
        core = _zrk.Node(description["class"], type(self).__name__)
        Field.__init__(self, core, 0)
        if len(inputs) > len(core.input_pins):
            raise Error(type(self).__name__, f"{len(inputs)} inputs", f"at most {len(core.input_pins)}",
                        self._as_property(inputs[len(core.input_pins)]))
        for i, value in enumerate(inputs):
            tag = core.input_pins[i]["tag"]
            if not isinstance(value, Field) and tag in _SIZES and _shape(value) != _SIZES[tag]:
                raise Error(f"{core.place}, input {i} ({core.input_pins[i]['name']!r})", repr(value),
                            f"a field of the type {tag}, or {_CONSTANTS[tag]}", self._as_property(value))
            self.inputs[i] = value
        self.set(**values)

    @classmethod
    def _as_property(cls, value):
        """What may have been meant by a value that stands where inputs do."""
        size = _shape(value) if isinstance(value, (int, float, list, tuple)) else None
        kinds = {(): ("double", "int"), (3,): ("vector3",)}.get(size, ())
        named = [python_name(row["name"]) for row in cls._description["properties"] if row["type"] in kinds]
        example = f", such as {cls.__name__}({named[0]}={value!r})" if named else ""
        return "inputs come first, in their order; give properties by name" + example

    @property
    def inputs(self):
        """What the inputs read, by name or index; assigned like a dict's items. None unlinks."""
        return Inputs(self)

    @property
    def outputs(self):
        """All outputs by name or index, each a field."""
        return Outputs(self)

    def set(self, *, progress=None, **values):
        """Sets properties and inputs, properties all or none.

        Parameters
        ----------
        progress : callable, optional
            Called with the fraction done, where a component computes what it is given.
        **values
            By name, in Python's form or letter by letter. A field goes to the input of that name, and so does a
            number to an input that isn't a property too.

        Raises
        ------
        Error
            For an unknown name, which lists the nearest, and for a value of another kind.
        """
        stored, used, links = {}, [], []
        for name, value in values.items():
            key, pin, kind = self._find(name, value)
            if key == "import":
                self.import_mesh(value, progress=progress)
            elif key is None:
                links.append((pin, value))
            else:
                stored[key] = _stored(_choice(self._core, key, value) if kind == "enum" else value, kind, used)
        for pin, value in links:
            self.inputs[pin] = value
        if stored:
            self._core.set_values(stored, used, check.progress(progress))

    def _find(self, name, value=None):
        """The stored key, or the index of the input, and the value's kind."""
        names = names_of(self._core)
        entry = names.get(name) if isinstance(name, str) else None
        if entry is None:
            name = str(name)
            shown = sorted({python_name(n) for n in names} & set(names))
            remedy = f"did you mean {_zrk.nearest_names(name, shown, 3)}?" if shown else "leave it out"
            raise Error(f"{self._core.place}, {name!r}", "a name that the component doesn't have",
                        "one of its properties or inputs", remedy)
        key, pin, kind = entry
        if pin is not None and (key is None or isinstance(value, Field)):
            return None, pin, kind
        return key, None, kind

    def import_mesh(self, source, *, fit=None, polygons=None, progress=None):
        """Takes a mesh, its edges or slices, as the component does from files.

        Parameters
        ----------
        source : path-like, list of path-like, or a mesh
            A mesh file, pictures of slices, or a mesh: this module's, of trimesh, pyvista or meshio, or a pair of arrays
            (vertices, faces). A mesh in memory is written beside a document that is saved.
        fit : {"stretch", "uniform", "none"}, optional
            How the mesh meets the component's box: stretched axis by axis, which is the default, scaled by one factor
            and centred, or not at all.
        polygons : {"keep", "split"}, optional
            What becomes of faces of four and more corners of an OBJ file.
        progress : callable, optional
        """
        progress = check.progress(progress)
        options = {key: value for key, value in (("fit", fit), ("polygons", polygons)) if value is not None}
        arrays = None if isinstance(source, (str, os.PathLike)) else _results.mesh_arrays(source)
        if arrays is None and not isinstance(source, (str, os.PathLike, list, tuple)):
            raise Error(f"{self._core.place}, import", f"an object of the type {type(source).__name__}",
                        "a path, a list of paths, or a mesh", "see help(zrk.Node.import_mesh)")
        if arrays is not None:
            with tempfile.TemporaryDirectory() as folder:
                path = os.path.join(folder, "mesh.obj")
                _zrk.write_mesh(path, arrays[0], arrays[1], "", "", None, progress)
                self._core.import_files({"path": path, **options}, options or None, arrays, progress)
            return
        paths = [source] if isinstance(source, (str, os.PathLike)) else list(source)
        paths = [os.path.abspath(check.file_name(path)) for path in paths]
        named = paths[0] if len(paths) == 1 else paths
        entry = {"path": named, **options} if options else named
        self._core.import_files(entry, entry, None, progress)

    __iter__ = None  # values are asked for by name
    __contains__ = None

    def __getitem__(self, name):
        key, pin, kind = self._find(name)
        return self.inputs[pin] if key is None else _shown(self._core, key, kind)

    def __setitem__(self, name, value):
        self.set(**{name: value})

    def __getattr__(self, name):
        if name.startswith("__"):
            raise AttributeError(name)
        if name not in names_of(self._core):
            shown = [n for n in self.__dir__() if not n.startswith("_")]
            raise AttributeError(f"{type(self).__name__!r} has no {name!r}; did you mean "
                                 f"{_zrk.nearest_names(name, shown, 3)}?", name=name, obj=self)
        return self[name]

    def __setattr__(self, name, value):
        if isinstance(getattr(type(self), name, None), property):
            raise AttributeError(f"{name!r} of {type(self).__name__!r} can't be set", name=name, obj=self)
        self.set(**{name: value})

    def __dir__(self):
        return sorted({*super().__dir__(), *(n for n in names_of(self._core) if n.isidentifier())})

    @property
    def values(self):
        """The stored form: all properties by the names that documents have."""
        return self._core.stored()

    def __repr__(self):
        shown = ", ".join(f"{python_name(k)}={v!r}" for k, v in list(self.values.items())[:4])
        return f"<zrk.{type(self).__name__} {shown}>"


_by_class = {}  # class of the library to the class here
_names = {}     # class of the library to its names


def names_of(core):
    """All names that a component takes: (stored key or None, index of an input or None, kind of the value)."""
    known = _names.get(core.class_name)
    if known is not None:
        return known
    names = {}
    inputs = {pin["name"]: i for i, pin in enumerate(core.input_pins)}
    for name, i in inputs.items():
        names[name] = names[python_name(name)] = (None, i, "field")
    description = getattr(_by_class.get(core.class_name), "_description", None)
    if description:
        kinds = {row["name"]: row["type"] for row in description["properties"]}
        for key in {**kinds, **description["stored"]}:
            entry = (key, inputs.get(key), kinds.get(key, "json"))
            for alias in (key, python_name(key), _SPELLINGS.get(key)):
                if alias:
                    names[alias] = entry
        if description["class"] in ("ZRKMeshSDF", "ZRKBeamSDF", "ZRK3DImage"):
            names[_IMPORTS[description["class"]]] = ("import", None, "import")
    if core.class_name:
        _names[core.class_name] = names
    return names


_SPELLINGS = {"mutliply": "multiply"}
_IMPORTS = {"ZRKMeshSDF": "mesh", "ZRKBeamSDF": "mesh", "ZRK3DImage": "slices"}


def _choice(core, key, value):
    """The number of a choice that is given by its label."""
    description = getattr(_by_class.get(core.class_name), "_description", None)
    rows = [row for row in description["manual"]["values"] if row["name"] == key] if description else []
    choices = rows[0]["choices"] if rows else []
    for stored, label, _ in choices:
        if value in (label, stored):
            return stored
    if choices and isinstance(value, str):
        labels = [label for _, label, _ in choices if label]
        raise Error(f"{core.place}, {key!r}", repr(value), "one of " + ", ".join(map(repr, labels)),
                    f"did you mean {_zrk.nearest_names(value, labels, 1)}?")
    return value


def _stored(value, kind, used):
    """A value as documents store it; resources that it names are added to those used."""
    if isinstance(value, Field):
        raise Error("value", repr(value), f"a value of the kind {kind}",
                    "give fields to inputs; freeze a field into a Volume where an array is wanted")
    if kind in ("image2d", "image3d", "geometry"):
        if value is None:
            return None
        resource = _results.as_resource(kind, value)
        used.append(resource)
        return resource.uuid
    if kind == "matrix4":
        matrix = np.asarray(value, float)
        if matrix.shape != (4, 4):
            raise Error("matrix", f"an array of shape {matrix.shape}", "shape (4, 4)",
                        "give rows and columns, the translation in the last column")
        return matrix.T.ravel().tolist()
    if kind == "curve":
        return [list(map(float, point)) + [0] * (3 - len(point)) for point in np.asarray(value, float).tolist()]
    if kind == "json":
        return _with_resources(value, used)
    return value


def _with_resources(value, used):
    """Geometries within a value become the uuids of resources."""
    if isinstance(value, _results._WithResource):
        resource = value._as_resource()
        used.append(resource)
        return resource.uuid
    if isinstance(value, dict):
        return {key: _with_resources(member, used) for key, member in value.items()}
    if isinstance(value, (list, tuple)):
        return [_with_resources(member, used) for member in value]
    return value


def _shown(core, key, kind):
    """A stored value as Python has it."""
    if kind == "import":
        return core.import_source if core.import_source is not None else core.imported
    value = core.value(key)
    if kind == "vector3":
        return tuple(value)
    if kind == "matrix4":
        matrix = np.array(value).reshape(4, 4).T
        matrix.flags.writeable = False
        return matrix
    if kind in ("image2d", "image3d", "geometry"):
        found = [r for r in core.resources if r.uuid == value]
        return _results.Stored(found[0]) if found else None
    return value


def wrapped(core):
    """The component as an object of its class."""
    cls = _by_class.get(core.class_name, Function)
    node = object.__new__(cls)
    Field.__init__(node, core, 0)
    return node


def field_of(core, output):
    """An output as a field: the component itself for its only one."""
    return wrapped(core) if output == 0 and len(core.output_pins) == 1 else Field(core, output)


def constant(value):
    """A field that has one value everywhere.

    Parameters
    ----------
    value : float or (3,) array_like or (4,) array_like
        A number, a vector or a colour.

    Returns
    -------
    Field
        Made of components, so that documents can hold it.

    Examples
    --------
    >>> import zrk
    >>> zrk.constant(2.5)((1, 2, 3)), zrk.constant((1, 0, 2))((1, 2, 3)).tolist()
    (2.5, [1.0, 0.0, 2.0])
    """
    try:
        numbers = np.asarray(value, float)
    except (TypeError, ValueError, OverflowError):
        numbers = np.full(0, np.nan)
    if numbers.size == 0 or not np.isfinite(numbers).all():
        raise Error("value", repr(value), "a finite number, or three or four of them", "give numbers")
    if numbers.shape == ():
        zero = _component("ZRKMultiply", a=_component("ZRKPlaneSDF"), multiplier=0.0)
        return _component("ZRKLevelsetIsoValue", density=zero, levelset_isovalue=float(numbers))
    if numbers.shape == (3,):
        return _component("ZRKVector3CombineComponents", **{n: constant(x) for n, x in zip("xyz", numbers)})
    if numbers.shape == (4,):
        names = ("red", "green", "blue", "alpha")
        return _component("ZRKRGBACombineComponents", **{n: constant(x) for n, x in zip(names, numbers)})
    raise Error("constant", f"an array of shape {numbers.shape}", "a number, three numbers or four",
                "use zrk.field for values that differ from place to place")


def _component(class_name, **values):
    return _by_class[class_name](**values)


def as_field(value, place):
    """A field, or a constant one for numbers."""
    if isinstance(value, Field):
        return value
    if value is not None and not isinstance(value, (str, bytes, bool)):
        try:
            return constant(value)
        except Error as error:
            raise Error(place, error.finding, f"a field, {error.expectation}", error.remedy) from None
    raise Error(place, f"an object of the type {type(value).__name__}", "a field or a number",
                "give a component, an output or a number")


_OPERATORS = {"minimum": ("|", "__ror__"), "maximum": ("&", "__rand__"), "add": ("+", "__radd__"),
              "subtract": ("-", "__rsub__"), "multiply": ("*", "__rmul__")}


def _combined(operation, a, b):
    sign, reflected = _OPERATORS[operation]
    try:
        a, b = as_field(a, f"operator {sign}"), as_field(b, f"operator {sign}")
    except Error:
        # Classes of others may know what to do with a field. One on the left has been asked before.
        if not isinstance(b, Field) and type(b).__module__ not in ("builtins", "numpy") and hasattr(type(b), reflected):
            return NotImplemented
        raise
    return _component("ZRKBinaryOperator", a=a, b=b, op_name=operation)


class Function(Node):
    """A function of Python as a component: see `zrk.field`."""

    __slots__ = ()

    def __init__(self, function, *inputs, coords=None, type="Scalar"):
        if not callable(function):
            raise Error("zrk.field", repr(function), "a function", "give one that takes an array of points")
        if not isinstance(type, str):
            raise Error("zrk.field, type", repr(type), '"Scalar", "Vector3d" or "Color"', "name one of these")
        core = _zrk.Node.function(function, type, len(inputs), getattr(function, "__name__", "function"))
        Field.__init__(self, core, 0)
        if coords is not None:
            self.inputs["coords"] = coords
        for i, value in enumerate(inputs):
            self.inputs[i + 1] = value

    @property
    def function(self):
        """What is called."""
        return self._core.callable

    def __repr__(self):
        return f"<zrk.field {getattr(self.function, '__name__', self.function)!r}>"


def field(function, *inputs, coords=None, type="Scalar"):
    """An own function as a component.

    Parameters
    ----------
    function : callable
        Called with positions, an ndarray of shape (n, 3) with up to 1024 rows, and then the values of each of the
        inputs, of shape (n,) or (n, components). Returns an array of shape (n,), or (n, 3) or (n, 4) for a vector or
        a colour. What it raises comes out of the call that asked for values. It must not edit components.
    *inputs : Field
        Further fields whose values it is given.
    coords : Field, optional
        A vector field whose values are the positions.
    type : {"Scalar", "Vector3d", "Color"}
        What it returns.

    Returns
    -------
    Function
        It computes on the thread that asks for values, as Python runs one thread at a time. Documents can't hold it.

    Examples
    --------
    >>> import numpy as np, zrk
    >>> waves = zrk.field(lambda p: np.sin(9 * p[:, 0]) / 9)
    >>> part = zrk.SphereSDF(radius=0.5) + waves
    >>> round(part((0, 0, 0)), 3)
    -0.5
    """
    return Function(function, *inputs, coords=coords, type=type)

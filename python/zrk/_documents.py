"""Graph documents."""

import warnings as _warnings

from . import _arguments as check
from . import _fields, _results, _zrk
from ._errors import Error


class Document:
    """A graph document: components with ids, and the output that stands for all of them.

    Make one with `load`, `parse` or `new`.

    Examples
    --------
    >>> import zrk
    >>> doc = zrk.Document.new(zrk.SphereSDF(radius=0.8))
    >>> doc[1].radius = 0.4
    >>> doc.output((0, 0, 0))
    -0.4
    """

    def __init__(self, core, output=None):
        self._core = core
        self._nodes = dict(core.release_nodes())
        self._output = core.output
        for text in core.warnings:
            _warnings.warn(text, stacklevel=3)

    @classmethod
    def load(cls, path, *, progress=None):
        """Reads a document with all that it names.

        Parameters
        ----------
        path : path-like
        progress : callable, optional

        Raises
        ------
        Error
            For a document that can't be read whole; what is taken otherwise than its author may think is warned of.
        """
        return cls(_zrk.Document.load(check.file_name(path), check.progress(progress)))

    @classmethod
    def parse(cls, text, name="document.zrk.json", *, progress=None):
        """Reads a document from its text; `name` stands for its file in messages, and relative paths start there."""
        if not isinstance(text, str):
            raise Error("document", f"an object of the type {type(text).__name__}", "text",
                        "call load for a file, or new for a field")
        return cls(_zrk.Document.parse(text, check.file_name(name), check.progress(progress)))

    @classmethod
    def new(cls, field=None, *, bounds=None, unit=None, name="document.zrk.json"):
        """A new document.

        Parameters
        ----------
        field : Field, optional
            Its output; it comes with all components upstream, the first one as node 1.
        bounds : ((x0, y0, z0), (x1, y1, z1)), optional
            The model's bounds, without them those of the field.
        unit : str, optional
            ``"mm"``, for example.
        """
        document = cls(_zrk.Document.create(check.file_name(name)))
        if field is not None:
            field = _fields.as_field(field, "document")
        document.bounds = bounds if bounds is not None else (field.bounds if field is not None
                                                             else ((-1, -1, -1), (1, 1, 1)))
        if unit is not None:
            document.unit = unit
        if field is not None:
            document.output = field
        return document

    @property
    def name(self):
        """The file's name, or what stands for it."""
        return self._core.name

    @property
    def unit(self):
        """The unit of length, empty where there is none."""
        return self._core.unit

    @unit.setter
    def unit(self, unit):
        if not isinstance(unit, str):
            raise Error("unit", repr(unit), "the name of a unit", "give a text such as 'mm'")
        self._core.unit = unit

    @property
    def bounds(self):
        """The model's bounds, where sampling runs unless told otherwise."""
        return self._core.bounds

    @bounds.setter
    def bounds(self, bounds):
        lower, upper = check.box(bounds)
        self._core.set_bounds(lower, upper, list(self._nodes.items()))

    @property
    def output(self):
        """The field that stands for the document, or None. Assigning one adds the components it needs."""
        if self._output is None or self._output[0] not in self._nodes:
            return None
        return _fields.field_of(self._nodes[self._output[0]], self._output[1])

    @output.setter
    def output(self, field):
        if field is None:
            self._output = None
            return
        field = _fields.as_field(field, "output")
        self._output = (self.add(field), field._output)

    def add(self, field):
        """Adds a component with all that it reads; those that are there already stay.

        Returns
        -------
        int
            Its id.
        """
        field = _fields.as_field(field, "document")
        ids = self._ids()
        self._take(field._core, ids)
        return ids[field._core.identity]

    def _ids(self):
        return {core.identity: number for number, core in self._nodes.items()}

    def _take(self, core, ids):
        """Adds what is upstream of a component and has no id yet."""
        new = [each for each in core.upstream() if each.identity not in ids]
        number = max(self._nodes, default=0)
        if number + len(new) > 65534:
            raise Error("document", f"{number + len(new)} nodes", "ids up to 65534", "make another document")
        for each in new:
            if each.callable is not None:
                raise Error(each.place, "an own function", "components, which documents can hold",
                            "sample the field into a volume and give that to an Image3D")
        for number, each in enumerate(new, number + 1):
            self._nodes[number] = each
            ids[each.identity] = number
            self._core.adopt(each, f"{self.name}, node {number} ({each.type_name})")

    def _adopt_links(self):
        """Adds what the nodes have been linked to since."""
        ids = self._ids()
        for core in list(self._nodes.values()):
            for i in range(len(core.input_pins)):
                source = core.source(i)
                if source is not None and source[0].identity not in ids:
                    self._take(source[0], ids)

    def __getitem__(self, number):
        try:
            return _fields.wrapped(self._nodes[number])
        except (KeyError, TypeError):
            ids = ", ".join(map(str, list(self._nodes)[:20])) or "none"
            raise Error(f"{self.name}, node {number!r}", "no such node", f"one of the ids {ids}",
                        "iterate over the document to see its nodes") from None

    def __delitem__(self, number):
        core = self[number]._core
        for other in self._nodes.values():
            for i in range(len(other.input_pins)):
                source = other.source(i)
                if source is not None and source[0].identity == core.identity:
                    other.connect(i, None, 0)
        del self._nodes[number]

    def __contains__(self, number):
        return number in self._nodes

    def __iter__(self):
        return iter(self._nodes)

    def __len__(self):
        return len(self._nodes)

    def items(self):
        """Pairs of id and component."""
        return [(number, self[number]) for number in self._nodes]

    def text(self):
        """The document as it would be written."""
        self._adopt_links()
        return self._core.text(list(self._nodes.items()), self._output)

    def save(self, path, *, progress=None):
        """Writes the document, and beside it what its components were given as arrays. A file that was there stays
        when that fails. Relative paths lead to the same files as before.

        Parameters
        ----------
        path : path-like
        progress : callable, optional
        """
        self._adopt_links()
        self._core.save(check.file_name(path), list(self._nodes.items()), self._output, _results.write_resource,
                        check.progress(progress))

    def __reduce__(self):
        from . import _states
        return _states.restore_document, _states.document_state(self)

    def __repr__(self):
        return f"<zrk.Document {self.name!r} of {len(self)} nodes>"

    def _repr_png_(self):
        return None if self.output is None else self.output._repr_png_()

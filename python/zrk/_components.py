"""A class for each type of component, made from the registry."""

import inspect
import sys

from . import _fields, _zrk

_KINDS = {
    "double": "float", "int": "int", "bool": "bool", "string": "str", "vector3": "(3,) array_like",
    "matrix4": "(4, 4) array_like", "enum": "int", "geometry": "Geometry, mesh or points of a curve",
    "image2d": "Picture or (h, w[, channels]) array_like", "image3d": "Volume or (nz, ny, nx) array_like",
    "curve": "points (key, value[, kind])", "falloff": "dict with start, end and curve",
}
_TAGS = {"Scalar": "float", "Vector3d": "(3,) vector", "Color": "(4,) colour", "Any": "of any type", "None": "no value"}


def class_name(type_class):
    """ZRKSphereSDF is SphereSDF, ZRK2DImageExtrude is Image2DExtrude."""
    name = type_class.removeprefix("ZRK")
    if not name[0].isdigit():
        return name
    number, rest = name[:2], name[2:]
    end = next((i for i, c in enumerate(rest) if i > 0 and c.isupper()), len(rest))
    return rest[:end] + number + rest[end:]


def _default(row):
    value = row["default"]
    return "none" if value is None or value == "" and row["type"] != "string" else repr(value)


def _docstring(description, name):
    lines = [description["description"] or description["title"] or name, "", "Parameters", "----------"]
    for row in description["properties"]:
        lines.append(f"{_fields.python_name(row['name'])} : {_KINDS.get(row['type'], row['type'])}, "
                     f"default {_default(row)}")
        if _fields.python_name(row["name"]) != row["name"]:
            lines.append(f"    In documents \"{row['name']}\".")
    named = {row["name"] for row in description["properties"]}
    for key, value in description["stored"].items():
        if key not in named:
            lines.append(f"{_fields.python_name(key)} : {type(value).__name__}, default {value!r}")
    if description["class"] in _fields._IMPORTS:
        lines += [f"{_fields._IMPORTS[description['class']]} : path, or a mesh in memory",
                  "    What the component takes from files: see `import_mesh`."]
    for pin in description["inputs"]:
        unlinked = {"Coordinates": "the position", "DefaultValue": f"{pin['default']}"}.get(pin["option"], "nothing")
        lines += [f"{_fields.python_name(pin['name'])} : Field, {_TAGS[pin['tag']]}",
                  f"    Input; reads {unlinked} while it is left out."]
    lines += ["", "Notes", "-----"]
    for i, pin in enumerate(description["outputs"]):
        lines.append(f"Output {i}: {pin['name'] or 'without a name'}, {_TAGS[pin['tag']]}.")
    lines += ["", f"In documents the type is \"{description['type']}\" with the UUID {description['uuid']}."]
    return "\n".join(lines).replace("\n----------\n\nNotes", "\n----------\n(none)\n\nNotes")


def _signature(description):
    names = [_fields.python_name(row["name"]) for row in description["properties"]]
    names += [_fields.python_name(key) for key in description["stored"]]
    if description["class"] in _fields._IMPORTS:
        names.append(_fields._IMPORTS[description["class"]])
    names += [_fields.python_name(pin["name"]) for pin in description["inputs"]]
    return inspect.Signature([inspect.Parameter("self", inspect.Parameter.POSITIONAL_ONLY),
                              inspect.Parameter("inputs", inspect.Parameter.VAR_POSITIONAL)] +
                             [inspect.Parameter(n, inspect.Parameter.KEYWORD_ONLY, default=None)
                              for n in dict.fromkeys(names)])


def make_classes():
    """The classes by name, in the order of the registry."""
    classes = {}
    for description in _zrk.describe_types():
        name = class_name(description["class"])

        def __init__(self, *inputs, **values):
            _fields.Node.__init__(self, *inputs, **values)

        __init__.__signature__ = _signature(description)
        made = type(name, (_fields.Node,), {
            "__slots__": (), "__module__": "zrk", "__qualname__": name, "__init__": __init__,
            "__doc__": _docstring(description, name), "_description": description})
        classes[name] = _fields._by_class[description["class"]] = made
    return classes


def nearest(name, classes):
    """A message for a name that the module doesn't have."""
    known = [*classes, *(n for n in vars(sys.modules["zrk"]) if not n.startswith("_"))]
    return f"module 'zrk' has no {name!r}; did you mean {_zrk.nearest_names(name, known, 3)}?"

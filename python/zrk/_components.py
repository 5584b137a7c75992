"""A class for each type of component, made from the registry."""

import inspect
import sys
import textwrap

from . import _fields, _zrk

_KINDS = {
    "double": "float", "int": "int", "bool": "bool", "string": "str", "vector3": "(3,) array_like",
    "matrix4": "(4, 4) array_like", "enum": "int", "geometry": "Geometry, mesh or points of a curve",
    "image2d": "Picture or (h, w[, channels]) array_like", "image3d": "Volume or (nz, ny, nx) array_like",
    "curve": "points (key, value[, kind])", "falloff": "dict with start, end and curve", "list": "list of dicts", "vector4": "(4,) array_like",
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


def _value_lines(row, kind, indent=""):
    """What a value is: name, kind, default, unit, meaning and choices."""
    name = _fields.python_name(row["name"])
    parts = [_KINDS.get(kind, kind)]
    if row["default"]:
        parts.append(f"default {row['default']}")
    lines = [f"{indent}{name} : {', '.join(parts)}"]
    text = []
    if row["meaning"]:
        text.append(row["meaning"])
    if row["unit"]:
        text.append(f"Unit: {'model units' if row['unit'] == 'mu' else row['unit']}.")
    if row["range"]:
        text.append(f"Usual range: {row['range']}.")
    if name != row["name"]:
        text.append(f"In documents \"{row['name']}\".")
    if text:
        lines += textwrap.wrap(" ".join(map(_sentence, text)), 100, initial_indent=indent + "    ",
                               subsequent_indent=indent + "    ")
    for value, label, meaning in row["choices"]:
        shown = f"{value!r}" + (f" ({label})" if label and label != value else "")
        lines.append(f"{indent}    - {shown}" + (f": {meaning}" if meaning else ""))
    return lines


def _sentence(text):
    text = text.strip()
    text = text[:1].upper() + text[1:]
    return text if text.endswith((".", ":")) else text + "."


def _wrapped(text):
    """Paragraphs in lines of 100; code and lists as they are."""
    return ["\n".join(textwrap.wrap(part, 100)) if part[:1].isalnum() and "\n" not in part else part
            for part in text.split("\n\n")]


def _docstring(description):
    manual = description["manual"]
    lines = [_sentence(manual["summary"] or description["description"])]
    if manual["overview"]:
        lines += ["", "\n\n".join(_wrapped(manual["overview"]))]
    lines += ["", "Parameters", "----------"]
    for row in manual["values"]:
        lines += _value_lines(row, row["kind"] + (" of such" if row["is_list"] and row["kind"] != "list" else ""))
        for member in row["members"]:
            lines += _value_lines(member, member["kind"], "        ")
    if description["class"] in _fields._IMPORTS:
        lines += [f"{_fields._IMPORTS[description['class']]} : path, or a mesh in memory",
                  *textwrap.wrap(_sentence(manual["import"] or "what `import_mesh` takes"), 100,
                                 initial_indent="    ", subsequent_indent="    ")]
    for pin, (unit, meaning) in zip(description["inputs"], manual["inputs"]):
        unlinked = {"Coordinates": "the position", "DefaultValue": f"{pin['default']}"}.get(pin["option"], "nothing")
        lines += [f"{_fields.python_name(pin['name'])} : Field, {_TAGS[pin['tag']]}",
                  "    " + _sentence(f"{_sentence(meaning) + ' ' if meaning else ''}Input; reads {unlinked} while it "
                                     "is left out")]
    lines += ["", "Notes", "-----"]
    for i, (pin, (unit, meaning)) in enumerate(zip(description["outputs"], manual["outputs"])):
        lines.append(_sentence(f"Output {i}, {pin['name'] or 'without a name'}: {_TAGS[pin['tag']]}"
                               + (f"; {meaning}" if meaning else "")))
    for text in (manual["formula"], manual["notes"]):
        if text:
            lines += ["", "\n\n".join(_wrapped(text))]
    lines += ["", f"In documents the type is \"{description['type']}\" with the UUID {description['uuid']}."]
    return "\n".join(lines)


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
            "__doc__": _docstring(description), "_description": description})
        classes[name] = _fields._by_class[description["class"]] = made
    return classes


def nearest(name, classes):
    """A message for a name that the module doesn't have."""
    known = [*classes, *(n for n in vars(sys.modules["zrk"]) if not n.startswith("_"))]
    return f"module 'zrk' has no {name!r}; did you mean {_zrk.nearest_names(name, known, 3)}?"

"""Arguments of functions, checked and brought into one form."""

import math
import numbers

import numpy as np

from . import _zrk
from ._errors import Error

_DIRECTIONS = {
    "front": (0, -1, 0), "back": (0, 1, 0), "left": (-1, 0, 0), "right": (1, 0, 0),
    "top": (0, 0, 1), "bottom": (0, 0, -1), "iso": (1, -1, 1),
}


def vector(value, place):
    """Three finite floats."""
    try:
        point = tuple(float(x) for x in value)
    except (TypeError, ValueError):
        point = ()
    if len(point) != 3 or not all(map(math.isfinite, point)):
        raise Error(place, repr(value), "three finite numbers", "write it as (x, y, z)")
    return point


def box(bounds, place="bounds"):
    """The lower and the upper corner, from two opposite ones, ((x0, y0, z0), (x1, y1, z1)) or six numbers."""
    try:
        values = list(bounds)
    except TypeError:
        values = []
    if len(values) == 6:
        values = [values[:3], values[3:]]
    if len(values) != 2:
        raise Error(place, repr(bounds), "two corners", "write them as ((x0, y0, z0), (x1, y1, z1))")
    first, second = (vector(corner, place) for corner in values)
    if any(a == b for a, b in zip(first, second)):
        raise Error(place, f"{first} and {second}", "a box with a volume", "give two opposite corners")
    return tuple(map(min, first, second)), tuple(map(max, first, second))


def whole(value, place, least=1, most=2**31 - 1):
    """A whole number in a range."""
    if isinstance(value, bool) or not isinstance(value, numbers.Integral) or not least <= value <= most:
        raise Error(place, repr(value), f"a whole number from {least} to {most}", f"give one, such as {least}")
    return int(value)


def number(value, place):
    """A finite float."""
    try:
        result = float(value)
    except (TypeError, ValueError):
        result = math.nan
    if not math.isfinite(result):
        raise Error(place, repr(value), "a finite number", "give a number")
    return result


def optional_number(value, place):
    return None if value is None else number(value, place)


def number_within(value, place, least, most=math.inf):
    """A finite float in a range."""
    result = number(value, place)
    if not least <= result <= most:
        expected = f"a number from {least:g}" + (f" to {most:g}" if math.isfinite(most) else " up")
        raise Error(place, repr(value), expected, "give such a number")
    return result


def optional_flag(value, place):
    """True, False or None."""
    if value is None:
        return None
    if not isinstance(value, (bool, np.bool_)):
        raise Error(place, repr(value), "True, False or None", "give one of these")
    return bool(value)


def real_numbers(value, place, axes, expected):
    """An array of real numbers with one of so many axes."""
    try:
        array = np.asarray(value)
    except ValueError:
        raise Error(place, "rows of several lengths", "an array of " + expected, "give rows of one length") from None
    if array.dtype.kind not in "biuf":
        found = f"an object of the type {type(value).__name__}" if array.dtype.kind == "O" else \
            f"an array of type {array.dtype}"
        raise Error(place, found, "an array of real numbers, of " + expected, "give such an array")
    if array.ndim not in axes:
        raise Error(place, f"an array of shape {array.shape}", expected, "reshape the array")
    return array


def rows_of_three(value, place, rows, kinds="iuf"):
    """An array of shape (rows, 3) of numbers of these kinds of NumPy's."""
    array = real_numbers(value, place, (2,), f"shape ({rows}, 3)")
    if array.shape[1] != 3 or array.dtype.kind not in kinds:
        raise Error(place, f"an array of shape {array.shape} and type {array.dtype}",
                    ("numbers" if "f" in kinds else "whole numbers") + f" of shape ({rows}, 3)",
                    "check the array, which may need reshape or astype")
    return array


def pair(value, place):
    """Two finite floats, the lower one first."""
    try:
        numbers = tuple(number(x, place) for x in value)
    except TypeError:
        numbers = ()
    if len(numbers) != 2 or not numbers[0] < numbers[1]:
        raise Error(place, repr(value), "two numbers, the lower one first", "write (low, high)")
    return numbers


def grid(resolution, lower, upper):
    """Nodes along x, y and z: of a number along the longest side, or as they are given."""
    if isinstance(resolution, numbers.Integral) and not isinstance(resolution, bool):
        count = whole(resolution, "resolution", 2)
        sides = [b - a for a, b in zip(lower, upper)]
        longest = max(sides)
        return tuple(max(2, math.floor(count * side / longest + 0.5)) for side in sides)
    try:
        dims = tuple(resolution)
    except TypeError:
        dims = ()
    if len(dims) != 3:
        raise Error("resolution", repr(resolution), "nodes along the longest side, or along x, y and z",
                    "write 128 or (128, 128, 64)")
    return tuple(whole(n, "resolution", 2) for n in dims)


def cells(resolution, cell, lower, upper):
    """Cells along x, y and z."""
    sides = [b - a for a, b in zip(lower, upper)]
    if cell is not None:
        size = number(cell, "cell")
        if size <= 0:
            raise Error("cell", repr(cell), "a number above 0", "give the side of a cell in model units")
        counts = [math.ceil(side / size * (1 - 1e-12)) for side in sides]
    elif isinstance(resolution, numbers.Integral):
        count = whole(resolution, "resolution")
        counts = [math.floor(count * side / max(sides) + 0.5) for side in sides]
    else:
        counts = grid(resolution, lower, upper)
    return tuple(whole(max(1, n), "resolution", 1, 2**31 - 17) for n in counts)


def direction(value):
    """Where the viewer stands: a name or three numbers; None for the default."""
    if value is None:
        return None
    if isinstance(value, str):
        if value not in _DIRECTIONS:
            raise Error("direction", repr(value), "a direction",
                        f"did you mean {_zrk.nearest_names(value, list(_DIRECTIONS), 3)}?")
        return tuple(float(x) for x in _DIRECTIONS[value])
    result = vector(value, "direction")
    if not any(result):
        raise Error("direction", repr(value), "a direction", "give a vector that isn't 0")
    return result


def progress(value):
    """A function to call, or None."""
    if value is not None and not callable(value):
        raise Error("progress", repr(value), "a function of the fraction done", "give one, or None")
    return value


def file_name(path):
    """A path as text."""
    import os
    try:
        text = os.fspath(path)
    except TypeError:
        text = ""
    if not text:
        raise Error("path", repr(path), "a path", "give the name of a file")
    return os.fsdecode(text)

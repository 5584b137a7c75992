"""Fields over space, made of components.

A component such as `SphereSDF` or `Gyroid` is a field: call it with positions, combine it with others, turn it into a
volume, a mesh or a picture. ``zrk.components`` has all classes by name; ``help(zrk.Gyroid)`` tells one's properties.

Examples
--------
>>> import numpy as np, zrk
>>> part = zrk.SphereSDF(radius=0.8) | zrk.Gyroid(coords=zrk.TwistTransform(angle=60), contour=-0.5)
>>> part(np.zeros((1, 3))).shape
(1,)
"""

import atexit as _atexit
import os as _os
import threading as _threading

from . import _components, _zrk
from ._documents import Document
from ._errors import Error
from ._fields import Field, Function, Measures, Node, constant, field
from ._results import Curve, Geometry, Mesh, Picture, Volume

_zrk.begin_on_main_thread(_threading.main_thread().ident)
_os.register_at_fork(after_in_child=lambda: _zrk.begin_on_main_thread(_threading.get_ident()))

_atexit.register(_zrk.end_all)

components = _components.make_classes()
globals().update(components)

__all__ = ["Curve", "Document", "Error", "Field", "Function", "Geometry", "Measures", "Mesh", "Node", "Picture",
           "Volume", "components", "constant", "field", *components]


def __getattr__(name):
    for known in components.values():
        if name == known._description["class"]:
            return known
    raise AttributeError(_components.nearest(name, components), name=name)


def __dir__():
    return sorted({*globals(), *__all__})

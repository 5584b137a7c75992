"""A field of one's own: a hyperboloid by NumPy, combined with components."""

import numpy as np

import zrk


def hyperboloid(points):
    """About the distance to x^2 + y^2 - z^2 = 0.1, by the value over the gradient's length."""
    x, y, z = points.T
    value = x * x + y * y - z * z - 0.1
    return value / np.sqrt(4 * (x * x + y * y + z * z) + 1e-12)


vase = zrk.Shell(zrk.field(hyperboloid), inner_thickness=0.04, outer_thickness=0.04)
part = vase & zrk.BoxSDF(center=(0, 0, 0), dimensions=(2, 2, 1.6))
mesh = part.surface(((-1.2, -1.2, -1.2), (1.2, 1.2, 1.2)), 48)
print("closed:", mesh.report()["is_closed"], "area:", round(mesh.report()["area"], 1))

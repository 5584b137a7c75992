"""A field on the points of a pyvista mesh, to be shown there by colours."""

import sys

import zrk

try:
    import pyvista
except ImportError:
    print("skipped: needs pyvista (pip install pyvista)")
    sys.exit(77)

mesh = pyvista.Sphere(radius=0.7)
mesh["gyroid"] = zrk.Gyroid(coords=zrk.AffineTransform(scaling=(0.1, 0.1, 0.1)))(mesh.points)
print("range on the mesh:", mesh["gyroid"].min(), mesh["gyroid"].max())
# mesh.plot(scalars="gyroid") shows it.

"""A lattice that is denser near a curve: the thickness of a shell is a field too."""

import numpy as np

import zrk

t = np.linspace(0, 2 * np.pi, 40)
wire = zrk.Curve(np.stack((0.6 * np.cos(t), 0.6 * np.sin(t), 0.3 * np.sin(2 * t)), -1), closed=True, smooth=True)
near = zrk.GeometryBlend(geometries=wire, falloff_params={"start": 0.0, "end": 0.8, "curve": "smooth"})
gyroid = zrk.Gyroid(coords=zrk.AffineTransform(scaling=(0.08, 0.08, 0.08)))
lattice = zrk.Shell(gyroid, thickness=0.3 + near, inner_thickness=0.4, outer_thickness=0.4)
values = lattice(np.random.default_rng(2).uniform(-1, 1, (100_000, 3)))
print("share of material:", round(float(np.mean(values < 0)), 2))

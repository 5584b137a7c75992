"""Density by number: the iso value at which a gyroid fills a wanted share of space.

One set of samples is enough, as the share below a value is a quantile of them.
"""

import numpy as np

import zrk

WANTED = 0.35

gyroid = zrk.Gyroid(coords=zrk.AffineTransform(scaling=(0.15, 0.15, 0.15)))
values = gyroid.volume(resolution=96).values
iso = float(np.quantile(values, WANTED))
solid = zrk.LevelsetIsoValue(gyroid, levelset_isovalue=iso, invert_interior=True)  # a distance: below is inside
measured = solid.measure(accuracy=0.01)
print(f"iso value {iso:.4f} gives the fraction {measured.fraction:.3f}")
assert abs(measured.fraction - WANTED) < 0.01

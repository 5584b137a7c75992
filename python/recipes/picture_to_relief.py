"""A picture becomes a relief: its brightness moves a plane."""

import numpy as np

import zrk

y, x = np.mgrid[0:1:200j, 0:1:200j]
picture = (255 * np.exp(-30 * ((x - 0.5) ** 2 + (y - 0.5) ** 2))).astype(np.uint8)
height = zrk.ScalarImageSampler(image=picture, wrap=False)
relief = zrk.PlaneSDF() - height * 0.2
mesh = relief.surface(((0, 0, -0.1), (1, 1, 0.4)), 64)
print("highest point:", round(float(mesh.vertices[:, 2].max()), 2))

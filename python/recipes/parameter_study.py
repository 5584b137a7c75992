"""Parameter study: how the volume and the area of a part depend on a property.

Only the property changes in the loop; the field follows it.
"""

import numpy as np

import zrk

ball = zrk.SphereSDF(radius=0.5)
part = ball & zrk.Shell(zrk.Gyroid(coords=zrk.AffineTransform(scaling=(0.1, 0.1, 0.1))), inner_thickness=0.3,
                        outer_thickness=0.3)
points = np.random.default_rng(0).uniform(-1, 1, (200_000, 3))

print("radius  volume (of random points)")
for radius in np.linspace(0.3, 0.9, 4):
    ball.radius = radius
    inside = np.mean(part(points) < 0)
    print(f"{radius:6.2f}  {8 * inside:.3f}")

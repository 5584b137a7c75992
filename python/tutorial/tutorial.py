"""A tour of `import zrk`, from a first part to a saved document. Run it and read along: what it prints stands beside
each step in python/tutorial/tutorial.txt, which the tests compare it with.
"""

import pathlib
import sys
import tempfile

import numpy as np

import zrk

folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else tempfile.mkdtemp())

# 1. A component is a field: call it with positions. A distance is negative inside.
ball = zrk.SphereSDF(radius=0.8)
print("1 ball:", ball((0, 0, 0)), ball([[0.8, 0, 0], [2, 0, 0]]).round(12))

# 2. Components read others. This gyroid sees space through a twist of 60 degrees for each unit of length.
twisted = zrk.Gyroid(coords=zrk.TwistTransform(angle=60), contour=-0.5)
print("2 twisted:", round(twisted((0.2, 0.1, 0.3)), 6))

# 3. Fields combine: | joins distances, & cuts them, and numbers stand where a field may.
part = ball | twisted
shell = zrk.Shell(part, inner_thickness=0.02, outer_thickness=0.02)
print("3 part:", round(part((0.9, 0, 0)), 6), "shell:", round(shell((0.9, 0, 0)), 6))

# 4. Properties are attributes, and fields always show them as they are now.
points = np.random.default_rng(1).uniform(-1, 1, (1000, 3))
for radius in (0.6, 0.7, 0.8):
    ball.radius = radius
    print(f"4 radius {radius}: {np.mean(part(points) < 0):.3f} of the points are inside")

# 5. A grid of values, a surface, a picture. Without bounds they are (-1, -1, -1) to (1, 1, 1).
volume = part.volume(resolution=32)
mesh = part.surface(resolution=48)
report = mesh.report()
print("5 volume:", volume.values.shape, "mesh:", "clean" if report["is_clean"] else "faulty")
mesh.save(folder / "part.3mf", unit="millimeter")
part.render(size=(320, 240)).save(folder / "part.png")

# 6. How much material is that?
measures = part.measure(accuracy=0.01)
print(f"6 fraction of the bounds: {measures.fraction:.2f}")

# 7. Own functions are components too. They are called with blocks of points.
waves = zrk.field(lambda p: 0.05 * np.sin(20 * p[:, 2]))
print("7 with waves:", round((ball + waves)((0.8, 0, 0.1)), 6))

# 8. Arrays become pictures, volumes, meshes and curves that components read.
ramp = np.linspace(0, 255, 64 * 64).reshape(64, 64).astype(np.uint8)
relief = zrk.ScalarImageSampler(image=ramp, wrap=False)
helix = np.linspace(0, 4 * np.pi, 80)
curve = zrk.Curve(np.stack((np.cos(helix), np.sin(helix), helix / 10), -1), smooth=True)
wire = zrk.LevelsetIsoValue(zrk.GeometryBlend(geometries=curve), levelset_isovalue=0.45)  # 0.05 around the curve
print("8 relief:", round(relief((0.5, 0.5, 0)), 3), "wire:", round(wire((1, 0, 0)), 6))

# 9. A field is saved as a document, with its pictures and meshes beside it; the command line reads it.
document = zrk.Document.new(part | wire, unit="mm")
document.save(folder / "part.zrk.json")
again = zrk.Document.load(folder / "part.zrk.json")
print("9 saved:", len(again), "nodes;", "the same" if (again.output(points) == document.output(points)).all() else "no")

# 10. Mistakes say where they are and what to do.
try:
    zrk.SphereSDF(radus=1)
except zrk.Error as error:
    print("10", error)

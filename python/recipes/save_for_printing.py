"""From a field to a file for the printer: a closed mesh in millimetres, checked."""

import pathlib
import sys
import tempfile

import zrk

folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else tempfile.mkdtemp())
part = zrk.BoxSDF(center=(0, 0, 0), dimensions=(30, 20, 10), radius=2) - zrk.constant(0.5)  # half a millimetre more
mesh = part.surface(((-20, -15, -10), (20, 15, 10)), cell=0.8, sharp=True)
report = mesh.report()
assert report["is_clean"], report
mesh.save(folder / "part.3mf", unit="millimeter")
print(f"{report['triangles']} triangles, {report['volume'] / 1000:.2f} cm^3")

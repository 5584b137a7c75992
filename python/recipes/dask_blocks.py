"""A volume that doesn't fit into memory, in blocks by Dask. Fields can be pickled, so that the blocks may be computed
in other processes or on other machines too."""

import sys

import numpy as np

import zrk

try:
    import dask.array as da
except ImportError:
    print("skipped: needs Dask (apt-get install python3-dask)")
    sys.exit(77)

part = zrk.SphereSDF(radius=0.8) | zrk.Gyroid(coords=zrk.TwistTransform(angle=60), contour=-0.5)
n = 128
axis = np.linspace(-1, 1, n)


def block(block_info=None):
    ranges = block_info[None]["array-location"]
    z, y, x = (axis[a:b] for a, b in ranges)
    return part(np.stack(np.meshgrid(z, y, x, indexing="ij")[::-1], -1))


values = da.map_blocks(block, chunks=((64, 64),) * 3, dtype=float, meta=np.empty((0, 0, 0)))
print("share inside:", round(float((values < 0).mean().compute()), 3))

"""A volume that doesn't fit into memory, in blocks by Dask. Fields can be pickled, so that the blocks are computed in
other processes, here, or, with the address of a scheduler, on other machines: `dask_blocks.py tcp://host:8786`."""

import sys

import numpy as np

import zrk

try:
    import dask.array as da
    from distributed import Client, LocalCluster
except ImportError:
    print("skipped: needs Dask (apt-get install python3-dask python3-distributed)")
    sys.exit(77)

part = zrk.SphereSDF(radius=0.8) | zrk.Gyroid(coords=zrk.TwistTransform(angle=60), contour=-0.5)
n = 128
axis = np.linspace(-1, 1, n)


def points(z, y, x):
    return np.stack(np.meshgrid(z, y, x, indexing="ij")[::-1], -1)


def block(block_info=None):
    ranges = block_info[None]["array-location"]
    return part(points(*(axis[a:b] for a, b in ranges)))


def main():
    values = da.map_blocks(block, chunks=((64, 64),) * 3, dtype=float, meta=np.empty((0, 0, 0)))
    address = next((argument for argument in sys.argv[1:] if "://" in argument), None)
    with Client(address or LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None)):
        print("share inside:", round(float((values < 0).mean().compute()), 3))
        # A block is computed where it is needed; its numbers are those of the field.
        corner = values.blocks[1, 0, 0].compute()
    print("same numbers:", np.array_equal(corner, part(points(axis[64:], axis[:64], axis[:64]))))


if __name__ == "__main__":
    main()

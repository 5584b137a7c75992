"""A study over many documents in several processes: fields and documents can be pickled."""

from concurrent.futures import ProcessPoolExecutor

import zrk


def volume_of(field):
    return field.measure(accuracy=0.01).volume


if __name__ == "__main__":
    fields = [zrk.SphereSDF(radius=r) | zrk.BoxSDF(center=(0, 0, 0), dimensions=(1, 1, 1)) for r in (0.4, 0.6, 0.8)]
    with ProcessPoolExecutor(2) as pool:
        print("volumes:", [round(v, 2) for v in pool.map(volume_of, fields)])

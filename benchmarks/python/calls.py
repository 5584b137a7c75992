"""What calls from Python cost, beside their goals.

    PYTHONPATH=build/release/python python3 benchmarks/python/calls.py build/release/bin/python_points_time

Without the program the comparison with C++ is left out. Medians; times with C++ alternate in one run.
"""

import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

import zrk

EXAMPLE = pathlib.Path(__file__).resolve().parents[2] / "examples" / "sphere_and_twisted_gyroid.zrk.json"


def microseconds(call, times):
    """The median of eleven groups of calls."""
    call()
    groups = []
    for _ in range(11):
        begun = time.perf_counter()
        for _ in range(times):
            call()
        groups.append((time.perf_counter() - begun) / times * 1e6)
    return statistics.median(groups)


def show(name, value, unit, goal):
    print(f"{name:<48} {value:9.2f} {unit:<3}  goal {goal:g}  {'' if value <= goal else 'MISSED'}")


def ratio_to_cpp(program, field):
    points = np.random.default_rng(1).uniform(-1.5, 1.5, (1_000_000, 3))
    expected = field(points)
    with tempfile.NamedTemporaryFile() as file:
        points.tofile(file)
        file.flush()
        with subprocess.Popen([program, EXAMPLE, file.name], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              text=True) as cpp:
            def once():
                print(file=cpp.stdin, flush=True)
                seconds, total = map(float, cpp.stdout.readline().split())
                assert abs(total - expected.sum()) < 1e-6 * abs(total)
                return seconds

            ratios, mine = [], []
            for _ in range(25):
                begun = time.perf_counter()
                values = field(points)
                mine.append(time.perf_counter() - begun)
                ratios.append(mine[-1] / once())
                assert np.array_equal(values, expected)
            cpp.stdin.close()
    print(f"  1 M points: {statistics.median(mine) * 1e3:.1f} ms")
    return statistics.median(ratios)


def main():
    document = zrk.Document.load(EXAMPLE)
    field, points = document.output, np.random.default_rng(0).uniform(-1.5, 1.5, (1000, 3))
    one, gyroid, values = np.zeros((1, 3)), document[2], iter(np.linspace(0, 1, 10**6))

    def change():
        gyroid.contour = next(values)
        document.output(points)

    show("probe of one point, array", microseconds(lambda: field(one), 2000), "us", 20)
    show("probe of one point, tuple", microseconds(lambda: field((0, 0, 0)), 2000), "us", 20)
    show("1,000 points", microseconds(lambda: field(points), 200), "us", 100)
    show("changed property and 1,000 points", microseconds(change, 200), "us", 100)
    if len(sys.argv) > 1:
        unchanged = zrk.Document.load(EXAMPLE).output
        show("1 M points, time over that of C++", ratio_to_cpp(sys.argv[1], unchanged), "x", 1.05)


if __name__ == "__main__":
    main()

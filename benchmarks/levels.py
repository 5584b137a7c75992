#!/usr/bin/env python3
"""Compares builds of a benchmark program for different processors.

  benchmarks/levels.py [--rounds N] [--filter REGEX] BASELINE PROGRAM...

The programs take turns, N rounds of them. Prints for each entry the shortest time of BASELINE and the ratios of the others' to it, and
at the end the ratios' geometric means. For example, for what -march=native would gain over the packages' code:

  cmake --preset packages -DZRK_BENCHMARKS=ON && ninja -C build/packages bench_engine bench_engine_v4
  cmake --preset benchmark && ninja -C build/release bench_engine
  benchmarks/levels.py build/release/bin/bench_engine build/packages/bin/bench_engine_v4 build/packages/bin/bench_engine
"""
import argparse
import json
import math
import pathlib
import subprocess
import tempfile


def times(program, pattern, least):
    """Nanoseconds of processor time of each entry in one run, of which others on the machine take nothing."""
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder, "out.json")
        subprocess.run([program, f"--benchmark_out={out}", "--benchmark_out_format=json", f"--benchmark_filter={pattern}",
                        f"--benchmark_min_time={least}"], check=True, stdout=subprocess.DEVNULL)
        entries = json.loads(out.read_text())["benchmarks"]
    unit = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
    found = {}
    for entry in entries:
        if entry.get("run_type") != "aggregate" and not entry.get("error_occurred"):
            name = entry.get("run_name", entry["name"])
            found[name] = min(found.get(name, math.inf), entry["cpu_time"] * unit[entry["time_unit"]])
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--filter", default=".")
    parser.add_argument("--least", default="0.05", help="seconds that an entry is measured for at least")
    parser.add_argument("programs", nargs="+")
    arguments = parser.parse_args()
    best = [{} for _ in arguments.programs]
    for _ in range(arguments.rounds):
        for known, program in zip(best, arguments.programs):
            for name, time in times(program, arguments.filter, arguments.least).items():
                known[name] = min(known.get(name, math.inf), time)
    names = [name for name in best[0] if all(name in known for known in best)]
    width = max(map(len, names))
    for name in names:
        ratios = "".join(f" {known[name] / best[0][name]:7.3f}" for known in best[1:])
        print(f"{name:{width}} {best[0][name] / 1e6:10.3f} ms{ratios}")
    means = [math.exp(sum(math.log(known[name] / best[0][name]) for name in names) / len(names)) for known in best[1:]]
    print(f"{'geometric mean':{width}} {'':13}" + "".join(f" {mean:7.3f}" for mean in means))


if __name__ == "__main__":
    main()

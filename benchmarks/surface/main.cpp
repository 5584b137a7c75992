#include "benchmarks/surface/surface_benchmarks.h"

#include <cstdio>
#include <exception>
#include <string>

int main(int argc, char** argv)
{
    const std::string peakOption = "--peak-memory-of-surface=";
    try {
        if (argc == 2 && std::string(argv[1]).starts_with(peakOption)) {
            zrk::bench::printPeakMemoryOfSurface(argv[1] + peakOption.size());
            return 0;
        }
        std::vector<zrk::bench::Row> rows = zrk::bench::registerSurfaces();
        const std::vector<zrk::bench::Row> quality = zrk::bench::registerQuality();
        rows.insert(rows.end(), quality.begin(), quality.end());
        return zrk::bench::run(argc, argv, rows);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_surface: %s\n", failure.what());
        return 1;
    }
}

#include "benchmarks/raster/blur_benchmarks.h"
#include "benchmarks/raster/lookup_benchmarks.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const std::string peakOption = "--peak-memory-of-blur=";
    if (argc == 2 && std::string(argv[1]).starts_with(peakOption)) {
        zrk::bench::printPeakMemoryOfBlur(std::atoi(argv[1] + peakOption.size()));
        return 0;
    }
    try {
        std::vector<zrk::bench::Row> rows = zrk::bench::registerLookups();
        for (const zrk::bench::Row& row : zrk::bench::registerBlurs()) {
            rows.push_back(row);
        }
        return zrk::bench::run(argc, argv, rows);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_raster: %s\n", failure.what());
        return 1;
    }
}

#include "benchmarks/engine/engine_benchmarks.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

int main(int argc, char** argv)
{
    const std::string peakOption = "--peak-memory-of-raster=";
    if (argc == 2 && std::string(argv[1]).starts_with(peakOption)) {
        zrk::bench::printPeakMemoryOfRaster(std::atoi(argv[1] + peakOption.size()));
        return 0;
    }
    try {
        std::vector<zrk::bench::Row> rows = zrk::bench::registerChains();
        for (const auto& part : {zrk::bench::registerJobs(), zrk::bench::registerBounds()}) {
            rows.insert(rows.end(), part.begin(), part.end());
        }
        return zrk::bench::run(argc, argv, rows);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_engine: %s\n", failure.what());
        return 1;
    }
}

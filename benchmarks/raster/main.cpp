#include "benchmarks/raster/lookup_benchmarks.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv)
{
    try {
        return zrk::bench::run(argc, argv, zrk::bench::registerLookups());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_raster: %s\n", failure.what());
        return 1;
    }
}

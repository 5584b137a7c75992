#include "benchmarks/raster/blur_benchmarks.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

int main(int argc, char** argv)
{
    const std::string peakOption = "--peak-memory-of-blur=";
    if (argc == 2 && std::string(argv[1]).starts_with(peakOption)) {
        zrk::bench::printPeakMemoryOfBlur(std::atoi(argv[1] + peakOption.size()));
        return 0;
    }
    try {
        return zrk::bench::run(argc, argv, zrk::bench::registerBlurs());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench_raster: %s\n", failure.what());
        return 1;
    }
}

#include "benchmarks/peak_memory.h"

#include "benchmarks/comparison.h"
#include "benchmarks/engine/chains.h"
#include "benchmarks/engine/engine_benchmarks.h"
#include "core/engine/rasterize.h"

#include <string>

namespace zrk::bench {

void printPeakMemoryOfRaster(int n)
{
    Image image;
    rasterizeField(TwistedGyroid{}.field(kernel), cube(n), image, nullptr, 1);
    printPeakMemory();
}

double peakMemoryOfRaster(int n) { return peakMemoryOfCall("--peak-memory-of-raster=" + std::to_string(n)); }

} // namespace zrk::bench

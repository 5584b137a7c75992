#pragma once

#include "benchmarks/report.h"
#include "frame/values/raster.h"
#include "frame/values/region.h"

#include <vector>

namespace zrk::bench {

using Grid = Region<3, 3, double, 1>;
using Image = Raster<1, 3, double>;

/// n nodes an axis over [-1.5, 1.5].
inline Grid cube(int n) { return Grid({-1.5, -1.5, -1.5}, {1.5, 1.5, 1.5}, n, n, n); }

/// The three chains in each variant. Compares their results first; throws std::runtime_error when
/// they differ. Returns the rows of the table.
std::vector<Row> registerChains();

/// Whole rasters, memory, threads, single points, long and shared chains.
std::vector<Row> registerJobs();

/// Prints the most memory in bytes that this process has held, after one raster of n nodes an
/// axis. For a process of its own.
void printPeakMemoryOfRaster(int n);

/// The same, measured in such a process. Throws std::runtime_error when it can't be had.
double peakMemoryOfRaster(int n);

} // namespace zrk::bench

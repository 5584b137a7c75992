#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

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

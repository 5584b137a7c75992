#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Measures the three chains in each variant and returns the rows of the table. It compares their results
/// first and throws std::runtime_error if they differ.
std::vector<Row> registerChains();

/// Measures whole rasters, memory, threads, single points, and long and shared chains.
std::vector<Row> registerJobs();

/// Measures bounds over boxes, one by one and many together, and samples of a field simplified for boxes.
/// Throws std::runtime_error if simplified values differ.
std::vector<Row> registerBounds();

/// Computes one raster with n nodes along each axis and prints the most memory, in bytes, that this process
/// has held. For a process of its own.
void printPeakMemoryOfRaster(int n);

/// Returns that number, measured in such a process. Throws std::runtime_error if there is none.
double peakMemoryOfRaster(int n);

} // namespace zrk::bench

#pragma once

#include "benchmarks/report.h"

#include <string>
#include <vector>

namespace zrk::bench {

/// Measures surfaces against sampling the whole grid and, where it is installed, OpenVDB. As all functions
/// here, it checks that the surfaces are sound first, throws std::runtime_error if they aren't, and returns
/// the rows of the table.
std::vector<Row> registerSurfaces();

/// Measures errors, thinning, threads and memory.
std::vector<Row> registerQuality();

/// Prints the most memory that the process held while it made a surface, then the size of the mesh:
/// "SHAPE,N".
void printPeakMemoryOfSurface(const std::string& shapeAndCells);

} // namespace zrk::bench

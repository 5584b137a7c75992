#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Measures lattices of beams against the best-first search and against asking every beam. As all functions
/// here, it compares results first, throws std::runtime_error if they differ, and returns the rows of the
/// table.
std::vector<Row> registerBeams();

/// Measures distance fields of meshes against the exact search and, where they are installed, Embree and
/// CGAL.
std::vector<Row> registerMeshFields();

/// Measures reading a large OBJ file.
std::vector<Row> registerObjReading();

} // namespace zrk::bench

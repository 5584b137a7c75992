#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Lattices of beams against the best-first search and against asking every beam. As all of these, compares
/// results first, throws std::runtime_error when they differ, and returns the rows of the table.
std::vector<Row> registerBeams();

/// Distance fields of meshes against the literal search and, where they are installed, Embree and CGAL.
std::vector<Row> registerMeshFields();

/// Reading a large OBJ file.
std::vector<Row> registerObjReading();

} // namespace zrk::bench

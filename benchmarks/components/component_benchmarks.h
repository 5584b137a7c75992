#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Measures formulas of single components against one fused loop, and the gradient against its own field.
/// Throws std::runtime_error if their results differ.
std::vector<Row> registerPointwise();

/// Measures closest points on long curves, and key-point curves of many points.
std::vector<Row> registerCurves();

} // namespace zrk::bench

#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Formulas of single components over one fused loop, and the gradient over the field it is of.
/// Throws std::runtime_error when their results differ.
std::vector<Row> registerPointwise();

/// Closest points on long curves, and key-point curves of many points.
std::vector<Row> registerCurves();

} // namespace zrk::bench

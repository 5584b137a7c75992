#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Measures reading a volume through the component of stacks, and returns the rows of the table. It first
/// compares the values with the plain sum, sample by sample, and throws std::runtime_error if they differ.
std::vector<Row> registerLookups();

} // namespace zrk::bench

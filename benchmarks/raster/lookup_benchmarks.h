#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Reading a volume through the component of stacks. Compares its values with the plain sum, sample by
/// sample, first; throws std::runtime_error when they differ. Returns the rows of the table.
std::vector<Row> registerLookups();

} // namespace zrk::bench

#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Freezing a field and blurring it. Compares the ways' results first; throws std::runtime_error when they
/// differ. Returns the rows of the table.
std::vector<Row> registerBlurs();

/// Prints the most memory in bytes that this process has held, after one volume of n nodes an axis
/// was frozen and blurred. For a process of its own.
void printPeakMemoryOfBlur(int n);

} // namespace zrk::bench

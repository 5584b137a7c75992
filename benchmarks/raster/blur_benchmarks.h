#pragma once

#include "benchmarks/report.h"

#include <vector>

namespace zrk::bench {

/// Measures freezing a field and blurring it, and returns the rows of the table. It compares the results of
/// the different ways first and throws std::runtime_error if they differ.
std::vector<Row> registerBlurs();

/// Freezes and blurs one volume with n nodes along each axis and prints the most memory, in bytes, that this
/// process has held. For a process of its own.
void printPeakMemoryOfBlur(int n);

} // namespace zrk::bench

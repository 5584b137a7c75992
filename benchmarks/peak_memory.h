#pragma once

#include <string>

namespace zrk::bench {

/// Prints the most memory in bytes that this process has held since its program was started.
void printPeakMemory();

/// The same of a process of its own: this program, called with the one argument, must end by printing it.
/// Throws std::runtime_error when it can't be had.
double peakMemoryOfCall(const std::string& argument);

} // namespace zrk::bench

#pragma once

#include <string>

namespace zrk::bench {

/// Prints the most memory, in bytes, that this process has held since its program was started.
void printPeakMemory();

/// Starts this program once more with the one argument and returns the number that it prints, which must be
/// the most memory in bytes that it held. Throws std::runtime_error if there is no such number.
double peakMemoryOfCall(const std::string& argument);

} // namespace zrk::bench

#pragma once

#include <string>

namespace zrk {

/// @{ Bytes that the program may have in all; infinite until it is set. Safe to use from many threads.
double memoryBudget();
void setMemoryBudget(double bytes);
/// @}

/// Bytes that the program has now, copies of files not among them; 0 where the system doesn't tell.
double memoryInUse();

/// Throws a FaultError of the kind FailedWork if so many bytes more would exceed the budget: for what asks
/// for much at once, before it does.
///
/// @param place   what asks, for the message.
/// @param found   the number that makes it so much, such as `4096 x 4096 x 65535 cells`.
/// @param remedy  what to lower.
void checkMemory(double bytes, const std::string& place, const std::string& found, const std::string& remedy);

/// A size as messages have it, such as "1.5 GiB".
std::string shownBytes(double bytes);

} // namespace zrk

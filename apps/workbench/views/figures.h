#pragma once

#include <QString>

namespace zrkworkbench {

/// A number as readouts show it: with so many decimals, a true minus, and by a power of ten where that would
/// show nothing or too much of it.
QString figure(double value, int decimals = 4);
/// The decimals with which numbers up to a size show three digits.
int decimalsFor(double largest);

} // namespace zrkworkbench

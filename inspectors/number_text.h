#pragma once

#include "core/values/export.h"

#include <QString>

#include <optional>

namespace zrkui {

/// The number that a text stands for: digits, or an expression of + - * / ^ ( ), sqrt(x), pi and e, such as
/// "2*pi"; also with the signs × · ÷ √ π, and ** for ^. Nothing for any other text, and for one whose value
/// isn't finite. There are no sines, whose angles would be degrees to some and radians to others.
std::optional<double> numberFromText(const QString& text);
/// Why a text stands for no number, as the rest of a sentence that begins with it: "doesn't end", "has \"x\"
/// where a number belongs". Empty for one that does.
QString numberFault(const QString& text);

/// A number as fields show it: without zeros at the end, with a true minus, by powers of ten where so many
/// decimals don't suit it. "nan", "inf" and "−inf" are themselves.
ZRK_API QString textOfNumber(double value, int decimals);
/// A finite number by a power of ten, with so many digits before it, at least one.
ZRK_API QString shortTextOfNumber(double value, int digits);

} // namespace zrkui

// The numbers that panels take, which may be expressions.

#include "inspectors/number_text.h"

#include <cmath>
#include <cstdint>

/// A text is a finite number or none, and what a field shows of a number reads as that number, as far as
/// shown.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const auto value = zrkui::numberFromText(text);
    if (!value) {
        return 0;
    }
    if (!std::isfinite(*value)) {
        __builtin_trap();
    }
    if (std::abs(*value) > 1e307) {
        return 0; // may be rounded to more than there is
    }
    for (const int decimals : {0, 2, 6}) {
        const auto shown = zrkui::numberFromText(zrkui::textOfNumber(*value, decimals));
        if (!shown ||
            !(std::abs(*shown - *value) <= 0.51 * std::pow(10.0, -decimals) + 1e-3 * std::abs(*value))) {
            __builtin_trap();
        }
    }
    return 0;
}

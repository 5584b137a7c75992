#include "apps/workbench/views/figures.h"

#include "inspectors/number_text.h"

#include <algorithm>
#include <cmath>

namespace zrkworkbench {

QString figure(double value, int decimals)
{
    const double size = std::abs(value);
    if (!std::isfinite(value)) {
        return zrkui::textOfNumber(value, decimals);
    }
    if (size >= 1e5 || (size > 0 && size < 0.5 * std::pow(10.0, -decimals))) {
        return zrkui::shortTextOfNumber(value, 3);
    }
    QString text = QString::number(size, 'f', decimals);
    return value < 0 ? QChar(0x2212) + text : text;
}

int decimalsFor(double largest)
{
    if (!(largest > 0) || !std::isfinite(largest)) {
        return 2;
    }
    const int decade = static_cast<int>(std::floor(std::log10(largest) + 1e-9));
    return decade >= 0 ? std::max(0, 2 - decade) : std::min(4, 1 - decade);
}

} // namespace zrkworkbench

#include "core/picture/paint_scale.h"

#include "core/engine/prepared_field.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace zrk {

const Rgb& scaleColor(const Interval<double>& range, double value)
{
    const double width = range.upper - range.lower;
    return sequentialMap().at(width > 0 ? (value - range.lower) / width : 0.5);
}

Interval<double> finiteRange(const PreparedField& field, std::span<const Tensor<3, double>> places,
                             const std::function<bool()>& keepsGoing)
{
    constexpr std::size_t kAtOnce = 1024;
    std::optional<Interval<double>> range;
    std::vector<double> numbers(4 * kAtOnce);
    double* const x = numbers.data();
    double* const y = x + kAtOnce;
    double* const z = y + kAtOnce;
    double* const values = z + kAtOnce;
    for (std::size_t first = 0; first < places.size() && keepsGoing(); first += kAtOnce) {
        const std::size_t count = std::min(kAtOnce, places.size() - first);
        for (std::size_t i = 0; i < count; ++i) {
            x[i] = places[first + i][0];
            y[i] = places[first + i][1];
            z[i] = places[first + i][2];
        }
        field.evaluate(x, y, z, count, values);
        for (std::size_t i = 0; i < count; ++i) {
            if (std::isfinite(values[i])) {
                range = range ? hull(*range, Interval<double>(values[i])) : Interval<double>(values[i]);
            }
        }
    }
    return range.value_or(Interval<double>(0, 1));
}

} // namespace zrk

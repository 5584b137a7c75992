#include "core/values/level_search.h"

#include <algorithm>
#include <cmath>

namespace zrk {

namespace {

constexpr int kMostDoublings = 16;
constexpr int kMostHalvings = 60;

struct Sample {
    double x;
    double off; ///< of the level
};

bool differInSign(const Sample& a, const Sample& b) { return (a.off < 0) != (b.off < 0); }

class Search {
public:
    Search(const std::function<double(double)>& function, double level, double tolerance)
        : _function(function), _level(level), _tolerance(tolerance)
    {}

    Sample at(double x)
    {
        const double value = _function(x);
        const Sample sample{x, value - _level};
        if (!std::isnan(value)) {
            const bool isFirst = _calls++ == 0;
            _found.least = isFirst ? value : std::min(_found.least, value);
            _found.greatest = isFirst ? value : std::max(_found.greatest, value);
            if (isFirst || std::abs(sample.off) < std::abs(_found.value - _level)) {
                _found.x = x;
                _found.value = value;
            }
            _found.isFound = _found.isFound || std::abs(sample.off) <= _tolerance;
        }
        return sample;
    }

    /// Two neighbours on different sides of the level; false where there are none within reach.
    bool bracket(double start, double step, Sample& a, Sample& b)
    {
        Sample ends[2] = {at(start), {}};
        ends[1] = ends[0];
        bool isOpen[2] = {!std::isnan(ends[0].off), !std::isnan(ends[0].off)};
        for (int i = 0; i < kMostDoublings && !_found.isFound; ++i, step *= 2) {
            for (const int side : {0, 1}) {
                if (!isOpen[side] || _found.isFound) {
                    continue;
                }
                const Sample next = at(ends[side].x + (side == 0 ? step : -step));
                isOpen[side] = !std::isnan(next.off);
                if (isOpen[side] && differInSign(next, ends[side])) {
                    a = ends[side];
                    b = next;
                    return true;
                }
                ends[side] = next;
            }
        }
        return false;
    }

    void narrow(Sample a, Sample b)
    {
        for (int i = 0; i < kMostHalvings && !_found.isFound; ++i) {
            const bool bisects = i % 4 == 3;
            const double x = bisects ? 0.5 * (a.x + b.x) : (a.x * b.off - b.x * a.off) / (b.off - a.off);
            if (x == a.x || x == b.x || !std::isfinite(x)) {
                return;
            }
            const Sample next = at(x);
            if (std::isnan(next.off)) {
                return;
            }
            if (differInSign(next, b)) {
                a = b;
            } else {
                a.off /= 2; // keeps the other end from staying for ever
            }
            b = next;
        }
    }

    const LevelSearch& found() const { return _found; }

private:
    const std::function<double(double)>& _function;
    double _level;
    double _tolerance;
    LevelSearch _found;
    int _calls = 0;
};

} // namespace

LevelSearch findLevel(const std::function<double(double)>& function, double level, double start,
                      double firstStep, double tolerance)
{
    Search search(function, level, tolerance);
    Sample a{};
    Sample b{};
    if (search.bracket(start, firstStep, a, b)) {
        search.narrow(a, b);
    }
    return search.found();
}

} // namespace zrk

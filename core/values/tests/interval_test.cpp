#include "core/values/interval.h"

#include "core/values/batch.h"
#include "core/values/interval_batch.h"
#include "core/values/tensor.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

namespace zrk {

// gtest prints failing values with this.
static std::ostream& operator<<(std::ostream& out, const Interval<double>& x)
{
    return out << '[' << x.lower << ", " << x.upper << ']';
}

namespace {

using Range = Interval<double>;
using zrk::testing::kInfinity;
using zrk::testing::kNaN;
using zrk::testing::kPi;

/// Random intervals of all kinds, and values within them.
class Draw {
public:
    explicit Draw(unsigned seed) : _random(seed) {}

    Range interval()
    {
        const double a = end();
        const double b = index(4) == 0 ? a : index(3) == 0 ? a + 0.1 * unit() : end();
        return a < b ? Range(a, b) : Range(b, a); // NaN gives the entire interval
    }

    double within(const Range& range)
    {
        if (range.isEntire() && index(4) == 0) {
            return kNaN;
        }
        double x;
        switch (index(8)) {
        case 0:
            x = range.lower;
            break;
        case 1:
            x = range.upper;
            break;
        case 2:
            x = std::nextafter(range.lower, range.upper);
            break;
        case 3:
            x = std::nextafter(range.upper, range.lower);
            break;
        case 4:
            x = end();
            break;
        default:
            x = range.lower + (0.5 + 0.5 * unit()) * (range.upper - range.lower);
            break;
        }
        if (!(range.lower <= x && x <= range.upper)) {
            x = range.upper;
        }
        return x == 0 && index(2) == 0 ? -x : x;
    }

private:
    std::mt19937_64 _random;

    double unit() { return std::uniform_real_distribution<double>(-1, 1)(_random); }
    std::size_t index(std::size_t count) { return _random() % count; }
    double end()
    {
        static const double special[] = {0.0,     -0.0,     1,         -1,     kInfinity, -kInfinity,
                                         kNaN,    4.9e-324, -4.9e-324, 1e-310, 1e15,      -1e15,
                                         1.7e308, 709.7827, -745.1,    -0.5,   kPi / 2,   -kPi / 2,
                                         kPi,     -kPi,     2 * kPi,   2.5};
        static const double scales[] = {1, 5, 40, 800, 1e5, 1e9};
        switch (index(4)) {
        case 0:
            return special[index(std::size(special))];
        case 1:
            return std::round(4 * unit());
        default:
            return scales[index(std::size(scales))] * unit();
        }
    }
};

/// Whether a lane's bounds are those of the single interval but for widening. Where widening decides whether
/// a later operation is defined at all, one of the two may be entire.
bool isAboutAsTight(const Range& lane, const Range& single)
{
    if (lane.isEntire() || single.isEntire()) {
        return true;
    }
    const auto close = [](double a, double b) {
        return a == b || std::abs(a - b) <= 1e-9 * std::max(1.0, std::abs(b)) || std::isinf(a) ||
               std::isinf(b);
    };
    return close(lane.lower, single.lower) && close(lane.upper, single.upper);
}

/// Checks that every value of the formula f(x, y) at points of random boxes, as a double and in each lane of
/// a batch, lies within the formula's interval, and that NaN lies only in the entire one. The same boxes as
/// lanes of a batch of intervals give the same bounds, or ones that are wider by units in the last place.
template <class Formula>
void expectBounds(const char* name, Formula f)
{
    constexpr std::size_t kLanes = Batch::size;
    Draw draw(11);
    for (std::size_t round = 0; round < 20000 / kLanes; ++round) {
        Range x[kLanes];
        Range y[kLanes];
        double lower[2][kLanes];
        double upper[2][kLanes];
        for (std::size_t box = 0; box < kLanes; ++box) {
            x[box] = draw.interval();
            y[box] = draw.interval();
            lower[0][box] = x[box].lower;
            upper[0][box] = x[box].upper;
            lower[1][box] = y[box].lower;
            upper[1][box] = y[box].upper;
        }
        const IntervalBatch batch = f(IntervalBatch::ordered(Batch::load(lower[0]), Batch::load(upper[0])),
                                      IntervalBatch::ordered(Batch::load(lower[1]), Batch::load(upper[1])));
        for (std::size_t box = 0; box < kLanes; ++box) {
            const Range bounds = f(x[box], y[box]);
            const Range lane = batch.lane(box);
            ASSERT_LE(bounds.lower, bounds.upper) << name << " over " << x[box] << ", " << y[box];
            ASSERT_TRUE(isAboutAsTight(lane, bounds))
                << name << " over " << x[box] << ", " << y[box] << " is " << bounds << ", as a lane " << lane;
            double a[kLanes];
            double b[kLanes];
            for (std::size_t i = 0; i < kLanes; ++i) {
                a[i] = draw.within(x[box]);
                b[i] = draw.within(y[box]);
            }
            const Batch values = f(Batch::load(a), Batch::load(b));
            for (std::size_t i = 0; i < kLanes; ++i) {
                for (const double value : {f(a[i], b[i]), values.lane(i)}) {
                    for (const Range& range : {bounds, lane}) {
                        ASSERT_TRUE(range.contains(value))
                            << name << " at " << a[i] << ", " << b[i] << " is " << value << ", over "
                            << x[box] << ", " << y[box] << " within " << range;
                    }
                }
            }
        }
    }
}
#define EXPECT_BOUNDS(expression)                                                                            \
    expectBounds(#expression, []<class V>([[maybe_unused]] const V& x, [[maybe_unused]] const V& y) -> V {   \
        return expression;                                                                                   \
    })

TEST(Interval, BoundsEveryOperation)
{
    EXPECT_BOUNDS(x + y);
    EXPECT_BOUNDS(x - y);
    EXPECT_BOUNDS(x * y);
    EXPECT_BOUNDS(x * x);
    EXPECT_BOUNDS(x / y);
    EXPECT_BOUNDS(-x);
    EXPECT_BOUNDS(2 - x / 3);
    EXPECT_BOUNDS(minimum(x, y));
    EXPECT_BOUNDS(maximum(x, y));
    EXPECT_BOUNDS(abs(x));
    EXPECT_BOUNDS(floor(x));
    EXPECT_BOUNDS(round(x));
    EXPECT_BOUNDS(trunc(x));
    EXPECT_BOUNDS(sqrt(x));
}

TEST(Interval, BoundsEveryFunction)
{
    EXPECT_BOUNDS(acos(x));
    EXPECT_BOUNDS(asin(x));
    EXPECT_BOUNDS(atan2(x, y));
    EXPECT_BOUNDS(cos(x));
    EXPECT_BOUNDS(exp(x));
    EXPECT_BOUNDS(log(x));
    EXPECT_BOUNDS(log(abs(x)));
    EXPECT_BOUNDS(pow(x, y));
    EXPECT_BOUNDS(pow(abs(x), y));
    EXPECT_BOUNDS(pow(abs(x) + 1e-300, y));
    EXPECT_BOUNDS(sin(x));
    EXPECT_BOUNDS(tan(x));
    expectBounds("sincos", []<class V>(const V& x, const V& y) {
        V sine = x;
        V cosine;
        sincos(sine, sine, cosine); // the argument may be a result
        return sine * y + cosine;
    });
}

TEST(Interval, BoundsBranchesAndComparisons)
{
    EXPECT_BOUNDS(select(x < y, x, -y));
    EXPECT_BOUNDS(select(x <= y, x, 7));
    EXPECT_BOUNDS(select(x > y, x, 7));
    EXPECT_BOUNDS(select(x >= y, 1, 2));
    EXPECT_BOUNDS(select(x == y, 1, 2));
    EXPECT_BOUNDS(select(x != y, 1, 2));
    EXPECT_BOUNDS(select(isNaN(x), 1, y));
    EXPECT_BOUNDS(select(isFinite(x), x, 1));
    EXPECT_BOUNDS(select(!(x < 0) && (y > 1 || x > y), sqrt(x), y));
    EXPECT_BOUNDS(select(true, x, y));
}

TEST(Interval, BoundsComposedFormulas)
{
    EXPECT_BOUNDS(sqrt(x * x + y * y) - 1.5);
    EXPECT_BOUNDS(maximum(-x, minimum(y, abs(x * y) - 0.25)));
    EXPECT_BOUNDS(sin(x) * cos(y) + sin(y) * cos(x + 0.5));
    EXPECT_BOUNDS(atan2(y, x) / 3.0 + asin(y / sqrt(x * x + y * y)));
    EXPECT_BOUNDS(exp(-0.5 * (x * x)) * pow(abs(y), 1.7) + log(y * y + 1));
    EXPECT_BOUNDS(x - 2.0 * round(x / 2.0) + minimum(floor(y), y * y - trunc(x)));
    EXPECT_BOUNDS(minimum(sqrt(x), y) + maximum(sqrt(y), 1.0)); // the rules for NaN matter here
    EXPECT_BOUNDS(select(abs(sin(3 * x)) > 0.5, tan(y), acos(y)));
}

// Arguments at which the C library and the batch may disagree by more than units in the last place, where
// overflow and underflow begin, and large angles, whose reduction is coarse.
TEST(Interval, BoundsNarrowBoxesAtTheEdges)
{
    std::mt19937_64 random(12);
    std::uniform_real_distribution<double> unit(-1, 1);
    const auto check = [&](const char* name, double centre, double reach, double width, auto f) {
        for (int i = 0; i < 20000; ++i) {
            const double x = centre + reach * unit(random);
            const Range box(x, x + width * std::abs(unit(random)));
            const double inside = std::min(box.upper, x + 0.5 * width * std::abs(unit(random)));
            const Range bounds = f(box);
            for (double point : {box.lower, inside, box.upper}) {
                ASSERT_TRUE(bounds.contains(f(point))) << name << " of " << point << " over " << box;
                ASSERT_TRUE(bounds.contains(f(Batch(point)).lane(0)))
                    << name << " of " << point << " in a batch over " << box << " within " << bounds;
            }
        }
    };
    const auto exponential = [](const auto& x) { return exp(x); };
    const auto power = [](const auto& x) { return pow(x, 100.0); };
    const auto sine = [](const auto& x) { return sin(x); };
    const auto tangent = [](const auto& x) { return tan(x); };
    check("exp", 709.782712, 2e-6, 1e-9, exponential);
    check("exp", -745.13, 1, 1e-3, exponential);
    check("exp", -708.4, 1, 1e-3, exponential);
    check("pow", 1209.0, 1, 1e-9, power);
    check("pow", 5.8e-4, 1e-5, 1e-9, power);
    for (double centre : {0.0, 1e3, 9.99e5, 1e7, 1e12, 1e15}) {
        check("sin", centre, 100, 3, sine);
        check("tan", centre, 100, 1, tangent);
    }
}

TEST(Interval, TheEntireIntervalStaysEntire)
{
    const Range e = Range::entire();
    const Range two = 2;
    const Range results[] = {
        -e,
        e + two,
        two + e,
        e - e,
        two - e,
        e * two,
        two * e,
        e * e,
        e * Range(0),
        e / two,
        two / e,
        e * two * e,
        minimum(e, two),
        maximum(two, e),
        abs(e),
        floor(e),
        round(e),
        trunc(e),
        sqrt(e),
        acos(e),
        asin(e),
        atan2(e, two),
        atan2(two, e),
        cos(e),
        exp(e),
        log(e),
        pow(e, two),
        pow(two, e),
        sin(e),
        tan(e),
        select(e > 1, e, two),
        Range(kNaN),
    };
    for (const Range& result : results) {
        EXPECT_TRUE(result.isEntire()) << &result - results << ": " << result;
    }
    // These are the only two cases in which a NaN operand isn't the result.
    EXPECT_EQ(minimum(two, e).upper, 2);
    EXPECT_EQ(maximum(e, two).lower, 2);
}

// Bounds that are right but wide would pass everything above.
TEST(Interval, IsTight)
{
    struct Case {
        const char* name;
        Range actual;
        Range expected;
        double tolerance;
    };
    const Range x(-1, 2);
    const double eps = 1e-14; // widening
    const Case cases[] = {
        {"sum", x + Range(3, 4), {2, 6}, 0},
        {"product", x * Range(-3, 4), {-6, 8}, 0},
        {"square", x * x, {0, 4}, 0},
        {"square of a negative", Range(-3, -2) * Range(-3, -2), {4, 9}, 0},
        {"quotient", x / Range(2, 4), {-0.5, 1}, 0},
        {"by an infinity", Range(1, 2) / Range(4, kInfinity), {0, 0.5}, 0},
        {"root from zero", sqrt(Range(0, 4)), {0, 2}, 0},
        {"minimum", minimum(x, Range(0, 1)), {-1, 1}, 0},
        {"maximum", maximum(x, Range(0, 1)), {0, 2}, 0},
        {"abs", abs(x), {0, 2}, 0},
        {"round", round(Range(-0.5, 2.5)), {-1, 3}, 0},
        {"known branch", select(x < 3, x, 100), {-1, 2}, 0},
        {"open branch", select(x < 1, x, 100), {-1, 100}, 0},
        {"sin, rising", sin(Range(0, 0.5)), {0, std::sin(0.5)}, eps},
        {"sin, crest", sin(Range(1, 2)), {std::sin(1.0), 1}, eps},
        {"sin, trough far out", sin(Range(200 * kPi - 2, 200 * kPi - 1)), {-1, std::sin(-1.0)}, 1e-12},
        {"cos, crest", cos(Range(-0.5, 0.25)), {std::cos(0.5), 1}, eps},
        {"cos, falling", cos(Range(0.5, 3)), {std::cos(3.0), std::cos(0.5)}, eps},
        {"tan", tan(Range(-1, 1.5)), {std::tan(-1.0), std::tan(1.5)}, 1e-13},
        {"asin", asin(Range(-1, 1)), {-kPi / 2, kPi / 2}, eps},
        {"acos", acos(Range(0, 1)), {0, kPi / 2}, eps},
        {"exp", exp(Range(-1000, 1)), {0, std::exp(1.0)}, eps},
        {"log", log(Range(1, 2)), {0, std::log(2.0)}, eps},
        {"pow", pow(Range(0, 3), Range(1, 2)), {0, 9}, 1e-13},
        {"atan2, right", atan2(Range(-1, 1), Range(1, 2)), {-kPi / 4, kPi / 4}, eps},
        {"atan2, above", atan2(Range(1, 2), Range(-1, 1)), {kPi / 4, 3 * kPi / 4}, eps},
        {"atan2, third quadrant", atan2(Range(-2, -1), Range(-1, 0)), {-3 * kPi / 4, -kPi / 2}, eps},
        {"atan2, on the cut", atan2(Range(-1, 1), Range(-2, -1)), {-kPi, kPi}, eps},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_NEAR(c.actual.lower, c.expected.lower, c.tolerance);
        EXPECT_NEAR(c.actual.upper, c.expected.upper, c.tolerance);
    }
    // Ends at zero stay, so that their roots and logarithms stay defined.
    EXPECT_EQ(sin(Range(0, 0.5)).lower, 0);
    EXPECT_EQ(exp(Range(-1000, -800)).lower, 0);
    EXPECT_EQ(acos(Range(0, 1)).lower, 0);
}

// Arithmetic, branches and rounding give each lane the single interval's ends, so lanes that aren't entire
// can't be told from single intervals. Fails where an operation mixes lanes or loses a NaN.
TEST(IntervalBatch, GivesTheEndsOfSingleIntervals)
{
    const auto formulas = std::tuple{
        [](const auto& x, const auto& y) { return x * y + x / y; },
        [](const auto& x, const auto& y) { return sqrt(abs(x)) - x * x * 3.0 + y / -2.0; },
        [](const auto& x, const auto& y) { return select(x < y, minimum(x, -y), maximum(floor(x), y)); },
        [](const auto& x, const auto& y) {
            return select(isNaN(x) || !(y >= 1), x * -0.5, trunc(y) - round(x));
        },
    };
    Draw draw(21);
    for (int round = 0; round < 5000; ++round) {
        Range x[Batch::size];
        Range y[Batch::size];
        double ends[4][Batch::size];
        for (std::size_t box = 0; box < Batch::size; ++box) {
            x[box] = draw.interval();
            y[box] = draw.interval();
            ends[0][box] = x[box].lower;
            ends[1][box] = x[box].upper;
            ends[2][box] = y[box].lower;
            ends[3][box] = y[box].upper;
        }
        const auto batchX = IntervalBatch::ordered(Batch::load(ends[0]), Batch::load(ends[1]));
        const auto batchY = IntervalBatch::ordered(Batch::load(ends[2]), Batch::load(ends[3]));
        const auto check = [&](const auto& f) {
            const IntervalBatch batch = f(batchX, batchY);
            for (std::size_t box = 0; box < Batch::size; ++box) {
                const Range single = f(x[box], y[box]);
                ASSERT_EQ(batch.lane(box).lower, single.lower) << "over " << x[box] << ", " << y[box];
                ASSERT_EQ(batch.lane(box).upper, single.upper) << "over " << x[box] << ", " << y[box];
            }
        };
        std::apply([&](const auto&... f) { (check(f), ...); }, formulas);
    }
}

TEST(Interval, TellsThatABoxHoldsNoSurface)
{
    const auto sphere = []<class V>(const Tensor<3, V>& p) -> V {
        const V x = p[0] - 1.0;
        return sqrt(x * x + p[1] * p[1] + p[2] * p[2]) - 0.5;
    };
    const Range side(-0.125, 0.125);
    const Range far = sphere(Tensor<3, Range>{{side + 3, side, side}});
    EXPECT_GT(far.lower, 1.3);
    EXPECT_LT(far.upper, 1.7);
    EXPECT_LT(sphere(Tensor<3, Range>{{side + 1, side, side}}).upper, 0) << "inside";
    const Range across = sphere(Tensor<3, Range>{{side + 1.5, side, side}});
    EXPECT_TRUE(across.lower < 0 && across.upper > 0);
}

TEST(IntervalMask, FollowsThreeValuedLogic)
{
    const IntervalMask yes = true;
    const IntervalMask no = false;
    const IntervalMask unknown;
    EXPECT_TRUE(all(yes && yes) && none(yes && no) && none(no && unknown) && all(yes || unknown));
    EXPECT_TRUE(any(yes && unknown) && !all(yes && unknown));
    EXPECT_TRUE(any(!unknown) && !all(!unknown) && none(!yes) && all(!no));
    EXPECT_TRUE(all(Range(1, 2) < Range(3, 4)) && none(Range(1, 2) > Range(3, 4)) && none(Range(1, 2) == 3));
    EXPECT_TRUE(all(Range(2) == 2) && none(Range(2) != 2) && all(Range(1, 2) <= 2) && none(Range(1, 2) < 1));
}

} // namespace
} // namespace zrk

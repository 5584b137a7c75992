#include "core/values/batch.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace zrk {
namespace {

static_assert(std::is_trivially_copyable_v<Batch> && std::is_trivially_default_constructible_v<Batch>);

using zrk::testing::kInfinity;
using zrk::testing::kNaN;
constexpr double kTiny = std::numeric_limits<double>::denorm_min();
constexpr double kHuge = std::numeric_limits<double>::max();
using zrk::testing::kPi;

const std::vector<double> kSpecial = {
    0.0,
    -0.0,
    0.5,
    -0.5,
    1,
    -1,
    1.5,
    -1.5,
    2.5,
    -2.5,
    3,
    kTiny,
    -kTiny,
    1e-310,
    -1e-310,
    1e-200,
    0.49999999999999994,
    -0.49999999999999994,
    -0.3,
    0.3,
    20,
    1e5,
    1e15,
    -1e15,
    1e300,
    kHuge,
    -kHuge,
    kInfinity,
    -kInfinity,
    kNaN,
    4503599627370495.5,
    -4503599627370495.5,
    4503599627370497,
    kPi,
    -kPi,
    kPi / 2,
    kPi / 6,
};

/// Whether two numbers are equal to the last bit. Zeros of different sign differ; all NaN are equal.
bool identical(double a, double b)
{
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) || (isNaN(a) && isNaN(b));
}

struct Unary {
    const char* name;
    double (*scalar)(double);
    Batch (*batch)(Batch);
    int ulps; ///< largest distance from the C library: the errors of both sides, rounded up
};
#define UNARY(f, ulps)                                                                                       \
    {                                                                                                        \
#f, [](double x) -> double { return f(x); }, [](Batch x) -> Batch { return f(x); }, ulps             \
    }

const Unary kExactUnary[] = {
    UNARY(abs, 0),
    UNARY(floor, 0),
    UNARY(round, 0),
    UNARY(sqrt, 0),
    UNARY(trunc, 0),
    {"minus", [](double x) { return -x; }, [](Batch x) { return -x; }, 0},
    {"isNaN", [](double x) { return select(isNaN(x), 1, 2); }, [](Batch x) { return select(isNaN(x), 1, 2); },
     0},
    {"isFinite", [](double x) { return select(isFinite(x), 1, 2); },
     [](Batch x) { return select(isFinite(x), 1, 2); }, 0},
};

template <class V>
V sineOfSincos(V x)
{
    V s, c;
    sincos(x, s, c);
    return s;
}
template <class V>
V cosineOfSincos(V x)
{
    V s, c;
    sincos(x, s, c);
    return c;
}

const Unary kUnary[] = {
    UNARY(acos, 4), UNARY(asin, 4),         UNARY(cos, 4),
    UNARY(exp, 2),  UNARY(log, 4),          UNARY(sin, 4),
    UNARY(tan, 4),  UNARY(sineOfSincos, 4), UNARY(cosineOfSincos, 4),
};

struct Binary {
    const char* name;
    double (*scalar)(double, double);
    Batch (*batch)(Batch, Batch);
    int ulps;
};
#define OPERATOR(op)                                                                                         \
    {                                                                                                        \
#op, [](double a, double b) -> double { return a op b; }, [](Batch a,                                \
                                                                     Batch b) -> Batch { return a op b; }, 0 \
    }
#define COMPARISON(op)                                                                                       \
    {                                                                                                        \
#op, [](double a,                                                                                    \
                double b) { return select(a op b, 3, a); }, [](Batch a,                                      \
                                                               Batch b) { return select(a op b, 3, a); }, 0  \
    }
#define BINARY(f, ulps)                                                                                      \
    {                                                                                                        \
#f, [](double a,                                                                                     \
               double b) -> double { return f(a, b); }, [](Batch a, Batch b) -> Batch { return f(a, b); },   \
                                                                                                        ulps \
    }

const Binary kExactBinary[] = {
    OPERATOR(+),
    OPERATOR(-),
    OPERATOR(*),
    OPERATOR(/),
    OPERATOR(+=),
    OPERATOR(-=),
    OPERATOR(*=),
    OPERATOR(/=),
    COMPARISON(<),
    COMPARISON(<=),
    COMPARISON(>),
    COMPARISON(>=),
    COMPARISON(==),
    COMPARISON(!=),
    BINARY(minimum, 0),
    BINARY(maximum, 0),
    {"masks", [](double a, double b) { return select((a < b && !(a == 1)) || b > 2, a, b); },
     [](Batch a, Batch b) { return select((a < b && !(a == 1)) || b > 2, a, b); }, 0},
};
const Binary kBinary[] = {BINARY(atan2, 4), BINARY(pow, 2)};

/// Runs a function over many arguments, in whole batches.
std::vector<double> run(Batch (*f)(Batch, Batch), std::vector<double> a, std::vector<double> b)
{
    const std::size_t count = a.size();
    const std::size_t padded = wholeBatches(count);
    a.resize(padded);
    b.resize(padded);
    std::vector<double> result(padded);
    for (std::size_t i = 0; i < padded; i += Batch::size) {
        f(Batch::load(&a[i]), Batch::load(&b[i])).store(&result[i]);
    }
    result.resize(count);
    return result;
}

/// Returns all pairs of special values.
void specialPairs(std::vector<double>& a, std::vector<double>& b)
{
    for (double x : kSpecial) {
        for (double y : kSpecial) {
            a.push_back(x);
            b.push_back(y);
        }
    }
}

/// Returns the number of steps from one double to another; huge for NaN against a number.
std::uint64_t ulpsApart(double a, double b)
{
    if (a == b || (isNaN(a) && isNaN(b))) {
        return 0;
    }
    if (isNaN(a) || isNaN(b) || std::signbit(a) != std::signbit(b)) {
        return ~std::uint64_t{0};
    }
    const auto p = std::bit_cast<std::uint64_t>(a);
    const auto q = std::bit_cast<std::uint64_t>(b);
    return p > q ? p - q : q - p;
}

TEST(Batch, ArithmeticAndComparisonsEqualTheScalar)
{
    std::vector<double> a;
    std::vector<double> b;
    specialPairs(a, b);
    std::mt19937_64 random(1);
    for (int i = 0; i < 20000; ++i) { // random bits give all magnitudes
        a.push_back(std::bit_cast<double>(random()));
        b.push_back(i % 2 ? std::bit_cast<double>(random()) : a.back() * 0.75);
    }
    for (const Binary& f : kExactBinary) {
        const std::vector<double> result = run(f.batch, a, b);
        for (std::size_t i = 0; i < a.size(); ++i) {
            ASSERT_TRUE(identical(result[i], f.scalar(a[i], b[i])))
                << f.name << " of " << a[i] << ", " << b[i] << ": " << result[i];
        }
    }
    for (const Unary& f : kExactUnary) {
        for (double x : a) {
            ASSERT_TRUE(identical(f.batch(x).lane(0), f.scalar(x))) << f.name << " of " << x;
        }
    }
}

TEST(Batch, SpecialValuesEqualTheScalar)
{
    // At zero and infinity the answer is a matter of definition, not of accuracy.
    const auto isEdge = [](double x) { return !isFinite(x) || x == 0; };
    for (const Unary& f : kUnary) {
        for (double x : kSpecial) {
            const double expected = f.scalar(x);
            if (isEdge(expected) || isEdge(x)) {
                EXPECT_TRUE(identical(f.batch(x).lane(0), expected)) << f.name << " of " << x;
            }
        }
    }
    for (const Binary& f : kBinary) {
        for (double x : kSpecial) {
            for (double y : kSpecial) {
                const double expected = f.scalar(x, y);
                if (isEdge(expected) || isEdge(x)) {
                    EXPECT_TRUE(identical(f.batch(x, y).lane(0), expected))
                        << f.name << " of " << x << ", " << y << ": " << f.batch(x, y).lane(0);
                }
            }
        }
    }
    EXPECT_EQ(sin(Batch(0)).lane(0), 0);
    EXPECT_EQ(cos(Batch(0)).lane(0), 1);
    EXPECT_EQ(asin(Batch(1)).lane(0), kPi / 2);
    EXPECT_EQ(atan2(Batch(-0.0), Batch(-1)).lane(0), -kPi);
    EXPECT_EQ(pow(Batch(kNaN), Batch(0)).lane(0), 1);
}

TEST(Batch, FunctionsLieWithinTheirUnitsOfTheScalar)
{
    struct Case {
        const char* name;
        std::vector<double> limits; // arguments are drawn from 0 to each, with both signs
    };
    const Case cases[] = {
        {"acos", {1, 1e-3}},
        {"asin", {1, 1e-9}},
        {"exp", {1, 700, 1e-5}},
        {"log", {1, 2, 1e300, 1e-300}},
        {"cos", {1, 20, 1e5, 1e9, 1e15, 1e300}},
        {"sin", {1, 20, 1e5, 1e9, 1e15, 1e300}},
        {"tan", {1, 20, 1e5, 1e9, 1e15, 1e300}},
        {"sineOfSincos", {1, 20, 1e5, 1e15}},
        {"cosineOfSincos", {1, 20, 1e5, 1e15}},
    };
    std::mt19937_64 random(2);
    std::uniform_real_distribution<double> unit(-1, 1);
    for (const Case& c : cases) {
        const Unary& f = *std::find_if(std::begin(kUnary), std::end(kUnary),
                                       [&](const Unary& u) { return std::string(u.name) == c.name; });
        for (double limit : c.limits) {
            for (int i = 0; i < 20000; ++i) {
                const double x = limit * unit(random);
                ASSERT_LE(ulpsApart(f.batch(x).lane(0), f.scalar(x)), std::uint64_t(f.ulps))
                    << f.name << " of " << x;
            }
        }
    }
    for (const Binary& f : kBinary) {
        for (double limit : {1.0, 30.0, 1e-3}) {
            for (int i = 0; i < 20000; ++i) {
                const double x = f.ulps == 2 ? std::abs(limit * unit(random)) : limit * unit(random);
                const double y = 10 * unit(random);
                ASSERT_LE(ulpsApart(f.batch(x, y).lane(0), f.scalar(x, y)), std::uint64_t(f.ulps))
                    << f.name << " of " << x << ", " << y;
            }
        }
    }
}

// Fails for functions in which all lanes take another path as soon as one of them needs it.
TEST(Batch, LanesDoNotSeeTheirNeighbours)
{
    std::vector<double> values = kSpecial;
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> unit(-1, 1);
    for (double limit : {1.0, 15.0, 700.0, 1e5, 1e9, 1e15}) {
        for (int i = 0; i < 60; ++i) {
            values.push_back(limit * unit(random));
        }
    }
    const double neighbours[] = {0.3, 20, 1e5, 1e15, kInfinity, kNaN, 1e-310, -0.7};
    const auto check = [&](const char* name, auto function) {
        std::size_t place = 0;
        for (double x : values) {
            const double y = values[random() % values.size()];
            const double alone = function(Batch(x), Batch(y)).lane(0);
            for (double neighbour : neighbours) {
                double a[Batch::size];
                double b[Batch::size];
                std::fill(a, a + Batch::size, neighbour);
                std::fill(b, b + Batch::size, neighbour);
                place = (place + 1) % Batch::size;
                a[place] = x;
                b[place] = y;
                const double beside = function(Batch::load(a), Batch::load(b)).lane(place);
                ASSERT_TRUE(identical(alone, beside)) << name << " of " << x << ", " << y << " beside "
                                                      << neighbour << ": " << alone << " / " << beside;
            }
        }
    };
    for (const Unary& f : kUnary) {
        check(f.name, [&](Batch x, Batch) { return f.batch(x); });
    }
    for (const Binary& f : kBinary) {
        check(f.name, f.batch);
    }
}

TEST(Batch, LoadsStoresAndReducesLanesInOrder)
{
    alignas(64) double values[2 * Batch::size + 1];
    for (std::size_t i = 0; i < std::size(values); ++i) {
        values[i] = static_cast<double>(i);
    }
    const Batch aligned = Batch::loadAligned(values);
    const Batch shifted = Batch::load(values + 1);
    alignas(64) double stored[Batch::size];
    shifted.storeAligned(stored);
    for (std::size_t i = 0; i < Batch::size; ++i) {
        EXPECT_EQ(aligned.lane(i), static_cast<double>(i));
        EXPECT_EQ(stored[i], static_cast<double>(i + 1));
        const BatchMask one = aligned == static_cast<double>(i);
        EXPECT_TRUE(any(one) && !none(one));
        EXPECT_EQ(all(one), Batch::size == 1);
        EXPECT_TRUE(all(one || !one) && none(one && !one));
    }
    EXPECT_EQ(select(true, aligned, -1).lane(0), 0);
    EXPECT_EQ(select(false, aligned, -1).lane(0), -1);
}

} // namespace
} // namespace zrk

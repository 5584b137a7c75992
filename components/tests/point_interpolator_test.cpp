#include "core/curves/point_interpolator.h"

#include "components/point_interpolator_serializer.h"
#include "model/serializable.h"
#include "testing/formula_agreement.h"
#include "testing/special_values.h"

#include <array>
#include <vector>

namespace zrkmodel {
namespace {

using zrk::testing::kInfinity;
using zrk::testing::kNaN;

enum Kind { linear, nearest, cubic, smooth };

struct Key {
    double key;
    double value;
    Kind kind;
};

ScalarCurve curveOf(const std::vector<Key>& keys)
{
    ScalarCurve curve;
    for (const Key& k : keys) {
        curve.addPoints({{k.key, k.value}}, InterpolationFunction<double>::kinds()[k.kind]);
    }
    return curve;
}

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST(PointInterpolator, AtKeysWithExactAnswers)
{
    struct Case {
        const char* name;
        std::vector<Key> keys;
        std::vector<std::pair<double, double>> answers;
    };
    const Case cases[] = {
        {"no points", {}, {{0.5, 0}, {kNaN, 0}}},
        {"one point", {{2, 7, smooth}}, {{-1, 7}, {2, 7}, {kNaN, 7}}},
        {"linear",
         {{0, 0, linear}, {1, 1, linear}},
         {{0.25, 0.25}, {-1, 0}, {2, 1}, {kNaN, kNaN}, {kInfinity, 1}}},
        {"given out of order", {{1, 8, linear}, {0, 4, linear}}, {{0, 4}, {0.25, 5}, {1, 8}}},
        {"the left point's kind applies",
         {{0, 0, nearest}, {1, 4, linear}, {2, 8, nearest}},
         {{0.25, 0}, {1.25, 5}}},
        {"nearest, the midpoint goes right",
         {{0, 3, nearest}, {2, 5, linear}},
         {{0.75, 3}, {1, 5}, {kNaN, kNaN}}},
        {"cubic", {{0, 2, cubic}, {4, 6, linear}}, {{2, 4}, {1, 2.625}, {3, 5.375}}},
        {"equal keys: the first made comes first",
         {{0, 1, linear}, {1, 3, linear}, {1, 7, linear}, {2, 9, linear}},
         {{0.5, 2}, {1, 3}, {1.5, 8}}},
        {"three at one key", {{1, 3, linear}, {1, 5, linear}, {1, 7, linear}}, {{0, 3}, {1, 3}, {2, 7}}},
        {"two smooth points alone are a line", {{0, 1, smooth}, {4, 9, smooth}}, {{1, 3}, {2, 5}, {3, 7}}},
        {"smooth between neighbours on a line",
         {{0, 0, smooth}, {1, 2, smooth}, {2, 4, smooth}, {3, 6, smooth}},
         {{0.5, 1}, {1.5, 3}, {2.5, 5}}},
        // Tangents 2 and -2 over a flat segment: the middle rises by (2 + 2) / 8.
        {"smooth takes linear neighbours' slopes",
         {{0, 0, linear}, {1, 2, smooth}, {2, 2, linear}, {3, 0, linear}},
         {{1.5, 2.5}}},
        {"smooth takes no slope from nearest and cubic",
         {{0, 0, nearest}, {1, 2, smooth}, {2, 4, cubic}, {3, 0, linear}},
         {{1.25, 2.3125}, {1.5, 3}}},
        // Both tangents by the neighbours' neighbours: (4 - 0) / 2 at 1 and (0 - 0) / 2 at 2.
        {"smooth among smooth",
         {{0, 0, smooth}, {1, 0, smooth}, {2, 4, smooth}, {3, 0, linear}},
         {{1.5, 2.25}}},
        {"a last linear point has no slope",
         {{0, 0, linear}, {1, 1, smooth}, {2, 1, linear}},
         {{1.5, 1.125}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ScalarCurve curve = curveOf(c.keys);
        for (const auto& [x, expected] : c.answers) {
            EXPECT_TRUE(same(curve(x), expected))
                << "at " << x << ": " << curve(x) << ", expected " << expected;
        }
    }
}

ScalarCurve randomScalarCurve(std::mt19937_64& random)
{
    std::vector<Key> keys(random() % 7);
    for (Key& k : keys) {
        // Few keys, so that some are equal.
        k = {static_cast<double>(random() % 8) / 4 - 0.5, zrk::agreement::uniform(random, -2, 2),
             Kind(random() % 4)};
    }
    return curveOf(keys);
}

TEST(PointInterpolator, IsContinuousButForNearestAndEqualKeys)
{
    std::mt19937_64 random(3);
    for (int round = 0; round < 200; ++round) {
        ScalarCurve curve = randomScalarCurve(random);
        for (std::size_t i = 0; i + 1 < curve.points.size(); ++i) {
            const auto& from = curve.points[i];
            const auto& to = curve.points[i + 1];
            if (from.key < to.key) {
                const double step = 1e-9;
                const auto& evaluate = from.function.evaluate;
                const ScalarCurve::Point* points = curve.points.data();
                ASSERT_EQ(points + i, &from);
                const int index = static_cast<int>(i);
                EXPECT_NEAR(evaluate(from.key + step, {&curve.points, index}), from.value, 1e-6) << round;
                EXPECT_NEAR(evaluate(to.key - step, {&curve.points, index}), to.value, 1e-6) << round;
            }
        }
    }
}

TEST(KeyPointCurve, GivesTheBitsOfTheInterpolator)
{
    std::mt19937_64 random(4);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const ScalarCurve curve = randomScalarCurve(random);
        const zrk::KeyPointCurve blocks(curve);
        for (int i = 0; i < 20; ++i) {
            double x[zrk::Batch::size];
            for (double& lane : x) {
                const double special[] = {kNaN, kInfinity, -kInfinity, -0.0, 0.25, 0.5, 1};
                lane = random() % 3 ? zrk::agreement::uniform(random, -1, 2)
                                    : special[random() % std::size(special)];
            }
            const zrk::Batch y = blocks(zrk::Batch::load(x));
            for (std::size_t lane = 0; lane < zrk::Batch::size; ++lane) {
                EXPECT_TRUE(same(y.lane(lane), curve(x[lane]))) << "at " << x[lane];
                EXPECT_TRUE(same(blocks(x[lane]), curve(x[lane]))) << "at " << x[lane];
            }
        }
    }
}

TEST(KeyPointCurve, AgreesInAllValueTypes)
{
    std::mt19937_64 random(5);
    for (int round = 0; round < 12 && !::testing::Test::HasFailure(); ++round) {
        SCOPED_TRACE(round);
        zrk::agreement::expectAgreement(zrk::KeyPointCurve(randomScalarCurve(random)), 0);
    }
}

TEST(KeyPointCurve, BoundsAreTight)
{
    const zrk::KeyPointCurve one(curveOf({{0, 1, linear}, {1, 1, cubic}, {2, 1, linear}}));
    const auto bounds = one(zrk::Interval<double>(-3, 3));
    EXPECT_NEAR(bounds.lower, 1, 1e-14);
    EXPECT_NEAR(bounds.upper, 1, 1e-14);
    const zrk::KeyPointCurve steps(curveOf({{0, 1, nearest}, {1, 5, nearest}, {2, -7, linear}}));
    EXPECT_EQ(steps(zrk::Interval<double>(0.75, 1.25)).lower, 5);
    EXPECT_EQ(steps(zrk::Interval<double>(-1, 1)).lower, 1);
}

// Rounded, the mean of two equal numbers isn't quite that number, nor is a rise always one.
TEST(KeyPointCurve, BoundsHoldRoundedValues)
{
    std::mt19937_64 random(6);
    for (const Kind kind : {linear, cubic, smooth}) {
        for (const double end : {0.1, 0.7}) {
            const zrk::KeyPointCurve curve(curveOf({{-0.3, 0.1, kind}, {0.9, end, kind}}));
            for (int i = 0; i < 2000; ++i) {
                double x = zrk::agreement::uniform(random, -0.3, 0.9);
                const auto bounds = curve(zrk::Interval<double>(x, x + 1e-15));
                for (const double last = x + 1e-15; x <= last; x = std::nextafter(x, kInfinity)) {
                    ASSERT_TRUE(bounds.contains(curve(x))) << "kind " << kind << " at " << x;
                }
            }
        }
    }
}

struct CurveOwner : ZRKSerializableObject {
    ZRKProperty<ScalarCurve> curve{"curve", curveOf({{5, 5, smooth}}), this};
};

TEST(PointInterpolator, IsStoredInOrder)
{
    CurveOwner owner;
    owner.curve.set(curveOf({{1, 0.5, smooth}, {0, 2, linear}, {0, 3, nearest}}));
    EXPECT_STREQ(owner.curve.valueType(), "curve");
    EXPECT_EQ(owner.curve.valueJson().dump(), "[[0.0,2.0,0],[0.0,3.0,1],[1.0,0.5,3]]");
}

// Points stay in order whatever is done to them, and keep their kind and their rank among equal keys.
TEST(PointInterpolator, PointsAreInsertedMovedAndRemoved)
{
    using Points = std::vector<std::array<double, 3>>;
    const auto& kinds = InterpolationFunction<double>::kinds();
    ScalarCurve curve = ScalarCurve::through({{0, 1}, {1, 2}}, kinds[cubic]);
    const auto points = [&] {
        Points points;
        for (const auto& point : curve.points) {
            points.push_back({point.key, point.value, static_cast<double>(point.function.kind)});
        }
        return points;
    };
    EXPECT_EQ(curve.insertPoint(0.5, 7, kinds[smooth]), 1u);
    EXPECT_EQ(curve.insertPoint(1, 3, kinds[linear]), 3u) << "behind the point of the same key";
    EXPECT_EQ(points(), (Points{{0, 1, cubic}, {0.5, 7, smooth}, {1, 2, cubic}, {1, 3, linear}}));
    EXPECT_EQ(curve.movePoint(0, 1, 8), 1u) << "the oldest of its key comes first";
    EXPECT_EQ(points(), (Points{{0.5, 7, smooth}, {1, 8, cubic}, {1, 2, cubic}, {1, 3, linear}}));
    EXPECT_EQ(curve.movePoint(9, 0, 0), 9u);
    curve.setFunction(3, kinds[nearest]);
    curve.setFunction(4, kinds[nearest]);
    curve.removePoint(1);
    curve.removePoint(3);
    EXPECT_EQ(points(), (Points{{0.5, 7, smooth}, {1, 2, cubic}, {1, 3, nearest}}));
    EXPECT_EQ(curve.insertPoint(1, 4, kinds[linear]), 3u) << "a new rank, not one that was given back";
}

TEST(PointInterpolator, ReadsPointsUpToTheFirstBadOne)
{
    struct Case {
        const char* stored;
        bool taken;
        const char* result;
        const char* issue;
    };
    const Case cases[] = {
        {R"({})", false, "[]", ""},
        {R"({"curve": []})", true, "[]", ""},
        {R"({"curve": 3})", false, "[]", "curve: number"},
        {R"({"curve": [[1, 2, 3], [0, 4, 1]]})", true, "[[0.0,4.0,1],[1.0,2.0,3]]", ""},
        {R"({"curve": [[0, 1, 2.9], [1, 1, -0.5]]})", true, "[[0.0,1.0,2],[1.0,1.0,0]]",
         "curve/0/2: 2.9curve/1/2: -0.5"},
        {R"({"curve": [[0, 1, 2, "more"]]})", true, "[[0.0,1.0,2]]", ""},
        {R"({"curve": [[2, 1, 0], [1, 1, 0], [3, 1]]})", false, "[[1.0,1.0,0],[2.0,1.0,0]]",
         "curve/2: array of 2"},
        {R"({"curve": [[0, 1, 0], 7, [3, 1, 0]]})", false, "[[0.0,1.0,0]]", "curve/1: number"},
        {R"({"curve": [[0, 1, 0], ["x", 1, 0]]})", false, "[[0.0,1.0,0]]", "curve/1/0: string"},
        {R"({"curve": [[0, 1, 0], [1, null, 0]]})", false, "[[0.0,1.0,0]]", "curve/1/1: null"},
        {R"({"curve": [[0, 1, 0], [1, 1, "0"]]})", false, "[[0.0,1.0,0]]", "curve/1/2: string"},
        {R"({"curve": [[0, 1, 4]]})", false, "[]", "curve/0/2: 4"},
        {R"({"curve": [[0, 1, -1]]})", false, "[]", "curve/0/2: -1"},
        {R"({"curve": [[0, 1, 1e99]]})", false, "[]", "curve/0/2: 1e+99curve/0/2: 2147483647"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stored);
        CurveOwner owner;
        std::string issues;
        const ZRKJson json = ZRKJson::parse(c.stored);
        const ZRKDeserialization d(
            json, nullptr, [&](const ZRKReadIssue& issue) { issues += issue.place + ": " + issue.found; });
        EXPECT_EQ(owner.curve.deserialize(d), c.taken);
        EXPECT_EQ(owner.curve.valueJson().dump(), c.result);
        EXPECT_EQ(issues, c.issue);
        EXPECT_EQ(owner.curve.value().nextOrdinal, static_cast<int>(owner.curve.value().points.size()));
    }
}

} // namespace
} // namespace zrkmodel

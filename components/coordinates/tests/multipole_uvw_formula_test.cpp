#include "components/coordinates/multipole_uvw_formula.h"

#include "testing/formula_agreement.h"
#include "testing/special_values.h"

namespace zrk {
namespace {

using Vector = Tensor<3, double>;

using zrk::testing::kPi;

MultipoleCoordinates coordinatesOf(std::vector<PoleRecord> poles)
{
    return {std::make_shared<const std::vector<PoleRecord>>(std::move(poles))};
}

void expectSame(const Vector& found, const Vector& expected)
{
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(found[i], expected[i], 1e-14) << "component " << i; // a few roundings around 1
    }
}

TEST(MultipoleCoordinates, AtPointsWithKnownAnswers)
{
    const PoleRecord origin{{0, 0, 0}, 1};
    const PoleRecord beside{{2, 0, 0}, -0.5};
    struct Case {
        const char* name;
        std::vector<PoleRecord> poles;
        Vector p;
        Vector expected;
    };
    const Case cases[] = {
        {"unit distance along x", {origin}, {1, 0, 0}, {0, 0, 0}},
        {"above", {origin}, {0, 0, 2}, {0, std::log(2.0), kPi / 2}},
        {"strength counts in all", {{{0, 0, 0}, -2}}, {0, 1, 1}, {-kPi, -std::log(2.0), -kPi / 2}},
        {"two add up", {origin, beside}, {2, 2, 0}, {0, 1.5 * std::log(2.0) - 0.5 * std::log(2.0), 0}},
        {"on a pole the other counts", {origin, beside}, {2, 0, 0}, {0, std::log(2.0), 0}},
        {"on the only pole", {origin}, {0, 0, 0}, {0, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectSame(coordinatesOf(c.poles)(c.p), c.expected);
    }
}

TEST(MultipoleCoordinates, AreTheSumOverTheirPoles)
{
    agreement::Random random(3);
    const auto coordinate = [&] { return agreement::uniform(random, -2, 2); };
    for (int round = 0; round < 300 && !::testing::Test::HasFailure(); ++round) {
        std::vector<PoleRecord> poles;
        for (int i = 0; i < 4; ++i) {
            poles.push_back({{coordinate(), coordinate(), coordinate()}, coordinate()});
        }
        aimFromCentroid(poles, poles.size());
        const Vector p{coordinate(), coordinate(), coordinate()};
        Vector sum{};
        for (const PoleRecord& pole : poles) {
            sum = sum + coordinatesOf({pole})(p);
        }
        expectSame(coordinatesOf(poles)(p), sum);
    }
}

TEST(AimFromCentroid, TurnsFramesAwayFromTheCentroid)
{
    std::vector<PoleRecord> two{{{0, 0, -1}, 1}, {{0, 0, 1}, 1}};
    aimFromCentroid(two, 2);
    expectSame(two[0].c, {0, 0, 1}); // reversed
    expectSame(two[0].a, {-1, 0, 0});
    expectSame(two[0].b, {0, 1, 0}); // of the direction before it was reversed
    expectSame(two[1].c, {0, 0, 1});
    expectSame(two[1].a, {1, 0, 0});
    expectSame(two[1].b, {0, 1, 0});

    // The divisor moves the centroid from 1.5 to 1, which is where the first pole stands.
    std::vector<PoleRecord> withMissing{{{1, 0, 0}, 1}, {{2, 0, 0}, 1}};
    aimFromCentroid(withMissing, 3);
    expectSame(withMissing[0].c, {0, 0, -1}); // kept, but still the first of two
    expectSame(withMissing[0].a, {1, 0, 0});
    expectSame(withMissing[1].c, {1, 0, 0});
    expectSame(withMissing[1].a, {0, 1, 0});

    std::vector<PoleRecord> three{{{-1, 0, 0}, 1}, {{1, 0, 0}, 1}, {{0, 3, 0}, 1}};
    aimFromCentroid(three, 3);
    expectSame(three[0].c, Vector{-1, -1, 0} * std::sqrt(0.5)); // nothing is reversed
    expectSame(three[2].c, {0, 1, 0});

    std::vector<PoleRecord> one{{{1, 2, 3}, 1}};
    aimFromCentroid(one, 2);
    expectSame(one[0].c, {0, 0, 1});
}

TEST(MultipoleCoordinates, AgreeInAllValueTypes)
{
    std::vector<PoleRecord> poles{{{0.5, 0, 1}, 1}, {{-1, 0.25, 0}, -0.5}, {{0, 2, 1}, 0.75}};
    aimFromCentroid(poles, 3);
    agreement::expectAgreement(coordinatesOf(poles), 1e-14);
    agreement::expectAgreement(coordinatesOf({{{0, 0, 0}, 1}}), 1e-14);
}

} // namespace
} // namespace zrk

#include "components/transforms/affine_transform.h"
#include "components/transforms/matrix_transform.h"
#include "testing/component_checks.h"

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr const char* kMatrixDefaults =
    R"({"inverse":true,"matrix":[1.0,0.0,0.0,0.0,0.0,1.0,0.0,0.0,0.0,0.0,1.0,0.0,0.0,0.0,0.0,1.0]})";
constexpr const char* kMatrix =
    R"({"inverse":false,"matrix":[0.0,2.0,0.0,7.0,0.0,0.0,3.0,8.0,4.0,0.0,0.0,9.0,1.0,2.0,3.0,5.0]})";
constexpr const char* kAffineDefaults =
    R"({"inverse":true,"translation":[0.0,0.0,0.0],"rotation":[0.0,0.0,0.0],"scaling":[1.0,1.0,1.0]})";
constexpr const char* kAffine =
    R"({"inverse":false,"translation":[1.0,2.0,3.0],"rotation":[90.0,180.0,270.0],"scaling":[2.0,3.0,4.0]})";

TEST(MatrixComponents, HaveTheirStoredForm)
{
    expectStoredForm<ZRKMatrixTransform>(kMatrixDefaults, kMatrix);
    expectStoredForm<ZRKAffineTransform>(kAffineDefaults, kAffine);
}

TEST(MatrixComponents, TakeMatricesOfSixteenEntriesOnly)
{
    for (const int count : {15, 17}) {
        ZRKMatrixTransform component;
        load(component, ZRKJson::parse(kMatrix));
        load(component, {{"matrix", std::vector<double>(static_cast<std::size_t>(count), 1.0)}});
        EXPECT_EQ(stored(component), kMatrix) << count;
    }
}

TEST(MatrixComponents, HaveWeightAndEvaluatorsAsOtherTransforms)
{
    expectForwardedWeight<ZRKMatrixTransform>();
    expectForwardedWeight<ZRKAffineTransform>();
    expectEditsReachOnlyNewEvaluators<ZRKMatrixTransform>(kMatrix, {4, 5, 6});
    expectEditsReachOnlyNewEvaluators<ZRKAffineTransform>(kAffine, {4, 5, 6});
}

TEST(MatrixComponents, MovePositionsByTheirProperties)
{
    using Case = ValueAtPosition<Vector>;
    const auto matrix = [] { return std::make_shared<ZRKMatrixTransform>(); };
    const auto affine = [] { return std::make_shared<ZRKAffineTransform>(); };
    const Case cases[] = {
        {"default matrix", matrix(), "{}", {1, -2, 3}, {1, -2, 3}},
        {"matrix, column by column", matrix(), kMatrix, {10, 20, 30}, {121, 22, 63}},
        // Of ((1, 0.5), (1, 1)) in x and the last column the inverse is ((2, -1), (-2, 2)).
        {"the last row counts in the inverse",
         matrix(),
         R"({"matrix": [1,0,0,1, 0,1,0,0, 0,0,1,0, 0.5,0,0,1]})",
         {1, 0, 0},
         {1, 0, 0}},
        {"default affine", affine(), "{}", {1, -2, 3}, {1, -2, 3}},
        {"moved back", affine(), R"({"translation": [1, 0, 0]})", {1, 0, 0}, {0, 0, 0}},
        {"moved", affine(), R"({"translation": [1, 0, 0], "inverse": false})", {0, 0, 0}, {1, 0, 0}},
        {"z takes x to y", affine(), R"({"rotation": [0, 0, 90], "inverse": false})", {1, 0, 0}, {0, 1, 0}},
        {"x takes y to z", affine(), R"({"rotation": [90, 0, 0], "inverse": false})", {0, 1, 0}, {0, 0, 1}},
        {"y takes z to x", affine(), R"({"rotation": [0, 90, 0], "inverse": false})", {0, 0, 1}, {1, 0, 0}},
        {"z turns before x",
         affine(),
         R"({"rotation": [90, 0, 90], "inverse": false})",
         {1, 0, 0},
         {0, 0, 1}},
        {"x turns after y", affine(), R"({"rotation": [90, 90, 0], "inverse": false})", {1, 0, 0}, {0, 1, 0}},
        {"scales before it turns",
         affine(),
         R"({"rotation": [0, 0, 90], "scaling": [2, 3, 4], "inverse": false})",
         {1, 1, 1},
         {-3, 2, 4}},
        {"all, forwards", affine(), kAffine, {1, 1, 1}, {-2, 6, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        load(*c.component, ZRKJson::parse(c.values));
        const std::vector<double> moved = sample(c.component, c.p);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(moved[i], c.expected[i], 1e-14) << "component " << i; // rounding of right angles
        }
    }
}

TEST(MatrixComponents, AreUndoneByTheirInverse)
{
    const auto component = std::make_shared<ZRKAffineTransform>();
    load(*component,
         ZRKJson::parse(
             R"({"translation": [1, -2, 3], "rotation": [20, -50, 130], "scaling": [2, -0.5, 0.1]})"));
    const Vector p{0.3, 0.7, -1.1};
    const std::vector<double> back = sample(component, p);
    component->inverse.set(false);
    const std::vector<double> there = sample(component, {back[0], back[1], back[2]});
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(there[i], p[i], 1e-13); // 20 is the largest entry of the inverse
    }
}

TEST(MatrixComponents, AFlatScalingHasNoFiniteInverse)
{
    const auto component = std::make_shared<ZRKAffineTransform>();
    component->scaling.set({1, 0, 1});
    EXPECT_FALSE(std::isfinite(sample(component, {1, 1, 1})[1]));
}

template <class Component>
void expectReset(const char* edited, const char* reset, const std::vector<std::string>& events)
{
    SCOPED_TRACE(Component::identity().className);
    const auto component = std::make_shared<Component>();
    std::vector<std::string> seen;
    component->addListener([&](const ZRKEvent& event) { seen.push_back(event.name); });
    load(*component, ZRKJson::parse(edited));
    component->setSilent(true);
    component->reset();
    EXPECT_EQ(stored(*component), reset);
    EXPECT_TRUE(seen.empty());
    component->setSilent(false);
    component->reset();
    EXPECT_EQ(seen, events);
}

TEST(MatrixComponents, ResetLeavesTheDirectionOfTheMap)
{
    expectReset<ZRKMatrixTransform>(
        kMatrix,
        R"({"inverse":false,"matrix":[1.0,0.0,0.0,0.0,0.0,1.0,0.0,0.0,0.0,0.0,1.0,0.0,0.0,0.0,0.0,1.0]})",
        {"matrix"});
    expectReset<ZRKAffineTransform>(
        kAffine,
        R"({"inverse":false,"translation":[0.0,0.0,0.0],"rotation":[0.0,0.0,0.0],"scaling":[1.0,1.0,1.0]})",
        {"translation", "rotation", "scaling"});
}

TEST(MatrixTransform, SetsOneRow)
{
    ZRKMatrixTransform component;
    component.setRow(1, {2, 3, 4, 5});
    component.setRow(-1, {9, 9, 9, 9});
    component.setRow(4, {9, 9, 9, 9});
    EXPECT_EQ(component.matrix.value(), (zrk::Matrix4{1, 2, 0, 0, 0, 3, 0, 0, 0, 4, 1, 0, 0, 5, 0, 1}));
}

} // namespace
} // namespace zrkmodel

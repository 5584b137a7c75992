#include "core/values/box_tree.h"

#include <gtest/gtest.h>

#include <random>

namespace zrk {
namespace {

template <class T>
class EightLanes : public ::testing::Test {};
using Scalars = ::testing::Types<float, double>;
TYPED_TEST_SUITE(EightLanes, Scalars);

TYPED_TEST(EightLanes, ArePackedWhereTheyHold)
{
    using Lanes = typename EightBoxes<TypeParam>::Lanes;
    const TypeParam values[kLanes] = {1, 2, 3, 4, 5, 6, 7, 8};
    const std::int32_t numbers[kLanes] = {-1, -2, -3, -4, -5, -6, -7, -8};
    for (Lanes8 lanes = 0; lanes < 256; ++lanes) {
        TypeParam packedValues[kLanes];
        std::int32_t packedNumbers[kLanes];
        Lanes::load(values).pack(lanes, packedValues);
        const int count = pack(lanes, numbers, packedNumbers);
        int place = 0;
        forEachLane(lanes, [&](int lane) {
            ASSERT_EQ(packedValues[place], values[lane]);
            ASSERT_EQ(packedNumbers[place++], numbers[lane]);
        });
        ASSERT_EQ(count, place);
    }
}

// Each lane beside a limit of its own, so that a lane compared or counted as another shows.
TYPED_TEST(EightLanes, AreComparedEachForItself)
{
    using Lanes = typename EightBoxes<TypeParam>::Lanes;
    const TypeParam limits[kLanes] = {1, 2, 3, 4, 5, 6, 7, 8};
    std::mt19937 random(3);
    for (int round = 0; round < 300; ++round) {
        TypeParam values[kLanes];
        Lanes8 expected = 0;
        int least = 0;
        for (int lane = 0; lane < kLanes; ++lane) {
            const auto step = static_cast<TypeParam>(random() % 3);
            values[lane] = limits[lane] + step - 1;
            expected |= step <= 1 ? Lanes8{1} << lane : 0;
            least = values[lane] < values[least] ? lane : least;
        }
        ASSERT_EQ(lessOrEqual(Lanes::load(values), Lanes::load(limits)), expected);
        ASSERT_EQ(leastLane(Lanes::load(values)), least);
    }
}

TYPED_TEST(EightLanes, HoldTheDistancesOfBoxes)
{
    EightBoxes<TypeParam> boxes;
    boxes.set(0, {{0, 0, 0}, {1, 2, 3}});
    boxes.set(6, {{-1, -1, -1}, {1, 1, 1}});
    TypeParam distances[kLanes];
    boxes.squaredDistances({4, 6, -2}).store(distances);
    for (int lane = 0; lane < kLanes; ++lane) {
        const double expected = lane == 0 ? 9 + 16 + 4 : lane == 6 ? 9 + 25 + 1 : HUGE_VAL;
        // Made a little smaller on purpose in double.
        ASSERT_LE(distances[lane], expected);
        ASSERT_GE(distances[lane], expected * (1 - 1e-13));
    }
    boxes.squaredDistances({0.5, 0.5, 0.5}).store(distances);
    EXPECT_EQ(distances[0], 0);
    EXPECT_EQ(boxes.box(0).max, (Tensor<3, TypeParam>{1, 2, 3}));
}

TEST(Box, GrowsFromNothing)
{
    Box<double> box;
    box.include(Tensor<3, double>{1, NAN, 3});
    box.include(Tensor<3, double>{-1, 2, 5});
    box.include(Box<double>());
    EXPECT_EQ(box.min, (Tensor<3, double>{-1, 2, 3}));
    EXPECT_EQ(box.max, (Tensor<3, double>{1, 2, 5}));
    EXPECT_EQ((Box<double>{{0, 0, 0}, {1, 2, 3}}).halfArea(), 2 + 6 + 3);
}

} // namespace
} // namespace zrk

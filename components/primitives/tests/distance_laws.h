#pragma once

#include "core/values/tensor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace zrk {

inline double length(const Tensor<3, double>& v) { return std::sqrt(dot(v, v)); }

/// Calls visit(p) for seeded random positions within 3 of the origin.
template <class Visit>
void forRandomPositions(Visit visit)
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> coordinate(-3, 3);
    for (int i = 0; i < 1000 && !testing::Test::HasFailure(); ++i) {
        const Tensor<3, double> p{coordinate(random), coordinate(random), coordinate(random)};
        SCOPED_TRACE(testing::Message() << "p = (" << p[0] << ", " << p[1] << ", " << p[2] << ")");
        visit(p);
    }
}

/// A distance can't change faster than the position moves, and away from edges and centres it
/// changes as fast. Fails for a squared length, a lost or a doubled axis.
template <class Distance>
void expectSlopeOfDistance(const Distance& distance)
{
    constexpr double kStep = 1e-3;
    constexpr double kRounding = 1e-12;
    int steep = 0;
    Tensor<3, double> before{};
    forRandomPositions([&](const Tensor<3, double>& p) {
        EXPECT_LE(std::abs(distance(p) - distance(before)), length(p - before) + kRounding);
        before = p;
        Tensor<3, double> gradient{};
        for (std::size_t i = 0; i < 3; ++i) {
            Tensor<3, double> ahead = p;
            ahead[i] += kStep;
            gradient[i] = (distance(ahead) - distance(p)) / kStep;
        }
        steep += length(gradient) > 0.98;
    });
    EXPECT_GE(steep, 900);
}

} // namespace zrk

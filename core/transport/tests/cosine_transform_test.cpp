#include "core/transport/cosine_transform.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace zrk::optimalTransport {
namespace {

using zrk::testing::kPi;

/// Mode m of a cosine along each axis.
std::vector<double> mode(const int (&n)[3], const int (&m)[3])
{
    std::vector<double> values;
    for (int i = 0; i < n[0]; ++i) {
        for (int j = 0; j < n[1]; ++j) {
            for (int k = 0; k < n[2]; ++k) {
                values.push_back(std::cos(kPi * m[0] * (i + 0.5) / n[0]) *
                                 std::cos(kPi * m[1] * (j + 0.5) / n[1]) *
                                 std::cos(kPi * m[2] * (k + 0.5) / n[2]));
            }
        }
    }
    return values;
}

} // namespace

TEST(CosineTransform, InverseUndoesForward)
{
    const int extents[][3] = {{4, 6, 8}, {3, 5, 7}, {1, 1, 9}, {2, 1, 1}, {1, 1, 1}, {32, 31, 4}};
    for (const auto& n : extents) {
        DCT<double> dct;
        dct.resize(n[0], n[1], n[2]);
        std::mt19937 random(5);
        std::vector<double> values(static_cast<std::size_t>(n[0] * n[1] * n[2]));
        std::generate(values.begin(), values.end(), [&] { return random() * 0x1p-32; });
        std::copy(values.begin(), values.end(), dct.data());
        dct.forward();
        double sum = 0.0;
        for (double v : values) {
            sum += v;
        }
        EXPECT_NEAR(dct.data()[0], 8 * sum, 1e-12 * 8 * sum);
        dct.threadCount = 2;
        dct.inverse();
        for (std::size_t i = 0; i < values.size(); ++i) {
            EXPECT_NEAR(dct.data()[i], values[i], 1e-14);
        }
    }
}

// Neither normalized nor orthogonal: a single 1 has the coefficient 2 cos(pi m (i + 1/2) / n) along each
// axis, also for m = 0, and a single coefficient of 1 gives back 1 / n for m = 0 and cosines of twice that
// otherwise, in all over 8. The last axis runs fastest.
TEST(CosineTransform, IsNotNormalized)
{
    const int n[3] = {3, 4, 5};
    const int at[3] = {2, 1, 3};
    DCT<double> dct;
    dct.resize(n[0], n[1], n[2]);
    const auto setOne = [&] {
        std::fill_n(dct.data(), 60, 0.0);
        dct.data()[(at[0] * n[1] + at[1]) * n[2] + at[2]] = 1.0;
    };
    const auto expectProducts = [&](auto factor) {
        for (int i = 0; i < n[0]; ++i) {
            for (int j = 0; j < n[1]; ++j) {
                for (int k = 0; k < n[2]; ++k) {
                    EXPECT_NEAR(dct.data()[(i * n[1] + j) * n[2] + k],
                                factor(0, i) * factor(1, j) * factor(2, k), 1e-14);
                }
            }
        }
    };
    setOne();
    dct.forward();
    expectProducts([&](int axis, int m) { return 2 * std::cos(kPi * m * (at[axis] + 0.5) / n[axis]); });
    setOne();
    dct.inverse();
    expectProducts([&](int axis, int i) {
        return 2 * std::cos(kPi * at[axis] * (i + 0.5) / n[axis]) / (2.0 * n[axis]);
    });
    std::fill_n(dct.data(), 60, 0.0);
    dct.data()[0] = 1.0;
    dct.inverse();
    expectProducts([&](int axis, int) { return 1 / (2.0 * n[axis]); });
}

TEST(CosineTransform, LeavesEmptyBlocksAlone)
{
    DCT<double> dct;
    dct.forward();
    dct.resize(3, 0, 4);
    dct.forward();
    dct.inverse();
    EXPECT_TRUE(dct.eigenvaluesY().empty());
}

TEST(InverseLaplacian, ScalesEachModeByItsEigenvalue)
{
    const int n[3] = {5, 2, 8};
    DCT<double> dct;
    dct.resize(n[0], n[1], n[2]);
    const std::vector<double>* const eigenvalues[3] = {&dct.eigenvaluesX(), &dct.eigenvaluesY(),
                                                       &dct.eigenvaluesZ()};
    for (int axis = 0; axis < 3; ++axis) {
        ASSERT_EQ(eigenvalues[axis]->size(), static_cast<std::size_t>(n[axis]));
        EXPECT_EQ(eigenvalues[axis]->front(), 0.0);
        const double half = std::sin(kPi * (n[axis] - 1) / (2 * n[axis]));
        EXPECT_NEAR(eigenvalues[axis]->back(), -4 * half * half * n[axis] * n[axis], 1e-12);
    }
    EXPECT_NEAR(dct.eigenvaluesY()[1], -8.0, 1e-14);
    const int modes[][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 7}, {4, 1, 3}};
    for (const auto& m : modes) {
        const std::vector<double> wave = mode(n, m);
        std::copy(wave.begin(), wave.end(), dct.data());
        applyInverseLaplacian(dct);
        double lambda = 0.0;
        for (int axis = 0; axis < 3; ++axis) {
            lambda += (2 * std::cos(kPi * m[axis] / n[axis]) - 2) * n[axis] * n[axis];
        }
        const double factor = lambda == 0.0 ? -1.0 : -1.0 / lambda; // the constant is negated
        for (std::size_t i = 0; i < wave.size(); ++i) {
            EXPECT_NEAR(dct.data()[i], factor * wave[i], 1e-14);
        }
    }
    DCT<double> single;
    single.resize(1, 1, 1);
    single.data()[0] = 2.5;
    applyInverseLaplacian(single);
    EXPECT_EQ(single.data()[0], -2.5);
}

} // namespace zrk::optimalTransport

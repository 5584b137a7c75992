#include "core/values/matrix4.h"

#include "testing/formula_agreement.h"

#include <gtest/gtest.h>

namespace zrk {
namespace {

/// Returns the inverse by Gauss-Jordan elimination with exchange of rows, in extended precision.
Matrix4 inverseByElimination(const Matrix4& matrix)
{
    long double rows[4][8] = {};
    for (std::size_t r = 0; r < 4; ++r) {
        for (std::size_t c = 0; c < 4; ++c) {
            rows[r][c] = matrix[4 * c + r];
        }
        rows[r][4 + r] = 1;
    }
    for (std::size_t c = 0; c < 4; ++c) {
        const auto pivot = std::max_element(rows + c, rows + 4, [c](const auto& a, const auto& b) {
            return std::abs(a[c]) < std::abs(b[c]);
        });
        std::swap(*pivot, rows[c]);
        for (std::size_t r = 0; r < 4; ++r) {
            const long double factor = r == c ? 0 : rows[r][c] / rows[c][c];
            for (std::size_t k = 0; k < 8; ++k) {
                rows[r][k] -= factor * rows[c][k];
            }
        }
    }
    Matrix4 result;
    for (std::size_t r = 0; r < 4; ++r) {
        for (std::size_t c = 0; c < 4; ++c) {
            result[4 * c + r] = static_cast<double>(rows[r][4 + c] / rows[r][r]);
        }
    }
    return result;
}

TEST(Matrix4, InverseIsThatOfElimination)
{
    agreement::Random random(3);
    for (int round = 0; round < 2000 && !::testing::Test::HasFailure(); ++round) {
        Matrix4 matrix;
        for (double& entry : matrix) {
            entry = agreement::uniform(random, -3, 3);
        }
        const Matrix4 result = inverse(matrix);
        const Matrix4 expected = inverseByElimination(matrix);
        double largest = 1;
        for (const double entry : expected) {
            largest = std::max(largest, std::abs(entry));
        }
        for (std::size_t i = 0; i < 16; ++i) {
            // Rounding grows with the condition of the matrix, which the largest entry tells.
            EXPECT_NEAR(result[i], expected[i], 1e-14 * largest * largest) << "round " << round << ", " << i;
        }
    }
}

TEST(Matrix4, InverseOfASingularMatrixIsNotFinite)
{
    Matrix4 flat = kIdentity4;
    flat[5] = 0;
    const Matrix4 result = inverse(flat);
    EXPECT_FALSE(std::isfinite(result[5]));
    EXPECT_FALSE(std::isfinite(inverse(Matrix4{})[0]));
}

TEST(Matrix4, PositionsIgnoreTheLastRow)
{
    const MatrixPosition map{{2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53}};
    EXPECT_EQ(map(Tensor<3, double>{1, 10, 100}),
              (Tensor<3, double>{2 + 110 + 2300 + 41, 3 + 130 + 2900 + 43, 5 + 170 + 3100 + 47}));
}

TEST(Matrix4, FormulasAgreeInAllValueTypes)
{
    agreement::expectAgreement(MatrixPosition{{2, 3, 5, 7, -1, 0.5, 0, 0, 0.25, -4, 1, 0, 41, 0, 47, 53}}, 0);
}

} // namespace
} // namespace zrk

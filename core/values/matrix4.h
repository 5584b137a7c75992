#pragma once

#include "core/values/tensor.h"

namespace zrk {

/// A 4-by-4 matrix, stored column by column: the entry of row r and column c stands at 4 * c + r.
/// Column 3 is the translation.
using Matrix4 = Tensor<kMatrix4, double>;

inline constexpr Matrix4 kIdentity4{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// The inverse of a matrix. The inverse of a singular matrix, which isn't tested for, holds infinities or
/// NaN.
///
/// Source: cofactors by Laplace's expansion along two rows, as in Eberly, "The Laplace Expansion Theorem:
/// Computing the Determinants and Inverses of Matrices", Geometric Tools; each entry is divided by the
/// determinant instead of multiplied with its reciprocal.
Matrix4 inverse(const Matrix4& matrix);

/// Maps a position through the first three rows of a matrix. Row 3 is taken to be (0, 0, 0, 1), so there is
/// no perspective.
struct MatrixPosition {
    Matrix4 matrix;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        Tensor<3, V> moved;
        for (std::size_t r = 0; r < 3; ++r) {
            moved[r] = p[0] * matrix[r] + p[1] * matrix[4 + r] + p[2] * matrix[8 + r] + matrix[12 + r];
        }
        return moved;
    }
};

} // namespace zrk

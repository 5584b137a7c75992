#pragma once

#include "core/values/tensor.h"

namespace zrk {

/// A 4-by-4 matrix, column by column: row r, column c at 4 * c + r. Column 3 is the translation.
using Matrix4 = Tensor<kMatrix4, double>;

inline constexpr Matrix4 kIdentity4{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

/// The inverse: the matrix of cofactors divided by the determinant. A singular matrix isn't
/// tested for; its result holds infinities or NaN.
Matrix4 inverse(const Matrix4& matrix);

/// A position through the first three rows of a matrix; row 3 is taken for (0, 0, 0, 1).
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

#include "core/values/matrix4.h"

namespace zrk {

namespace {

/// The two minors of columns a and b: that of rows 0 and 1 (upper) and that of rows 2 and 3 (lower).
struct Minors {
    double upper;
    double lower;

    Minors(const Matrix4& m, std::size_t a, std::size_t b)
        : upper(m[4 * a] * m[4 * b + 1] - m[4 * a + 1] * m[4 * b]),
          lower(m[4 * a + 2] * m[4 * b + 3] - m[4 * a + 3] * m[4 * b + 2])
    {}
};

} // namespace

Matrix4 inverse(const Matrix4& m)
{
    // Laplace expansion along the upper two rows. m01 holds the minors of columns 0 and 1.
    const Minors m01(m, 0, 1), m02(m, 0, 2), m03(m, 0, 3), m12(m, 1, 2), m13(m, 1, 3), m23(m, 2, 3);
    const double determinant = m01.upper * m23.lower - m02.upper * m13.lower + m03.upper * m12.lower +
                               m12.upper * m03.lower - m13.upper * m02.lower + m23.upper * m01.lower;
    Matrix4 result;
    for (std::size_t c = 0; c < 4; ++c) {
        // Column c of the inverse is made of the row of m that is paired with row c, and of the
        // minors of the other pair.
        const auto minor = [c](const Minors& minors) { return c < 2 ? minors.lower : minors.upper; };
        const double* row = m.components + (c ^ 1u);
        const double sign = c % 2 == 0 ? 1 : -1;
        const double a0 = sign * row[0], a1 = sign * row[4], a2 = sign * row[8], a3 = sign * row[12];
        result[4 * c] = (a1 * minor(m23) - a2 * minor(m13) + a3 * minor(m12)) / determinant;
        result[4 * c + 1] = (a2 * minor(m03) - a0 * minor(m23) - a3 * minor(m02)) / determinant;
        result[4 * c + 2] = (a0 * minor(m13) - a1 * minor(m03) + a3 * minor(m01)) / determinant;
        result[4 * c + 3] = (a1 * minor(m02) - a0 * minor(m12) - a2 * minor(m01)) / determinant;
    }
    return result;
}

} // namespace zrk

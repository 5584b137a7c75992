#include "core/transport/cosine_transform.h"

#include "core/raster/fourier.h"

#include <cmath>
#include <numbers>

namespace zrk::fft {

void DCTPocket<double>::resize(std::int32_t n0, std::int32_t n1, std::int32_t n2)
{
    const std::int32_t extents[3] = {n0, n1, n2};
    std::size_t values = 1;
    for (int axis = 0; axis < 3; ++axis) {
        _dims[axis] = extents[axis];
        values *= extents[axis] > 0 ? static_cast<std::size_t>(extents[axis]) : 0u;
    }
    _buffer = std::vector<double>(values);
}

void DCTPocket<double>::forward() { cosineTransform(_dims, data(), threadCount); }
void DCTPocket<double>::inverse() { inverseCosineTransform(_dims, data(), threadCount); }

} // namespace zrk::fft

namespace zrk::optimalTransport {

std::vector<double> laplacianEigenvalues(std::int32_t n)
{
    constexpr double kPi = std::numbers::pi;
    std::vector<double> values;
    for (std::int32_t m = 0; m < n; ++m) {
        values.push_back((2.0 * std::cos(kPi * m / n) - 2.0) * n * n);
    }
    return values;
}

void DCT<double>::resize(std::int32_t n0, std::int32_t n1, std::int32_t n2)
{
    DCTPocket<double>::resize(n0, n1, n2);
    _eigenvaluesX = laplacianEigenvalues(n0);
    _eigenvaluesY = laplacianEigenvalues(n1);
    _eigenvaluesZ = laplacianEigenvalues(n2);
}

void applyInverseLaplacian(DCT<double>& dct)
{
    dct.forward();
    double* value = dct.data();
    for (const double x : dct.eigenvaluesX()) {
        for (const double y : dct.eigenvaluesY()) {
            for (const double z : dct.eigenvaluesZ()) {
                const double lambda = x + y + z;
                *value = *value / -(lambda == 0.0 ? 1.0 : lambda);
                ++value;
            }
        }
    }
    dct.inverse();
}

} // namespace zrk::optimalTransport

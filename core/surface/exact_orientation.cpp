#include "core/surface/exact_orientation.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace zrk::surface {

namespace {

/// A sum of doubles that don't overlap, the smallest first: the exact value of an expression.
class ExactSum {
public:
    void add(double value)
    {
        for (double& part : _parts) {
            const double sum = part + value;
            const double other = sum - part;
            part = (part - (sum - other)) + (value - other); // what the sum has lost
            value = sum;
        }
        _parts.push_back(value);
    }
    /// Adds a * b, which two doubles hold.
    void addProduct(double a, double b)
    {
        const double product = a * b;
        add(std::fma(a, b, -product));
        add(product);
    }
    /// Adds a * b * c: the product of the first two is held by two doubles.
    void addProduct(double a, double b, double c)
    {
        const double product = a * b;
        addProduct(std::fma(a, b, -product), c);
        addProduct(product, c);
    }
    int sign() const
    {
        for (auto part = _parts.rbegin(); part != _parts.rend(); ++part) {
            if (*part != 0) {
                return *part > 0 ? 1 : -1;
            }
        }
        return 0;
    }

private:
    std::vector<double> _parts;
};

int signOf(double value) { return value > 0 ? 1 : value < 0 ? -1 : 0; }

} // namespace

int orientation(const Tensor<3, double>& a, const Tensor<3, double>& b, const Tensor<3, double>& c,
                const Tensor<3, double>& d)
{
    const Tensor<3, double> u = a - d;
    const Tensor<3, double> v = b - d;
    const Tensor<3, double> w = c - d;
    const double volume = dot(u, cross(v, w));
    double size = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        size += std::abs(u[i]) * (std::abs(v[j] * w[k]) + std::abs(v[k] * w[j]));
    }
    if (std::abs(volume) > 16 * std::numeric_limits<double>::epsilon() * size) {
        return signOf(volume);
    }
    // The determinant with rows (p, 1), expanded by the fourth column.
    ExactSum sum;
    const Tensor<3, double>* points[4] = {&a, &b, &c, &d};
    for (std::size_t left = 0; left < 4; ++left) {
        const Tensor<3, double>* rows[3];
        for (std::size_t i = 0, n = 0; i < 4; ++i) {
            if (i != left) {
                rows[n++] = points[i];
            }
        }
        const double sign = left % 2 == 0 ? -1 : 1;
        for (std::size_t i = 0; i < 3; ++i) {
            const std::size_t j = (i + 1) % 3;
            const std::size_t k = (i + 2) % 3;
            sum.addProduct(sign * (*rows[0])[i], (*rows[1])[j], (*rows[2])[k]);
            sum.addProduct(-sign * (*rows[0])[i], (*rows[1])[k], (*rows[2])[j]);
        }
    }
    return sum.sign();
}

int orientationAlong(std::size_t axis, const Tensor<3, double>& a, const Tensor<3, double>& b,
                     const Tensor<3, double>& c)
{
    const std::size_t u = (axis + 1) % 3;
    const std::size_t v = (axis + 2) % 3;
    const double left = (a[u] - c[u]) * (b[v] - c[v]);
    const double right = (a[v] - c[v]) * (b[u] - c[u]);
    const double area = left - right;
    if (std::abs(area) > 8 * std::numeric_limits<double>::epsilon() * (std::abs(left) + std::abs(right))) {
        return signOf(area);
    }
    ExactSum sum;
    sum.addProduct(a[u], b[v]);
    sum.addProduct(-a[v], b[u]);
    sum.addProduct(b[u], c[v]);
    sum.addProduct(-b[v], c[u]);
    sum.addProduct(c[u], a[v]);
    sum.addProduct(-c[v], a[u]);
    return sum.sign();
}

} // namespace zrk::surface

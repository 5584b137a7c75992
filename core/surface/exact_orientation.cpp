#include "core/surface/exact_orientation.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace zrk::surface {

namespace {

/// A sum of doubles that don't overlap, the smallest first: the exact value of an expression.
class ExactSum {
public:
    void add(double value)
    {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < _count; ++i) {
            const double part = _parts[i];
            const double sum = part + value;
            const double other = sum - part;
            const double lost = (part - (sum - other)) + (value - other);
            if (lost != 0) {
                _parts[kept++] = lost;
            }
            value = sum;
        }
        _parts[kept++] = value;
        _count = kept;
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
        for (std::size_t i = _count; i > 0; --i) {
            if (_parts[i - 1] != 0) {
                return _parts[i - 1] > 0 ? 1 : -1;
            }
        }
        return 0;
    }

private:
    /// Twenty-four products of three, of four parts each, are the most that is added.
    std::array<double, 96> _parts;
    std::size_t _count = 0;
};

/// The sum of two doubles, the second far smaller: some 106 bits.
struct Twofold {
    double high = 0, low = 0;

    static Twofold sumOf(double a, double b)
    {
        const double sum = a + b;
        const double other = sum - a;
        return {sum, (a - (sum - other)) + (b - other)};
    }
    static Twofold productOf(double a, double b)
    {
        const double product = a * b;
        return {product, std::fma(a, b, -product)};
    }
    friend Twofold operator+(const Twofold& a, const Twofold& b)
    {
        const Twofold sum = sumOf(a.high, b.high);
        return sumOf(sum.high, sum.low + (a.low + b.low));
    }
    friend Twofold operator-(const Twofold& a, const Twofold& b) { return a + Twofold{-b.high, -b.low}; }
    friend Twofold operator*(const Twofold& a, const Twofold& b)
    {
        const Twofold product = productOf(a.high, b.high);
        return sumOf(product.high, product.low + (a.high * b.low + a.low * b.high));
    }
};

/// The relative error of a determinant in twofold numbers, of the sum of its products' sizes. Each operation
/// errs by a few units of 2^-104 of its operands' sizes.
constexpr double kTwofoldError = 0x1p-96;

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
    if (size == 0) {
        return 0; // differences are 0 only of equal coordinates
    }
    Twofold fine[3][3];
    const Tensor<3, double>* corners[3] = {&a, &b, &c};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t i = 0; i < 3; ++i) {
            fine[row][i] = Twofold::sumOf((*corners[row])[i], -d[i]);
        }
    }
    Twofold determinant;
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        determinant = determinant + fine[0][i] * (fine[1][j] * fine[2][k] - fine[1][k] * fine[2][j]);
    }
    if (std::abs(determinant.high) > kTwofoldError * size) {
        return signOf(determinant.high);
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
    if (left == 0 && right == 0) {
        return 0; // differences are 0 only of equal coordinates
    }
    const auto difference = [](double from, double minus) { return Twofold::sumOf(from, -minus); };
    const Twofold fine =
        difference(a[u], c[u]) * difference(b[v], c[v]) - difference(a[v], c[v]) * difference(b[u], c[u]);
    if (std::abs(fine.high) > kTwofoldError * (std::abs(left) + std::abs(right))) {
        return signOf(fine.high);
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

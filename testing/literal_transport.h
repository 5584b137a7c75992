#pragma once

#include "core/transport/cosine_transform.h"
#include "core/transport/solver.h"

#include <algorithm>
#include <cmath>
#include <vector>

/// The transport iteration written down step by step: on whole arrays with their outer faces, with transforms
/// along all axes, and without regard to speed. Tests and benchmarks compare the solver with it.
namespace zrk::optimalTransport::literal {

/// Numbers on a block, the last axis fastest.
struct Grid {
    int dims[3];
    std::vector<double> data;

    Grid(int nx, int ny, int nt) : dims{nx, ny, nt}, data(static_cast<std::size_t>(nx * ny * nt)) {}
    double& operator()(int i, int j, int k) { return data[index(i, j, k)]; }
    double operator()(int i, int j, int k) const { return data[index(i, j, k)]; }
    std::size_t index(int i, int j, int k) const
    {
        return static_cast<std::size_t>((i * dims[1] + j) * dims[2] + k);
    }
};

template <class Visit>
void forEach(const int (&dims)[3], Visit visit)
{
    for (int i = 0; i < dims[0]; ++i) {
        for (int j = 0; j < dims[1]; ++j) {
            for (int k = 0; k < dims[2]; ++k) {
                visit(i, j, k);
            }
        }
    }
}

using Field = std::vector<Grid>; ///< momentum along x and y, density

inline Field faces(int nx, int ny, int nt)
{
    return {Grid(nx + 1, ny, nt), Grid(nx, ny + 1, nt), Grid(nx, ny, nt + 1)};
}

/// Returns the index of the cell before a face, or of the face before a cell's upper one.
inline double& shifted(Grid& grid, int axis, int by, int i, int j, int k)
{
    return grid(i + (axis == 0 ? by : 0), j + (axis == 1 ? by : 0), k + (axis == 2 ? by : 0));
}

inline void interpolate(Field& field, Field& centred, bool skipOuterFaces)
{
    for (int axis = 0; axis < 3; ++axis) {
        auto& out = centred[static_cast<std::size_t>(axis)];
        auto& in = field[static_cast<std::size_t>(axis)];
        forEach(out.dims, [&](int i, int j, int k) {
            const int at = axis == 0 ? i : axis == 1 ? j : k;
            const double lower = skipOuterFaces && at == 0 ? 0.0 : in(i, j, k);
            const double upper =
                skipOuterFaces && at + 1 == out.dims[axis] ? 0.0 : shifted(in, axis, 1, i, j, k);
            out(i, j, k) = 0.5 * (lower + upper);
        });
    }
}

/// The adjoint of the interpolation, with the outer faces cleared.
inline void spread(Field& centred, Field& field)
{
    for (int axis = 0; axis < 3; ++axis) {
        auto& out = field[static_cast<std::size_t>(axis)];
        auto& in = centred[static_cast<std::size_t>(axis)];
        forEach(out.dims, [&](int i, int j, int k) {
            const int at = axis == 0 ? i : axis == 1 ? j : k;
            const bool isOuter = at == 0 || at + 1 == out.dims[axis];
            out(i, j, k) = isOuter ? 0.0 : 0.5 * (shifted(in, axis, -1, i, j, k) + in(i, j, k));
        });
    }
}

inline void projectDivergenceFree(Field& u, DCT<double>& dct)
{
    const auto& n = dct.dims();
    double* phi = dct.data();
    const auto at = [&](int i, int j, int k) -> double& { return phi[(i * n[1] + j) * n[2] + k]; };
    const int dims[3] = {n[0], n[1], n[2]};
    forEach(dims, [&](int i, int j, int k) {
        at(i, j, k) = (u[0](i, j, k) - u[0](i + 1, j, k)) * n[0] +
                      (u[1](i, j, k) - u[1](i, j + 1, k)) * n[1] + (u[2](i, j, k) - u[2](i, j, k + 1)) * n[2];
    });
    applyInverseLaplacian(dct);
    forEach(dims, [&](int i, int j, int k) {
        if (i + 1 < n[0]) {
            u[0](i + 1, j, k) += (at(i, j, k) - at(i + 1, j, k)) * n[0];
        }
        if (j + 1 < n[1]) {
            u[1](i, j + 1, k) += (at(i, j, k) - at(i, j + 1, k)) * n[1];
        }
        if (k + 1 < n[2]) {
            u[2](i, j, k + 1) += (at(i, j, k) - at(i, j, k + 1)) * n[2];
        }
    });
}

/// Runs the whole iteration and returns the density at cell centres in the order of a raster. The slices at
/// the ends aren't exchanged for the images.
inline Raster<1, 3, double> solve(Image a, Image b, int steps, const Image* obstacle)
{
    const int nx = a.dims[0];
    const int ny = a.dims[1];
    double minimum = 1e9;
    for (Image* image : {&a, &b}) {
        double mass = 0.0;
        for (double v : image->data) {
            mass += v;
        }
        for (double& v : image->data) {
            v = mass == 0.0 ? v : v * (1.0 / mass);
            minimum = std::min(minimum, v);
        }
    }
    const auto pixel = [nx](const Image& image, int i, int j) {
        return image.data[static_cast<std::size_t>(j * nx + i)];
    };
    Field u = faces(nx, ny, steps);
    forEach(u[2].dims, [&](int i, int j, int k) {
        const double t = static_cast<double>(k) / steps;
        u[2](i, j, k) = (1 - t) * pixel(a, i, j) + t * pixel(b, i, j);
    });
    Field bar = u;
    Field v = faces(nx, ny, steps);
    Field y{Grid(nx, ny, steps), Grid(nx, ny, steps), Grid(nx, ny, steps)};
    Field w = y;
    Grid q(nx, ny, steps);
    forEach(q.dims, [&](int i, int j, int) {
        q(i, j, 0) = 0.5 * pixel(a, i, j);
        q(i, j, steps - 1) = 0.5 * pixel(b, i, j);
    });
    DCT<double> dct;
    dct.resize(nx, ny, steps);
    const double sigma = 85.0;
    const double tau = 0.99 / sigma;
    const double g = 1 / sigma;
    interpolate(u, y, true);
    for (int n = 0; n < 2000; ++n) {
        interpolate(bar, w, true);
        forEach(q.dims, [&](int i, int j, int k) {
            for (std::size_t c = 0; c < 3; ++c) {
                y[c](i, j, k) += sigma * w[c](i, j, k);
            }
            const double mx = g * y[0](i, j, k);
            const double my = g * y[1](i, j, k);
            const double r = g * y[2](i, j, k) + q(i, j, k);
            const double p2 = 4 * g - r;
            const double p1 = (g - r) * 4 * g;
            const double p0 = -g * (mx * mx + my * my + 4 * g * r);
            double x = r;
            for (int step = 0; step < 3; ++step) {
                x = x - (((x + p2) * x + p1) * x + p0) / ((3 * x + 2 * p2) * x + p1);
            }
            x = std::max(minimum, x);
            if (obstacle && pixel(*obstacle, i, j) > 0.0) {
                x = minimum;
            }
            const double s = 1 / (1 + 2 * g / x);
            y[0](i, j, k) -= s * mx / g;
            y[1](i, j, k) -= s * my / g;
            y[2](i, j, k) -= (x - q(i, j, k)) / g;
        });
        spread(y, v);
        const Field old = u;
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t f = 0; f < u[c].data.size(); ++f) {
                u[c].data[f] -= tau * v[c].data[f];
            }
        }
        projectDivergenceFree(u, dct);
        for (std::size_t c = 0; c < 3; ++c) {
            for (std::size_t f = 0; f < u[c].data.size(); ++f) {
                bar[c].data[f] = (u[c].data[f] - old[c].data[f]) * 1.0 + u[c].data[f];
            }
        }
    }
    interpolate(u, w, false);
    Raster<1, 3, double> stack(nx, ny, steps);
    forEach(q.dims, [&](int i, int j, int k) {
        stack.data[static_cast<std::size_t>(i + nx * (j + ny * k))] = w[2](i, j, k);
    });
    return stack;
}

} // namespace zrk::optimalTransport::literal

#include "core/raster/gaussian_kernel.h"

#include "core/values/stop.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace zrk {

GridBox<double> gridOverBox(const BBox<double>& box, std::int32_t resolution)
{
    double volume = 1.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        volume *= box.size[axis] != 0.0 ? box.size[axis] : 1.0;
    }
    const double scale = std::pow(1.0 / volume, 1.0 / 3.0);
    std::int32_t dims[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double nodes = std::round(scale * resolution * box.size[axis]);
        constexpr auto kMost = std::numeric_limits<std::int32_t>::max();
        dims[axis] = nodes >= kMost ? kMost : nodes >= 2.0 ? static_cast<std::int32_t>(nodes) : 2;
    }
    return {box.min, box.max, dims[0], dims[1], dims[2]};
}

double gaussianWeight(const GridBox<double>& grid, double radius, std::int32_t i, std::int32_t j,
                      std::int32_t k)
{
    const Tensor<3, double> p = grid.region.localToWorld(i, j, k);
    double squared = 0.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double d = p[axis] - 0.5 * (grid.min[axis] + grid.max[axis]);
        squared += d * d;
    }
    return std::exp(-4.0 * squared / (radius * radius));
}

Raster<1, 3, double> gaussianKernel(const GridBox<double>& grid, double radius)
{
    const auto& dims = grid.region.dimensions();
    Raster<1, 3, double> weights(dims[0], dims[1], dims[2]);
    double sum = 0.0;
    double* weight = weights.data.data();
    for (std::int32_t k = 0; k < dims[2]; ++k) {
        for (std::int32_t j = 0; j < dims[1]; ++j) {
            stopIfAsked();
            for (std::int32_t i = 0; i < dims[0]; ++i) {
                *weight = gaussianWeight(grid, radius, i, j, k);
                sum += *weight++;
            }
        }
    }
    if (sum != 0.0) {
        const double factor = 1.0 / sum;
        for (double& value : weights.data) {
            value *= factor;
        }
    }
    return weights;
}

} // namespace zrk

#include "host/grid_rows.h"

#include "core/values/region.h"

#include <algorithm>
#include <cassert>
#include <limits>

namespace zrkmodel {

namespace {

/// The coordinates of the nodes along an axis, by a grid that has two nodes along the others.
std::vector<double> coordinatesAlong(std::size_t axis, const zrk::BBox<double>& bounds, std::int32_t count)
{
    std::array<std::int32_t, 3> dims{2, 2, 2};
    dims[axis] = count;
    const zrk::GridDomain thin(
        zrk::Region<3, 3, double, 1>(bounds.min, bounds.max, dims[0], dims[1], dims[2]));
    const std::int32_t step = axis == 0 ? 1 : axis == 1 ? 2 : 4;
    std::vector<double> coordinates(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i) {
        std::array<double*, 3> rows{};
        rows[axis] = &coordinates[static_cast<std::size_t>(i)];
        thin.positions(i * step, 1, rows[0], rows[1], rows[2]);
    }
    return coordinates;
}

} // namespace

GridRows::GridRows(const zrk::BBox<double>& bounds, const std::array<std::int32_t, 3>& dims) : _dims(dims)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        _coordinates[axis] = coordinatesAlong(axis, bounds, dims[axis]);
        const auto [least, greatest] = std::minmax(_coordinates[axis].front(), _coordinates[axis].back());
        _bounds.first[axis] = least;
        _bounds.second[axis] = greatest;
    }
}

void GridRows::choose(std::int64_t first, std::int64_t count)
{
    assert(first >= 0 && first + count <= rowCount() &&
           count * _dims[0] <= std::numeric_limits<std::int32_t>::max());
    _first = first;
    _rows = count;
    stale = true;
}

zrk::Tensor<4, double> GridRows::position(std::int32_t i) const
{
    zrk::Tensor<4, double> p{0, 0, 0, 1};
    positions(i, 1, &p[0], &p[1], &p[2]);
    return p;
}

void GridRows::positions(std::int32_t first, std::int32_t count, double* x, double* y, double* z) const
{
    std::int32_t ix = first % _dims[0];
    std::int64_t row = _first + first / _dims[0];
    for (std::int32_t done = 0; done < count; ++row) {
        const std::int32_t length = std::min(count - done, _dims[0] - ix);
        if (x) {
            std::copy_n(_coordinates[0].data() + ix, length, x + done);
        }
        if (y) {
            std::fill_n(y + done, length, _coordinates[1][static_cast<std::size_t>(row % _dims[1])]);
        }
        if (z) {
            std::fill_n(z + done, length, _coordinates[2][static_cast<std::size_t>(row / _dims[1])]);
        }
        done += length;
        ix = 0;
    }
}

std::array<bool, 3> GridRows::repeatedPositions(std::int32_t earlier, std::int32_t first,
                                                std::int32_t count) const
{
    const std::int64_t line = _dims[0];
    const std::int64_t layer = line * _dims[1];
    const std::int64_t start = _first * line;
    const std::int64_t distance = std::int64_t{first} - earlier;
    const std::int64_t low = start + std::min(earlier, first);
    const std::int64_t high = start + std::max(earlier, first) + count - 1;
    return {distance % line == 0, distance % layer == 0 || low / line == high / line,
            distance == 0 || low / layer == high / layer};
}

} // namespace zrkmodel

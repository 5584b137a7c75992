#pragma once

#include "core/values/batch.h"
#include "core/values/large_pages.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk::optimalTransport {

/// Cells over an image and over time, x running fastest and time slowest, so that a plane of one time has
/// the order of an image's raster. Planes are padded to whole batches.
struct SpaceTimeGrid {
    std::size_t width;
    std::size_t height;
    std::size_t steps;
    std::size_t plane; ///< doubles from one time to the next

    SpaceTimeGrid(std::int32_t nx, std::int32_t ny, std::int32_t nt)
        : width(static_cast<std::size_t>(nx)),
          height(static_cast<std::size_t>(ny)),
          steps(static_cast<std::size_t>(nt)),
          plane(wholeBatches(width * height))
    {}

    std::size_t planeCells() const { return width * height; }
    std::size_t cells() const { return planeCells() * steps; }
};

/// A number a cell, or as many planes as are asked for; zeros at first. One row and one batch before the
/// first number and behind the last may be read, and are zero.
class SpaceTimeArray {
public:
    SpaceTimeArray(const SpaceTimeGrid& grid, std::size_t planes) : _plane(grid.plane)
    {
        constexpr std::size_t kAlignment = 64;
        const std::size_t row = wholeBatches(grid.width);
        const std::size_t margin = row + Batch::size;
        const std::size_t count = planes * _plane + 2 * margin + kAlignment / sizeof(double);
        reserveOnLargePages(_values, count);
        resizeInPieces(_values, count);
        const auto address = reinterpret_cast<std::uintptr_t>(_values.data() + margin);
        _first = margin + (kAlignment - address % kAlignment) % kAlignment / sizeof(double);
    }
    explicit SpaceTimeArray(const SpaceTimeGrid& grid) : SpaceTimeArray(grid, grid.steps) {}
    SpaceTimeArray(const SpaceTimeArray&) = delete; // a copy could stand at another alignment
    SpaceTimeArray& operator=(const SpaceTimeArray&) = delete;

    double* plane(std::size_t k) { return _values.data() + _first + k * _plane; }
    const double* plane(std::size_t k) const { return _values.data() + _first + k * _plane; }

private:
    std::size_t _plane;
    std::size_t _first;
    std::vector<double> _values;
};

/// Consecutive items of a piece of work.
struct Share {
    std::size_t first;
    std::size_t last; ///< one behind

    /// What one of several workers gets.
    static Share of(std::size_t items, std::size_t worker, std::size_t workers)
    {
        return {items * worker / workers, items * (worker + 1) / workers};
    }
};

} // namespace zrk::optimalTransport

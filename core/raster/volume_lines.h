#pragma once

#include "core/values/batch.h"

#include <algorithm>
#include <cstddef>

namespace zrk {

/// The lines of a block of doubles along one axis, read and written as many at once as a batch has
/// lanes. Lines are numbered along the first of the other axes, then along the second.
class VolumeLines {
public:
    /// @param dims, strides  of the block, in doubles.
    VolumeLines(double* values, const std::size_t (&dims)[3], const std::size_t (&strides)[3], int axis)
        : _values(values), _length(dims[axis]), _step(strides[axis])
    {
        const int first = axis == 0 ? 1 : 0;
        const int second = axis == 2 ? 1 : 2;
        _lines[0] = dims[first];
        _lines[1] = dims[second];
        _lineStep[0] = strides[first];
        _lineStep[1] = strides[second];
    }

    std::size_t length() const { return _length; }
    std::size_t count() const { return _lines[0] * _lines[1]; }
    /// How many lines can be read at once from `first` on.
    std::size_t bundle(std::size_t first) const { return std::min(Batch::size, count() - first); }

    /// Reads the lines first to first + lanes - 1. Values before and behind a line are those of its ends.
    ///
    /// @param before    values ahead of the line's first one; negative drops as many.
    /// @param extended  values in all.
    void read(std::size_t first, std::size_t lanes, std::ptrdiff_t before, std::size_t extended,
              Batch* out) const
    {
        double* start[Batch::size];
        const bool areNeighbours = starts(first, lanes, start);
        const auto last = static_cast<std::ptrdiff_t>(_length) - 1;
        for (std::size_t q = 0; q < extended; ++q) {
            const auto node = std::clamp<std::ptrdiff_t>(static_cast<std::ptrdiff_t>(q) - before, 0, last);
            const std::size_t at = static_cast<std::size_t>(node) * _step;
            if (areNeighbours) {
                out[q] = Batch::load(start[0] + at);
            } else {
                alignas(64) double values[Batch::size];
                for (std::size_t lane = 0; lane < Batch::size; ++lane) {
                    values[lane] = start[lane][at];
                }
                out[q] = Batch::loadAligned(values);
            }
        }
    }
    void read(std::size_t first, std::size_t lanes, Batch* out) const { read(first, lanes, 0, _length, out); }

    void write(std::size_t first, std::size_t lanes, const Batch* lines) const
    {
        double* start[Batch::size];
        const bool areNeighbours = starts(first, lanes, start);
        for (std::size_t j = 0; j < _length; ++j) {
            if (areNeighbours) {
                lines[j].store(start[0] + j * _step);
            } else {
                alignas(64) double values[Batch::size];
                lines[j].storeAligned(values);
                for (std::size_t lane = 0; lane < lanes; ++lane) {
                    start[lane][j * _step] = values[lane];
                }
            }
        }
    }

private:
    double* _values;
    std::size_t _length;
    std::size_t _step;
    std::size_t _lines[2];
    std::size_t _lineStep[2];

    /// First values of the lines; lanes without a line get the last one's. True if they are side by side.
    bool starts(std::size_t first, std::size_t lanes, double* (&start)[Batch::size]) const
    {
        bool areNeighbours = true;
        for (std::size_t lane = 0; lane < Batch::size; ++lane) {
            const std::size_t line = first + std::min(lane, lanes - 1);
            start[lane] = _values + line % _lines[0] * _lineStep[0] + line / _lines[0] * _lineStep[1];
            areNeighbours = areNeighbours && start[lane] == start[0] + lane;
        }
        return areNeighbours;
    }
};

} // namespace zrk

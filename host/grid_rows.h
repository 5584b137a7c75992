#pragma once

#include "core/engine/evaluation_domain.h"
#include "core/values/bbox.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zrkmodel {

/// Rows along x of a regular grid over a box, from one on. The whole grid may have more samples than 32 bits
/// count; the rows may not. Positions have the bits that zrk::GridDomain gives for the whole grid, and the
/// bounds are those of the whole grid, so that fields give the same whichever rows are asked for.
class GridRows final : public zrk::EvaluationDomain<3, double> {
public:
    using EvaluationDomain<3, double>::position;

    /// All rows of the grid.
    /// @param dims  nodes along x, y and z, at least 2 each, the outermost on the faces of the bounds.
    GridRows(const zrk::BBox<double>& bounds, const std::array<std::int32_t, 3>& dims);

    /// Of the whole grid.
    std::int64_t rowCount() const { return static_cast<std::int64_t>(_dims[1]) * _dims[2]; }
    std::int32_t rowLength() const { return _dims[0]; }
    /// Chooses `count` rows from `first` on. Precondition: fewer than 2^31 samples.
    void choose(std::int64_t first, std::int64_t count);

    std::optional<zrk::Corners<double>> bounds() const override { return _bounds; }
    std::int32_t sampleCount() const override { return static_cast<std::int32_t>(_rows * _dims[0]); }
    zrk::Tensor<4, double> position(std::int32_t i) const override;
    void positions(std::int32_t first, std::int32_t count, double* x, double* y, double* z) const override;
    std::array<bool, 3> repeatedPositions(std::int32_t earlier, std::int32_t first,
                                          std::int32_t count) const override;

private:
    std::array<std::int32_t, 3> _dims;
    zrk::Corners<double> _bounds;
    std::array<std::vector<double>, 3> _coordinates; ///< of the nodes along each axis
    std::int64_t _first = 0;                         ///< row
    std::int64_t _rows = 0;
};

} // namespace zrkmodel

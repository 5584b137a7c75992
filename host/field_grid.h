#pragma once

#include "core/engine/evaluation_domain.h"
#include "core/engine/field_generator.h"
#include "core/engine/prepared_field.h"
#include "core/engine/progress.h"
#include "core/values/bbox.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/region.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace zrkmodel {

/// Node counts of a grid over a box with cubic cells as far as possible: axis i gets
/// max(2, round(resolution * length_i / longest length)) nodes, halves away from zero.
ZRK_API std::array<std::int32_t, 3> gridDims(const zrk::BBox<double>& bounds, int resolution);

/// The pixels of a picture that is a cut across one axis of a box. Samples lie at the middle of
/// each pixel; the picture's first axis is the lower of the two remaining ones, and the second
/// goes upwards. Row 0 is at the bottom.
class ZRK_API SlicePlane final : public zrk::EvaluationDomain<3, double> {
public:
    using EvaluationDomain<3, double>::position;

    /// @param axis  0, 1 or 2: the axis cut across.
    /// @param at    where along it, 0 to 1.
    /// @param size  pixels along the longer side; the other side has at least one.
    SlicePlane(const zrk::BBox<double>& bounds, int axis, double at, int size);

    int width() const { return _width; }
    int height() const { return _height; }
    int axis() const { return _axis; }                                  ///< that it is across
    double coordinate() const { return _coordinate; }                   ///< where the axis is cut
    double pixelSize() const { return _bounds.size[_across] / _width; } ///< width of a pixel, model units

    std::optional<zrk::Corners<double>> bounds() const override;
    std::int32_t sampleCount() const override { return _width * _height; }
    zrk::Tensor<4, double> position(std::int32_t i) const override;

private:
    zrk::BBox<double> _bounds;
    int _axis;
    int _across;
    int _up;
    int _width = 1;
    int _height = 1;
    double _coordinate;
};

/// What the samples of a grid have in common. Infinite values count as finite ones do, as far as they can.
struct FieldSummary {
    std::size_t samples = 0;
    std::size_t undefined = 0;  ///< samples with a NaN component
    std::size_t weightless = 0; ///< samples of weight 0
    double least = 0;           ///< of all components that aren't NaN; 0 where there is none
    double greatest = 0;
    double mean = 0;         ///< of the finite components; its last digits depend on how the work was divided
    std::size_t counted = 0; ///< components that aren't NaN
    std::size_t finite = 0;  ///< components that are finite
};

/// Values that are written once each by what computes them. The memory is taken up as that happens, so
/// that a large grid begins at once.
class FieldValues {
public:
    explicit FieldValues(std::size_t count);

    double* data() { return _values.get(); }
    operator std::span<const double>() const { return {_values.get(), _count}; }

    FieldSummary summary;
    /// Of a plane with samples of weight 0: 1 for each of these, 0 for others. Else empty.
    std::vector<std::uint8_t> isWeightless;

private:
    std::unique_ptr<double[]> _values;
    std::size_t _count;
};

/// Samples all components of a field; those of one sample stand side by side. `threads` 0 means all
/// processors. Faults are of the kinds FailedWork and Interrupted; a grid whose values wouldn't fit into the
/// memory that is free is refused before anything is allocated.
ZRK_API zrk::Result<FieldValues> sampleField(const zrk::IField& field,
                                             const zrk::Region<3, 3, double, 1>& region,
                                             zrk::ProgressMonitor* monitor, std::size_t threads = 0);
ZRK_API zrk::Result<FieldValues> sampleField(const zrk::IField& field, const SlicePlane& plane,
                                             zrk::ProgressMonitor* monitor, std::size_t threads = 0);
ZRK_API zrk::Result<FieldValues> sampleField(const zrk::IField& field,
                                             const std::vector<zrk::Tensor<3, double>>& positions,
                                             zrk::ProgressMonitor* monitor, std::size_t threads = 0);

ZRK_API zrk::Result<FieldValues> sampleField(const zrk::IField& field,
                                             std::shared_ptr<zrk::EvaluationDomain<3, double>> positions,
                                             zrk::ProgressMonitor* monitor, std::size_t threads = 0);

/// @{ The same of a field that is prepared, so that what it was made of may be changed meanwhile.
ZRK_API zrk::Result<FieldValues> sampleField(const zrk::PreparedField& field,
                                             const zrk::Region<3, 3, double, 1>& region,
                                             zrk::ProgressMonitor* monitor, std::size_t threads = 0);
ZRK_API zrk::Result<FieldValues> sampleField(const zrk::PreparedField& field, const SlicePlane& plane,
                                             zrk::ProgressMonitor* monitor, std::size_t threads = 0);
/// @}

/// How many components the samples of a field have.
ZRK_API std::size_t componentCountOf(const zrk::IField& field);

} // namespace zrkmodel

#pragma once

#include "core/engine/sample_buffer.h"
#include "core/values/export.h"
#include "core/values/region.h"
#include "core/values/tensor.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace zrk {

/// Two opposite corners, the lower one first.
template <class T>
using Corners = std::pair<Tensor<3, T>, Tensor<3, T>>;

/// A set of positions at which fields are sampled, in an order of its own.
///
/// Reading positions is safe from many threads; `samples()` is for the preparing thread.
template <int N, class T>
class ZRK_API EvaluationDomain {
public:
    /// Set it to have the next `samples()` fill the buffer anew.
    bool stale = true;

    virtual ~EvaluationDomain() = default;

    /// Box around the positions, if there is one.
    virtual std::optional<Corners<T>> bounds() const = 0;
    virtual std::int32_t sampleCount() const = 0;
    /// Position of sample i as (x, y, z, 1).
    virtual Tensor<4, T> position(std::int32_t i) const = 0;
    /// Writes all positions as records (x, y, z, 1); returns their count.
    virtual std::int32_t fill(SampleBufferData<T>& buffer) const;
    virtual void copyBuffer(SampleBufferData<T>& target, const SampleBufferData<T>& source) const
    {
        target = source;
    }
    /// Coordinates of the samples first to first + count - 1, a row each. A null row isn't asked for.
    virtual void positions(std::int32_t first, std::int32_t count, T* x, T* y, T* z) const;
    /// True where the coordinate of each of `count` samples from `first` on is, bit for bit, that of the
    /// sample as far behind `earlier`, so that the earlier row serves again. Nothing is promised by false.
    virtual std::array<bool, 3> repeatedPositions(std::int32_t /*earlier*/, std::int32_t /*first*/,
                                                  std::int32_t /*count*/) const
    {
        return {};
    }

    /// False if `position(i)[3]` may be another weight than 1.
    virtual bool hasUnitWeights() const { return true; }
    /// The weights of the samples first to first + count - 1; asked for only if they may be other than 1.
    virtual void weights(std::int32_t first, std::int32_t count, T* weights) const
    {
        for (std::int32_t i = 0; i < count; ++i) {
            weights[i] = position(first + i)[3];
        }
    }

    std::int32_t count() const { return sampleCount(); }
    void position(std::int32_t i, Tensor<4, T>& target) const { target = position(i); }

    /// All positions as records. Made at the first call and kept until the domain is stale.
    std::shared_ptr<SampleBufferData<T>> samples();

private:
    std::shared_ptr<SampleBufferData<T>> _samples;
};

extern template class EvaluationDomain<3, double>;

/// Number of nodes of a grid; an axis without nodes gives 0. Throws FaultError when
/// sample indices of 32 bits don't reach over it.
ZRK_API std::int32_t gridSampleCount(std::int32_t nx, std::int32_t ny, std::int32_t nz);

template <int C, class R>
class LinearGridDomain;

/// The nodes of a regular grid, x fastest, then y, then z.
template <>
class LinearGridDomain<1, Region<3, 3, double, 1>> final : public EvaluationDomain<3, double> {
public:
    using EvaluationDomain<3, double>::position;

    /// Throws FaultError for a grid that is too large (see gridSampleCount).
    explicit LinearGridDomain(const Region<3, 3, double, 1>& region);

    /// Box around the region's eight corners in space.
    std::optional<Corners<double>> bounds() const override;
    std::int32_t sampleCount() const override { return _sampleCount; }
    Tensor<4, double> position(std::int32_t i) const override;
    void positions(std::int32_t first, std::int32_t count, double* x, double* y, double* z) const override;
    std::array<bool, 3> repeatedPositions(std::int32_t earlier, std::int32_t first,
                                          std::int32_t count) const override;

private:
    Region<3, 3, double, 1> _region;
    std::int32_t _sampleCount;
    /// Whether a world coordinate changes along an axis: [component][axis].
    bool _varies[3][3] = {};
    /// Share of each axis in a world coordinate: _steps[axis][component][node].
    std::array<std::array<std::vector<double>, 3>, 3> _steps;
};

using GridDomain = LinearGridDomain<1, Region<3, 3, double, 1>>;

/// A list of positions.
class ZRK_API PointListDomain final : public EvaluationDomain<3, double> {
public:
    using EvaluationDomain<3, double>::position;

    explicit PointListDomain(std::vector<Tensor<3, double>> points) : _points(std::move(points)) {}

    std::optional<Corners<double>> bounds() const override;
    std::int32_t sampleCount() const override { return static_cast<std::int32_t>(_points.size()); }
    Tensor<4, double> position(std::int32_t i) const override
    {
        const Tensor<3, double>& p = _points[static_cast<std::size_t>(i)];
        return {p[0], p[1], p[2], 1.0};
    }

private:
    std::vector<Tensor<3, double>> _points;
};

} // namespace zrk

#pragma once

#include "core/values/export.h"
#include "core/values/raster.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace zrkmodel {

/// While one lives, its thread builds the same evaluators in the same order as those of other processes do at
/// the same time. What takes long to build, such as a field frozen into a raster, the first process computes
/// for all of them.
///
/// Without one, a process computes all that it needs.
class ZRK_API ZRKSharedBuilding {
public:
    /// Hands bytes of the first process on to the others. Every process calls it with as many of them.
    using HandOn = std::function<void(void* bytes, std::size_t size)>;

    ZRKSharedBuilding(bool isFirst, HandOn handOn) : _isFirst(isFirst), _handOn(std::move(handOn))
    {
        _ofThisThread = this;
    }
    ~ZRKSharedBuilding() { _ofThisThread = _former; }
    ZRKSharedBuilding(const ZRKSharedBuilding&) = delete;
    ZRKSharedBuilding& operator=(const ZRKSharedBuilding&) = delete;

    /// That of the calling thread; null where there is none.
    static const ZRKSharedBuilding* current() { return _ofThisThread; }

    bool isFirst() const { return _isFirst; }

    /// Calls compute() as without sharing: what it builds in turn isn't handed on.
    template <class Compute>
    auto alone(const Compute& compute) const
    {
        struct Alone {
            const ZRKSharedBuilding* former = std::exchange(_ofThisThread, nullptr);
            ~Alone() { _ofThisThread = former; }
        } const pause;
        return compute();
    }

    template <class T>
    void handOn(T& value) const
    {
        _handOn(&value, sizeof value);
    }
    template <class T>
    void handOn(std::vector<T>& values) const
    {
        std::uint64_t count = values.size();
        handOn(count);
        values.resize(static_cast<std::size_t>(count));
        _handOn(values.data(), values.size() * sizeof(T));
    }

private:
    static inline constinit thread_local const ZRKSharedBuilding* _ofThisThread = nullptr;

    bool _isFirst;
    HandOn _handOn;
    const ZRKSharedBuilding* _former = _ofThisThread;
};

/// The raster that compute() returns, on the first of processes that share their building for all of them.
///
/// Precondition: other rasters that compute() needs are there already, or each process would come to them at
/// another moment.
template <int C, int D, class Compute>
zrk::Raster<C, D, double> computedOnce(const Compute& compute)
{
    const ZRKSharedBuilding* shared = ZRKSharedBuilding::current();
    if (!shared) {
        return compute();
    }
    zrk::Raster<C, D, double> raster;
    if (shared->isFirst()) {
        raster = shared->alone(compute);
    }
    std::int32_t extents[D];
    std::copy_n(raster.dims, D, extents);
    shared->handOn(extents);
    raster.resize(extents);
    shared->handOn(raster.data);
    return raster;
}

} // namespace zrkmodel

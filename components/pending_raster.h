#pragma once

#include "components/pending.h"
#include "core/values/raster.h"
#include "model/held_data.h"
#include "model/resource.h"

#include <memory>

namespace zrkmodel {

template <int N, int D>
using SharedRaster = std::shared_ptr<const zrk::Raster<N, D, double>>;

/// The doubles of an image, which whoever needs them first converts. They are null for an image that can't be
/// used.
template <int N, int D>
using PendingRaster = std::shared_ptr<const Pending<SharedRaster<N, D>>>;

/// @{ Put off what firstChannel and interleavedChannels do. Null without an image or without channels.
PendingRaster<1, 2> pendingFirstChannel(const std::shared_ptr<const ZRKImage2d>& image);
PendingRaster<1, 3> pendingFirstChannel(const std::shared_ptr<const ZRKImage3d>& image);
template <int N>
PendingRaster<N, 2> pendingChannels(const std::shared_ptr<const ZRKImage2d>& image);
/// @}

/// The doubles; null where there are none.
template <int N, int D>
SharedRaster<N, D> rasterOf(const PendingRaster<N, D>& pending)
{
    return pending ? pending->get() : nullptr;
}

/// Whether the doubles can be had at once, or should be had whatever it takes.
template <int N, int D>
bool isForNow(const PendingRaster<N, D>& pending)
{
    return !pending || pending->isDone() || !ZRKDeferredBuilding::isOn();
}

/// Adds a raster as a part, to be had by `data.part<Pending<SharedRaster<N, D>>>`.
template <int N, int D>
void addRaster(const PendingRaster<N, D>& pending, ZRKHeldData& data)
{
    const bool isThere = pending && pending->isDone() && pending->get();
    data.add(pending, isThere ? pending->get()->data.size() * sizeof(double) : 0);
}

} // namespace zrkmodel

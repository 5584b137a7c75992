#include "components/raster/raster_fx.h"

#include "core/engine/formula.h"
#include "core/engine/rasterize.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"
#include "core/raster/raster_lookup.h"
#include "core/values/fault.h"
#include "core/values/memory_budget.h"
#include "model/pins.h"
#include "model/shared_building.h"

#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace zrkmodel {

namespace {

/// A volume that fills a box, read at positions.
struct VolumeInBox {
    zrk::RasterLookup<1, 3, zrk::Border::Clamp> lookup;
    zrk::Tensor<3, double> lower;
    zrk::Tensor<3, double> size;

    template <zrk::LooksUp V>
    V operator()(const zrk::Tensor<3, V>& p) const
    {
        return lookup(zrk::Tensor<3, V>{(p[0] - lower[0]) / size[0], (p[1] - lower[1]) / size[1],
                                        (p[2] - lower[2]) / size[2]})[0];
    }
};

using SharedVolume = std::shared_ptr<const zrk::Raster<1, 3, double>>;

constexpr unsigned kDirty = 1;
constexpr unsigned kUpdateRequested = 2;

/// The field at the nodes of the grid, blurred where the radius is greater than 0.
SharedVolume frozen(const zrk::IField& field, const zrk::GridBox<double>& grid, double blurRadius,
                    zrk::ProgressMonitor* monitor)
{
    return std::make_shared<const zrk::Raster<1, 3, double>>(computedOnce<1, 3>([&] {
        zrk::Raster<1, 3, double> raster;
        zrk::rasterizeField(field, grid.region, raster, monitor);
        stopIfInterrupted(monitor, "RasterFX");
        if (blurRadius > 0.0) {
            zrk::gaussianBlur(raster, grid, blurRadius);
        }
        return raster;
    }));
}

zrk::Evaluation volumeEvaluator(const SharedVolume& volume, const zrk::GridBox<double>& grid)
{
    return zrk::positionEvaluator(
        VolumeInBox{zrk::RasterLookup<1, 3, zrk::Border::Clamp>(volume), grid.min, grid.size});
}

/// Throws a FaultError for a raster that there is no room for.
void refuseLargeRaster(const zrk::GridBox<double>& grid, unsigned node)
{
    const auto& n = grid.region.dimensions();
    const double cells = double{1} * n[0] * n[1] * n[2];
    const std::string place = "node " + std::to_string(node) + " (RasterFX), \"resolution\"";
    const std::string found =
        std::to_string(n[0]) + " x " + std::to_string(n[1]) + " x " + std::to_string(n[2]) + " cells";
    constexpr std::int32_t kMostCells = std::numeric_limits<std::int32_t>::max();
    if (cells > kMostCells) {
        throw zrk::FaultError({place, found, "at most " + std::to_string(kMostCells), "lower the resolution",
                               zrk::FaultKind::FailedWork});
    }
    zrk::checkMemory(cells * sizeof(double), place, found, "lower the resolution");
}

/// Reads what any volume's evaluator reads.
const zrk::Evaluation& standIn()
{
    static const zrk::Evaluation evaluation =
        volumeEvaluator(std::make_shared<zrk::Raster<1, 3, double>>(1, 1, 1), {});
    return evaluation;
}

} // namespace

/// What was computed since it was asked for is there from now on.
void ZRKRasterFX::Cache::takeNext()
{
    if (next && next->raster.isDone()) {
        frozen = std::exchange(next, nullptr);
        cacheDirty = false;
        updateRequested = false;
    }
}

ZRKRasterFX::ZRKRasterFX(const ZRKRasterFX& other) : ZRKComponent(other), ZRKDataHolder(other)
{
    Cache theirs = other._cache.copy();
    theirs.takeNext();
    if (theirs.frozen) {
        Cache own;
        own.frozen = std::make_shared<const Frozen>(theirs.frozen->raster.get(), zrk::GridBox<double>{});
        _cache.set(own);
    }
}

ComponentIdentity ZRKRasterFX::identity()
{
    return {
        .className = "ZRKRasterFX",
        .typeName = "RasterFX",
        .uuid = "245E6576-8E77-4C71-8AC3-5D25D92F40BA",
        .icon = {},
        .strings = ZRKUIStrings::image_rasterFX(),
        .inputs = {Tag::Scalar},
        .outputs = {Tag::Scalar},
    };
}

void ZRKRasterFX::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addInputPin(node, Tag::Scalar, "");
    addOutputPin(node, Tag::Scalar, "");
}

void ZRKRasterFX::onUpstreamChange(const ZRKNodeBase<0, ZRKGraphObject>&, const ZRKEvent&)
{
    announceEdit();
    _cache.use([](Cache& cache) {
        cache.takeNext();
        cache.next.reset(); // it shows what was upstream before
        cache.cacheDirty = true;
    });
}

void ZRKRasterFX::_onPropertyChanged(const ZRKEvent& event)
{
    if (event.name == autoUpdate.name()) {
        announceEdit();
    }
    ZRKComponent::_onPropertyChanged(event);
}

void ZRKRasterFX::onSerialize(ZRKSerialization& s) const
{
    autoUpdate.serialize(s);
    resolution.serialize(s);
}

void ZRKRasterFX::onDeserialize(const ZRKDeserialization& d)
{
    autoUpdate.deserialize(d);
    resolution.deserialize(d);
    announceEdit();
    _cache.use([](Cache& cache) {
        cache = {};
        cache.updateRequested = true;
    });
}

ZRKHeldData ZRKRasterFX::held() const
{
    Cache cache = _cache.copy();
    cache.takeNext();
    ZRKHeldData data;
    for (const auto& frozen : {cache.frozen, cache.next}) {
        const bool isThere = frozen && frozen->raster.isDone() && frozen->raster.get();
        data.add(frozen, isThere ? frozen->raster.get()->data.size() * sizeof(double) : 0);
    }
    data.state = (cache.cacheDirty ? kDirty : 0u) | (cache.updateRequested ? kUpdateRequested : 0u);
    return data;
}

void ZRKRasterFX::hold(const ZRKHeldData& data)
{
    _cache.set({data.part<Frozen>(0), data.part<Frozen>(1), (data.state & kDirty) != 0,
                (data.state & kUpdateRequested) != 0});
}

ZRKComputation ZRKRasterFX::computation() const
{
    Cache cache = _cache.copy();
    cache.takeNext();
    const bool isKept = cache.frozen && cache.frozen->raster.isDone() && cache.frozen->raster.get();
    return {isKept, isKept && cache.cacheDirty, _meter->fraction()};
}

void ZRKRasterFX::update()
{
    announceEdit();
    _cache.use([](Cache& cache) { cache.updateRequested = true; });
    emitPropertyChange("update");
}

/// The raster that is to replace a stale one; null where there is nothing to freeze or nothing is stale.
std::shared_ptr<const ZRKRasterFX::Frozen>
ZRKRasterFX::next(Cache& cache, const ZRKNodeBase<1, ZRKGraphObject>& node, const ZRKContext& context) const
{
    cache.takeNext();
    if (cache.frozen && !cache.cacheDirty) {
        return nullptr;
    }
    if (cache.next && !ZRKDeferredBuilding::isOn()) {
        return cache.next; // another thread is at it
    }
    zrk::IField field = inputField(node, 0);
    const auto bounds = context.modelBounds();
    if (!field || !bounds || !bounds->valid) {
        cache = {};
        cache.cacheDirty = false;
        return nullptr;
    }
    // Rasters behind this one are there before it is computed, also where another process does that.
    if (ZRKDeferredBuilding::isOn() || ZRKSharedBuilding::current()) {
        field = fixedField(field);
    }
    const zrk::GridBox<double> grid = zrk::gridOverBox(*bounds, resolution.value());
    refuseLargeRaster(grid, node.id());
    // Only who puts it off follows it: a monitor makes short work take as long as its interval.
    const auto meter = ZRKDeferredBuilding::isOn() ? _meter : nullptr;
    cache.next = std::make_shared<const Frozen>(
        [field, grid, radius = blurRadius.value(), meter](zrk::ProgressMonitor* monitor) {
            if (!meter) {
                return frozen(field, grid, radius, monitor);
            }
            ComputationMeter::Run run(*meter, monitor);
            return frozen(field, grid, radius, &run);
        },
        grid);
    return cache.next;
}

std::shared_ptr<const ZRKRasterFX::Frozen>
ZRKRasterFX::_ensureRasterCache(const ZRKNodeBase<1, ZRKGraphObject>& node, const ZRKContext& context) const
{
    const auto started = _cache.use([&](Cache& cache) { return next(cache, node, context); });
    if (!started) {
        return _cache.copy().frozen;
    }
    if (!ZRKDeferredBuilding::isOn()) {
        try {
            started->raster.get(); // without the lock: nobody's change waits for it
        } catch (...) {
            _cache.use([&](Cache& cache) { cache.next = cache.next == started ? nullptr : cache.next; });
            throw;
        }
        _cache.use([](Cache& cache) { cache.takeNext(); });
    }
    return started;
}

zrk::Evaluation ZRKRasterFX::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const
{
    const bool isAsked = autoUpdate.value() || _cache.copy().updateRequested;
    const auto read = isAsked ? _ensureRasterCache(pin.node, context) : _cache.copy().frozen;
    if (!read) {
        return zrk::doNothing();
    }
    const auto make = [read] { return volumeEvaluator(read->raster.get(), read->gridBox); };
    return read->raster.isDone() ? make() : pendingEvaluator(make, standIn());
}

} // namespace zrkmodel

#include "components/raster/raster_fx.h"

#include "components/categories.h"
#include "core/engine/formula.h"
#include "core/engine/rasterize.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"
#include "core/raster/raster_lookup.h"
#include "model/pins.h"

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

/// The field at the nodes of the grid, blurred where the radius is greater than 0.
std::shared_ptr<const zrk::Raster<1, 3, double>> frozen(const zrk::IField& field,
                                                        const zrk::GridBox<double>& grid, double blurRadius)
{
    auto raster = std::make_shared<zrk::Raster<1, 3, double>>();
    zrk::rasterizeField(field, grid.region, *raster);
    if (blurRadius > 0.0) {
        zrk::gaussianBlur(*raster, grid, blurRadius);
    }
    return raster;
}

} // namespace

ZRKRasterFX::ZRKRasterFX(const ZRKRasterFX& other)
    : ZRKComponent(other), _cache(Cache{other._cache.copy().raster})
{}

ComponentIdentity ZRKRasterFX::identity()
{
    return {
        .className = "ZRKRasterFX",
        .typeName = "RasterFX",
        .uuid = "245E6576-8E77-4C71-8AC3-5D25D92F40BA",
        .icon = {},
        .strings = {"image_rasterFX", "Raster effects", "Freezes a field into a raster and filters it.",
                    category::kImages},
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
    _cache.use([](Cache& cache) { cache.isDirty = true; });
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
    _cache.use([](Cache& cache) {
        cache.raster.reset();
        cache.isDirty = true;
        cache.isUpdateRequested = true;
    });
}

void ZRKRasterFX::update()
{
    _cache.use([](Cache& cache) { cache.isUpdateRequested = true; });
    emitPropertyChange("update");
}

void ZRKRasterFX::_ensureRasterCache(const ZRKNodeBase<1, ZRKGraphObject>& node,
                                     const ZRKContext& context) const
{
    _cache.use([&](Cache& cache) {
        if (cache.raster && !cache.isDirty) {
            return;
        }
        const zrk::IField field = inputField(node, 0);
        const auto bounds = context.modelBounds();
        if (!field || !bounds || !bounds->valid) {
            cache.raster.reset();
        } else {
            const zrk::GridBox<double> grid = zrk::gridOverBox(*bounds, resolution.value());
            cache.raster = frozen(field, grid, blurRadius.value());
            cache.gridBox = grid;
        }
        cache.isDirty = false;
        cache.isUpdateRequested = false;
    });
}

zrk::Evaluation ZRKRasterFX::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const
{
    if (autoUpdate.value() || _cache.copy().isUpdateRequested) {
        _ensureRasterCache(pin.node, context);
    }
    const Cache cache = _cache.copy();
    if (!cache.raster || cache.raster->data.empty()) {
        return zrk::doNothing();
    }
    return zrk::positionEvaluator(VolumeInBox{zrk::RasterLookup<1, 3, zrk::Border::Clamp>(cache.raster),
                                              cache.gridBox.min, cache.gridBox.size});
}

} // namespace zrkmodel

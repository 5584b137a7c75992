#include "components/raster/raster_fx.h"

#include "components/categories.h"
#include "core/engine/formula.h"
#include "core/engine/rasterize.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"
#include "core/raster/raster_lookup.h"
#include "model/pins.h"

#include <concepts>
#include <utility>

namespace zrkmodel {

namespace {

/// A volume that fills a box, read at positions.
struct VolumeInBox {
    zrk::RasterLookup<1, 3, zrk::Border::Clamp> lookup;
    zrk::Tensor<3, double> lower;
    zrk::Tensor<3, double> size;

    template <class V>
    requires(!std::same_as<V, zrk::Interval<double>>) // the lookup has no bounds
        V
        operator()(const zrk::Tensor<3, V>& p) const
    {
        return lookup(zrk::Tensor<3, V>{(p[0] - lower[0]) / size[0], (p[1] - lower[1]) / size[1],
                                        (p[2] - lower[2]) / size[2]})[0];
    }
};

} // namespace

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
    _cacheDirty = true;
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
    _raster.reset();
    _cacheDirty = true;
    _updateRequested = true;
}

void ZRKRasterFX::update()
{
    _updateRequested = true;
    emitPropertyChange("update");
}

void ZRKRasterFX::_ensureRasterCache(const ZRKNodeBase<1, ZRKGraphObject>& node,
                                     const ZRKContext& context) const
{
    if (_raster && !_cacheDirty) {
        return;
    }
    const zrk::IField field = inputField(node, 0);
    const auto bounds = context.modelBounds();
    if (!field || !bounds || !bounds->valid) {
        _raster.reset();
    } else {
        const zrk::GridBox<double> grid = zrk::gridOverBox(*bounds, resolution.value());
        auto raster = std::make_shared<Volume>();
        zrk::rasterizeField(field, grid.region, *raster);
        if (blurRadius.value() > 0.0) {
            zrk::gaussianBlur(*raster, grid, blurRadius.value());
        }
        _raster = std::move(raster);
        _gridBox = grid;
    }
    _cacheDirty = false;
    _updateRequested = false;
}

zrk::Evaluation ZRKRasterFX::getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const
{
    if (autoUpdate.value() || _updateRequested) {
        _ensureRasterCache(pin.node, context);
    }
    if (!_raster || _raster->data.empty()) {
        return zrk::doNothing();
    }
    return zrk::positionEvaluator(
        VolumeInBox{zrk::RasterLookup<1, 3, zrk::Border::Clamp>(_raster), _gridBox.min, _gridBox.size});
}

} // namespace zrkmodel

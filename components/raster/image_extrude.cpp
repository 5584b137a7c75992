#include "components/raster/image_extrude.h"

#include "components/raster/image_extrude_formula.h"
#include "core/engine/formula.h"
#include "model/channel_names.h"
#include "model/pins.h"

#include <algorithm>
#include <utility>

namespace zrkmodel {

namespace {

/// What a slot's image shows: the components of the position along a row, and from row to row.
struct Slot {
    std::size_t u;
    std::size_t v;
    const char* label;
};

// The arrows are stored encoded twice, as panels have always shown them.
constexpr Slot kSlotTable[ZRK2DImageExtrude::kSlots] = {
    {0, 1, "y\xC3\xA2\xE2\x80\xA0\xE2\x80\x98x\xC3\xA2\xE2\x80\xA0\xE2\x80\x99"},
    {1, 2, "z\xC3\xA2\xE2\x80\xA0\xE2\x80\x98y\xC3\xA2\xE2\x80\xA0\xE2\x80\x99"},
    {0, 2, "z\xC3\xA2\xE2\x80\xA0\xE2\x80\x98x\xC3\xA2\xE2\x80\xA0\xE2\x80\x99"},
};

/// An image that takes part, with the slot it is in.
struct ActiveImage {
    SharedRaster<1, 2> raster;
    Slot slot;
};

template <zrk::Border kBorder, std::size_t... I>
zrk::Evaluation extrusion(const std::vector<ActiveImage>& images, const zrk::Tensor<3, double>& inverseSize,
                          const zrk::Compositing& compositing, std::index_sequence<I...>)
{
    return zrk::evaluator(zrk::ImageExtrusion<sizeof...(I), kBorder>{
        {{{zrk::RasterLookup<1, 2, kBorder>(images[I].raster), images[I].slot.u, images[I].slot.v}...}},
        inverseSize,
        compositing});
}

template <zrk::Border kBorder>
zrk::Evaluation extrusionOf(const std::vector<ActiveImage>& images, const zrk::Tensor<3, double>& inverseSize,
                            const zrk::Compositing& compositing)
{
    switch (images.size()) {
    case 1:
        return extrusion<kBorder>(images, inverseSize, compositing, std::make_index_sequence<1>());
    case 2:
        return extrusion<kBorder>(images, inverseSize, compositing, std::make_index_sequence<2>());
    case 3:
        return extrusion<kBorder>(images, inverseSize, compositing, std::make_index_sequence<3>());
    default:
        return zrk::doNothing();
    }
}

/// The row of a name; the end where there is none.
auto findCompositing(const std::string& name)
{
    return std::find_if(zrk::kCompositings.begin(), zrk::kCompositings.end(),
                        [&](const zrk::Compositing& row) { return name == row.name; });
}

} // namespace

ComponentIdentity ZRK2DImageExtrude::identity()
{
    return {
        .className = "ZRK2DImageExtrude",
        .typeName = "2DImageExtrude",
        .uuid = "11CAA672-4ABD-4161-9BBB-AB3D24FD3B81",
        .icon = IconResources::sc_image_extrude,
        .strings = ZRKUIStrings::image_triaxial_blend(),
        .inputs = {},
        .outputs = {Tag::Scalar},
    };
}

void ZRK2DImageExtrude::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Scalar, "");
}

void ZRK2DImageExtrude::onDeserialize(const ZRKDeserialization& d)
{
    ZRKComponent::onDeserialize(d);
    announceEdit();
    _rasters.set({});
}

const char* ZRK2DImageExtrude::pickerLabel(std::size_t slot) { return kSlotTable[slot].label; }

const ZRKImage2dProperty& ZRK2DImageExtrude::image(std::size_t slot) const
{
    return slot == 0 ? imageXY : slot == 1 ? imageYZ : imageXZ;
}

ZRKImage2dProperty& ZRK2DImageExtrude::image(std::size_t slot)
{
    return slot == 0 ? imageXY : slot == 1 ? imageYZ : imageXZ;
}

void ZRK2DImageExtrude::pick(std::size_t slot, const std::shared_ptr<ZRKImage2d>& picked)
{
    announceEdit();
    _rasters.use([&](PendingRasters& rasters) { rasters[slot] = pendingFirstChannel(picked); });
    image(slot).set(picked);
}

ZRKHeldData ZRK2DImageExtrude::held() const
{
    ZRKHeldData data;
    for (const auto& raster : _rasters.copy()) {
        addRaster(raster, data);
    }
    return data;
}

void ZRK2DImageExtrude::hold(const ZRKHeldData& data)
{
    PendingRasters rasters;
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        rasters[slot] = data.part<Pending<SharedRaster<1, 2>>>(slot);
    }
    _rasters.set(rasters);
}

std::vector<std::string> ZRK2DImageExtrude::compositingNames()
{
    std::vector<std::string> names;
    for (const zrk::Compositing& row : zrk::kCompositings) {
        names.emplace_back(row.name);
    }
    return names;
}

std::size_t ZRK2DImageExtrude::shownCompositing()
{
    const auto row = findCompositing(compositing.value());
    if (row != zrk::kCompositings.end()) {
        return static_cast<std::size_t>(row - zrk::kCompositings.begin());
    }
    compositing.set(zrk::kCompositings.front().name);
    return 0;
}

void ZRK2DImageExtrude::chooseCompositing(int row)
{
    if (row >= 0 && static_cast<std::size_t>(row) < zrk::kCompositings.size()) {
        compositing.set(zrk::kCompositings[static_cast<std::size_t>(row)].name);
    }
}

auto ZRK2DImageExtrude::_ensureRasterCache() const -> PendingRasters
{
    const PendingRasters all = _rasters.use([this](PendingRasters& rasters) {
        for (std::size_t slot = 0; slot < kSlots; ++slot) {
            if (!rasters[slot]) {
                rasters[slot] = pendingFirstChannel(image(slot).value());
            }
        }
        return rasters;
    });
    for (const auto& pending : all) {
        if (isForNow(pending)) {
            rasterOf(pending); // without the lock: nobody's change waits for it
        }
    }
    return all;
}

zrk::Evaluation ZRK2DImageExtrude::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const PendingRasters rasters = _ensureRasterCache();
    const auto row = findCompositing(compositing.value());
    if (row == zrk::kCompositings.end()) {
        return zrk::doNothing();
    }
    const zrk::Tensor<3, double> inverseSize{1 / sizeX.value(), 1 / sizeY.value(), 1 / sizeZ.value()};
    const auto over = [inverseSize, row, wraps = wrap.value()](const std::vector<ActiveImage>& images) {
        return wraps ? extrusionOf<zrk::Border::Wrap>(images, inverseSize, *row)
                     : extrusionOf<zrk::Border::Clamp>(images, inverseSize, *row);
    };
    const auto make = [rasters, over] {
        std::vector<ActiveImage> images;
        for (std::size_t slot = 0; slot < kSlots; ++slot) {
            if (const auto raster = rasterOf(rasters[slot])) {
                images.push_back({raster, kSlotTable[slot]});
            }
        }
        return over(images);
    };
    static const auto pixel = std::make_shared<const zrk::Raster<1, 2, double>>(1, 1);
    return std::all_of(rasters.begin(), rasters.end(), isForNow<1, 2>)
               ? make()
               : pendingEvaluator(make, over({{pixel, kSlotTable[0]}}));
}

} // namespace zrkmodel

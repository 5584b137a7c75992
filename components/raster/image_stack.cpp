#include "components/raster/image_stack.h"

#include "components/channel_conversion.h"
#include "core/engine/formula.h"
#include "core/raster/raster_lookup.h"
#include "model/channel_names.h"
#include "model/panel_table.h"
#include "model/pins.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <variant>

namespace zrkmodel {

namespace {

/// The value of a volume that stands at the origin with a given size.
template <zrk::Border kBorder>
struct VolumeValue {
    zrk::RasterLookup<1, 3, kBorder> lookup;
    zrk::Tensor<3, double> inverseSize; ///< per model unit

    template <zrk::LooksUp V>
    zrk::Tensor<1, V> operator()(const zrk::Tensor<3, V>& p) const
    {
        return lookup(zrk::Tensor<3, V>{p[0] * inverseSize[0], p[1] * inverseSize[1], p[2] * inverseSize[2]});
    }
};

zrk::Evaluation volumeEvaluator(const SharedRaster<1, 3>& raster, const zrk::Tensor<3, double>& inverseSize,
                                bool wraps)
{
    using zrk::Border;
    if (!raster) {
        return zrk::doNothing();
    }
    if (wraps) {
        return zrk::evaluator(
            VolumeValue<Border::Wrap>{zrk::RasterLookup<1, 3, Border::Wrap>(raster), inverseSize});
    }
    return zrk::evaluator(
        VolumeValue<Border::Clamp>{zrk::RasterLookup<1, 3, Border::Clamp>(raster), inverseSize});
}

std::uint8_t greyOf(double value)
{
    const double share = value > 0 ? std::min(value, 1.0) : 0.0; // NaN is black
    return static_cast<std::uint8_t>(std::lround(share * 255.0));
}

} // namespace

bool ZRKImageStack::onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    const zrkui::ZRKPanel* panel = zrkui::ZRKPanelTable::instance().find(typeid(ZRKImageStack));
    if (panel && view) {
        (*panel)(*this, *view, node);
    }
    return true;
}

ComponentIdentity ZRK3DImage::identity()
{
    return {
        .className = "ZRK3DImage",
        .typeName = "2DImageExtrude", // the name of another class: saved documents carry it
        .uuid = "494094F4-A6E5-4388-980F-7CEE65934F97",
        .icon = IconResources::sc_image3d,
        .strings = ZRKUIStrings::image_volume(),
        .inputs = {},
        .outputs = {Tag::Scalar},
    };
}

void ZRK3DImage::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Scalar, "");
}

void ZRK3DImage::onDeserialize(const ZRKDeserialization& d)
{
    ZRKComponent::onDeserialize(d);
    announceEdit();
    _raster.set(nullptr);
    _ensureRasterCache();
    if (const SharedVolume volume = _raster.copy(); volume && isForNow(volume->doubles)) {
        rasterOf(volume->doubles);
    }
}

bool ZRK3DImage::onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    _ensureRasterCache();
    return ZRKComponent::onInspection(view, node);
}

zrk::Evaluation ZRK3DImage::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    // Not filled here: a volume that was removed stays away until the next inspection or load.
    const SharedVolume volume = _raster.copy();
    const zrk::Tensor<3, double> inverseSize{1 / sizeX.value(), 1 / sizeY.value(), 1 / sizeZ.value()};
    const auto make = [volume, inverseSize, wraps = wrap.value()] {
        return volumeEvaluator(volume ? rasterOf(volume->doubles) : nullptr, inverseSize, wraps);
    };
    static const auto voxel = std::make_shared<const zrk::Raster<1, 3, double>>(1, 1, 1);
    return !volume || isForNow(volume->doubles)
               ? make()
               : pendingEvaluator(make, volumeEvaluator(voxel, inverseSize, wrap.value()));
}

ZRK3DImage::SharedVolume ZRK3DImage::volumeOf(const std::shared_ptr<const ZRKImage3d>& image)
{
    const auto doubles = pendingFirstChannel(image);
    const auto isEmpty = [](const auto& channel) { return channel.data.empty(); };
    return doubles && !std::visit(isEmpty, image->channel(0))
               ? std::make_shared<const Volume>(Volume{image, doubles})
               : nullptr;
}

void ZRK3DImage::_ensureRasterCache() const
{
    _raster.use([this](SharedVolume& raster) {
        if (!raster) {
            raster = volumeOf(image.value());
        }
    });
}

/// Announced as "raster".
void ZRK3DImage::replaceRaster(SharedVolume volume, const std::vector<std::filesystem::path>& imported)
{
    announceEdit();
    _raster.set(std::move(volume));
    if (!imported.empty()) {
        announceImport(imported);
    }
    emitChange({"raster", this});
}

void ZRK3DImage::removeImage() { replaceRaster(nullptr); }

void ZRK3DImage::loadFolder(ZRKImage3dLibraryView& library, const std::string& path)
{
    const auto entry = library.ensureImageFromfolder(path);
    const auto volume = entry ? std::dynamic_pointer_cast<ZRKImage3d>(entry->object()) : nullptr;
    image.set(volume, false);
    replaceRaster(volumeOf(volume));
}

zrk::Result<std::vector<zrk::Fault>> ZRK3DImage::loadSlices(const zrk::Paths& paths,
                                                            zrk::ProgressMonitor* monitor)
{
    if (paths.empty()) {
        return {};
    }
    return zrk::readGreyStack(paths, monitor).map([this, &paths](zrk::GreyStack stack) {
        std::vector<ZRKImage3d::Channel> channels;
        channels.emplace_back(std::move(stack.voxels));
        const auto volume = volumeOf(std::make_shared<const ZRKImage3d>(std::move(channels)));
        if (volume && isForNow(volume->doubles)) {
            rasterOf(volume->doubles);
        }
        replaceRaster(volume, {paths.begin(), paths.end()});
        return std::move(stack.leftOut);
    });
}

zrk::Result<ZRKImportWarnings> ZRK3DImage::onImport(const std::vector<std::filesystem::path>& paths,
                                                    const ZRKImportOptions&, zrk::ProgressMonitor* monitor)
{
    try {
        return loadSlices(paths, monitor)
            .map([](const std::vector<zrk::Fault>& leftOut) -> ZRKImportWarnings {
                if (leftOut.empty()) {
                    return {};
                }
                zrk::Fault fault = leftOut.front();
                fault.remedy += "; the slice is left out";
                if (leftOut.size() > 1) {
                    fault.remedy += ", and " + std::to_string(leftOut.size() - 1) + " more";
                }
                return {std::move(fault)};
            });
    } catch (const std::filesystem::filesystem_error& error) {
        zrk::Fault fault = zrk::faultOf(error, paths.front().string());
        fault.kind = zrk::FaultKind::BadInput;
        fault.remedy += "; no slice is loaded";
        return zrk::refused(std::move(fault));
    }
}

ZRKHeldData ZRK3DImage::held() const
{
    const SharedVolume volume = _raster.copy();
    const auto raster = volume && volume->doubles->isDone() ? rasterOf(volume->doubles) : nullptr;
    ZRKHeldData data;
    data.add(volume, raster ? raster->data.size() * sizeof(double) : 0);
    return data;
}

void ZRK3DImage::hold(const ZRKHeldData& data) { _raster.set(data.part<Volume>(0)); }

/// Announced as "raster".
void ZRK3DImage::takeImport(const ZRKDataHolder& from, const std::vector<std::filesystem::path>& files)
{
    ZRKDataHolder::takeImport(from, files);
    emitChange({"raster", this});
}

std::optional<zrk::Raster<1, 2, std::uint8_t>> ZRK3DImage::preview(double share) const
{
    const SharedVolume volume = _raster.copy();
    if (!volume) {
        return std::nullopt;
    }
    return std::visit(
        [share]<class T>(const zrk::Raster<1, 3, T>& channel) {
            const std::int32_t* dims = channel.dims;
            const double last = dims[2] - 1;
            const double k = std::trunc(dims[2] * share);
            const auto slice = static_cast<std::size_t>(k > 0 ? std::min(k, last) : 0.0);
            zrk::Raster<1, 2, std::uint8_t> picture(dims[0], dims[1]);
            const T* const from = channel.data.data() + slice * picture.data.size();
            std::transform(from, from + picture.data.size(), picture.data.begin(),
                           [](T value) { return greyOf(asDouble(value)); });
            return picture;
        },
        volume->image->channel(0));
}

} // namespace zrkmodel

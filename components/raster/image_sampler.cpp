#include "components/raster/image_sampler.h"

#include "core/engine/formula.h"
#include "core/raster/raster_lookup.h"
#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

namespace {

/// The colour of an image at the first two coordinates.
template <int N, zrk::Border kBorder>
struct ImageValue {
    zrk::RasterLookup<N, 2, kBorder> lookup;

    template <zrk::LooksUp V>
    zrk::Tensor<N, V> operator()(const zrk::Tensor<3, V>& coordinates) const
    {
        return lookup(zrk::Tensor<2, V>{coordinates[0], coordinates[1]});
    }
};

template <int N, zrk::Border kBorder>
zrk::Evaluation imageEvaluator(const SharedRaster<N, 2>& raster)
{
    return raster ? zrk::evaluator(ImageValue<N, kBorder>{zrk::RasterLookup<N, 2, kBorder>(raster)})
                  : zrk::doNothing();
}

template <int N>
zrk::Evaluation imageEvaluator(const SharedRaster<N, 2>& raster, bool wraps)
{
    return wraps ? imageEvaluator<N, zrk::Border::Wrap>(raster)
                 : imageEvaluator<N, zrk::Border::Clamp>(raster);
}

template <int N>
constexpr Tag kValueTag = N == 1   ? Tag::Scalar
                          : N == 3 ? Tag::Vector3d
                                   : Tag::Color;

} // namespace

template <int N>
void ZRKImageSamplerBase<N>::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, kValueTag<N>, "");
}

template <int N>
void ZRKImageSamplerBase<N>::onDeserialize(const ZRKDeserialization& d)
{
    ZRKExtensionBase::onDeserialize(d);
    announceEdit();
    _raster.set(nullptr);
}

template <int N>
void ZRKImageSamplerBase<N>::pick(const std::shared_ptr<ZRKImage2d>& picked)
{
    announceEdit();
    _raster.set(nullptr);
    image.set(picked);
}

template <int N>
ZRKHeldData ZRKImageSamplerBase<N>::held() const
{
    ZRKHeldData data;
    addRaster(_raster.copy(), data);
    return data;
}

template <int N>
void ZRKImageSamplerBase<N>::hold(const ZRKHeldData& data)
{
    _raster.set(data.part<Pending<SharedRaster<N, 2>>>(0));
}

template <int N>
PendingRaster<N, 2> ZRKImageSamplerBase<N>::_ensureRasterCache() const
{
    const auto pending = _raster.use([this](PendingRaster<N, 2>& raster) {
        if (!raster) {
            raster = pendingChannels<N>(image.value());
        }
        return raster;
    });
    if (isForNow(pending)) {
        rasterOf(pending); // without the lock: nobody's change waits for it
    }
    return pending;
}

template <int N>
zrk::Evaluation ZRKImageSamplerBase<N>::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const auto pending = _ensureRasterCache();
    const auto make = [pending, wraps = wrap.value()] { return imageEvaluator<N>(rasterOf(pending), wraps); };
    static const auto pixel = std::make_shared<const zrk::Raster<N, 2, double>>(1, 1);
    return isForNow(pending) ? make() : pendingEvaluator(make, imageEvaluator<N>(pixel, wrap.value()));
}

template class ZRKImageSamplerBase<1>;
template class ZRKImageSamplerBase<3>;
template class ZRKImageSamplerBase<4>;

// The registered input is a wildcard, the pin a vector.

ComponentIdentity ZRKScalarImageSampler::identity()
{
    return {
        .className = "ZRKScalarImageSampler",
        .typeName = "ScalarImageSampler",
        .uuid = "F47194BC-F7C9-458D-A8EF-9E38169F3A2B",
        .icon = IconResources::sc_image2d,
        .strings = ZRKUIStrings::scalar_image(),
        .inputs = {Tag::Any},
        .outputs = {Tag::Scalar},
    };
}

ComponentIdentity ZRKVector3ImageSampler::identity()
{
    return {
        .className = "ZRKVector3ImageSampler",
        .typeName = "Vector3ImageSampler",
        .uuid = "78EC2DBE-A2C0-4F50-8902-0122395634FC",
        .icon = IconResources::uvw_image2d,
        .strings = ZRKUIStrings::vector_image(),
        .inputs = {Tag::Any},
        .outputs = {Tag::Vector3d},
    };
}

ComponentIdentity ZRKRGBAImageSampler::identity()
{
    return {
        .className = "ZRKRGBAImageSampler",
        .typeName = "RGBAImageSampler",
        .uuid = "B9893F8A-2F45-42B1-B94B-870AE0D8ED0C",
        .icon = IconResources::rgb_image2d,
        .strings = ZRKUIStrings::color_image(),
        .inputs = {Tag::Any},
        .outputs = {Tag::Color},
    };
}

} // namespace zrkmodel

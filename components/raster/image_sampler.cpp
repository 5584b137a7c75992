#include "components/raster/image_sampler.h"

#include "components/channel_conversion.h"
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
    const SharedPixels raster = _raster.copy();
    ZRKHeldData data;
    data.add(raster, raster ? raster->data.size() * sizeof(double) : 0);
    return data;
}

template <int N>
void ZRKImageSamplerBase<N>::hold(const ZRKHeldData& data)
{
    _raster.set(data.part<zrk::Raster<N, 2, double>>(0));
}

template <int N>
auto ZRKImageSamplerBase<N>::_ensureRasterCache() const -> SharedPixels
{
    return _raster.use([this](SharedPixels& raster) {
        if (!raster) {
            raster = interleavedChannels<N>(image.value());
        }
        return raster;
    });
}

template <int N>
zrk::Evaluation ZRKImageSamplerBase<N>::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    using zrk::Border;
    const SharedPixels raster = _ensureRasterCache();
    if (!raster) {
        return zrk::doNothing();
    }
    if (wrap.value()) {
        return zrk::evaluator(ImageValue<N, Border::Wrap>{zrk::RasterLookup<N, 2, Border::Wrap>(raster)});
    }
    return zrk::evaluator(ImageValue<N, Border::Clamp>{zrk::RasterLookup<N, 2, Border::Clamp>(raster)});
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

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
    _raster.set(nullptr);
}

template <int N>
void ZRKImageSamplerBase<N>::pick(const std::shared_ptr<ZRKImage2d>& picked)
{
    _raster.set(nullptr);
    image.set(picked);
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
    return {"ZRKScalarImageSampler",
            "ScalarImageSampler",
            "F47194BC-F7C9-458D-A8EF-9E38169F3A2B",
            IconResources::sc_image2d,
            &ZRKUIStrings::scalar_image,
            {Tag::Any},
            {Tag::Scalar}};
}

ComponentIdentity ZRKVector3ImageSampler::identity()
{
    return {"ZRKVector3ImageSampler",
            "Vector3ImageSampler",
            "78EC2DBE-A2C0-4F50-8902-0122395634FC",
            IconResources::uvw_image2d,
            &ZRKUIStrings::vector_image,
            {Tag::Any},
            {Tag::Vector3d}};
}

ComponentIdentity ZRKRGBAImageSampler::identity()
{
    return {"ZRKRGBAImageSampler",
            "RGBAImageSampler",
            "B9893F8A-2F45-42B1-B94B-870AE0D8ED0C",
            IconResources::rgb_image2d,
            &ZRKUIStrings::color_image,
            {Tag::Any},
            {Tag::Color}};
}

} // namespace zrkmodel

#pragma once

#include "components/raster/image_property.h"
#include "model/component.h"

#include <memory>

namespace zrkmodel {

/// A picture as a field: the first two components of `coords` address it.
///
/// | property | default | effect                                                                          |
/// |----------|---------|---------------------------------------------------------------------------------|
/// | wrap     | true    | repeat the picture beyond its borders, or else its border pixels                |
/// | image    | none    | an image2d resource; without one, or with unequal channels, nothing is written  |
///
/// Coordinates (0, 0) are the centre of the first pixel, (1, 1) that of the last one; between pixels the
/// value is bilinear. Wrapped, the picture starts over after one more pixel: the period along u is w / (w -
/// 1) for a width of w pixels. Whole numbers of the file arrive as 0 to 1. The weight is that of `coords`.
///
/// N is the number of channels: 1, 3 or 4. A picture of fewer repeats its last channel; the opacity that a
/// colour needs is then 1.
///
/// Edits belong to the interface thread, and so does building evaluators.
template <int N>
class ZRKImageSamplerBase : public ZRKExtensionBase {
public:
    ZRKProperty<bool> wrap{"wrap", true, this};
    ZRKImage2dProperty image{"image", nullptr, this};

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onDeserialize(const ZRKDeserialization& d) override;

    /// What the picker of the panel does: takes another picture, or none.
    void pick(const std::shared_ptr<ZRKImage2d>& picked);

protected:
    ZRKImageSamplerBase() = default;
    /// The copy converts its picture itself, once it is asked.
    ZRKImageSamplerBase(const ZRKImageSamplerBase& other) : ZRKExtensionBase(other) {}
    ZRKImageSamplerBase& operator=(const ZRKImageSamplerBase&) = default;

    /// Converts the picture, unless that is done already.
    void _ensureRasterCache() const;

private:
    mutable std::shared_ptr<const zrk::Raster<N, 2, double>> _raster; ///< shared with evaluators
};

extern template class ZRKImageSamplerBase<1>;
extern template class ZRKImageSamplerBase<3>;
extern template class ZRKImageSamplerBase<4>;

/// The first channel of a picture, as a density or a height.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/gear.png"}],
///      "nodes": [{"id": 1, "type": "ScalarImageSampler", "values": {"image": "0b0e"}}],
///      "output": [1, 0]}
class ZRKScalarImageSampler final : public ZRKComponent<ZRKScalarImageSampler, ZRKImageSamplerBase<1>> {
public:
    ZRKScalarImageSampler() = default;
    ZRKScalarImageSampler(const ZRKScalarImageSampler& other) : ZRKComponent(other) {}
    ZRKScalarImageSampler& operator=(const ZRKScalarImageSampler&) = default;

    static ComponentIdentity identity();
};

/// The first three channels of a picture as a vector, such as an offset or a normal map.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/flower_normals.png"}],
///      "nodes": [{"id": 1, "type": "Vector3ImageSampler", "values": {"image": "0b0e", "wrap": false}}],
///      "output": [1, 0]}
class ZRKVector3ImageSampler final : public ZRKComponent<ZRKVector3ImageSampler, ZRKImageSamplerBase<3>> {
public:
    ZRKVector3ImageSampler() = default;
    ZRKVector3ImageSampler(const ZRKVector3ImageSampler& other) : ZRKComponent(other) {}
    ZRKVector3ImageSampler& operator=(const ZRKVector3ImageSampler&) = default;

    static ComponentIdentity identity();
};

/// A picture's colours with their opacity.
///
/// Wound around a cylinder:
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/tile.png"}],
///      "nodes": [{"id": 1, "type": "CylinderUVW"},
///                {"id": 2, "type": "RGBAImageSampler", "values": {"image": "0b0e"}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRKRGBAImageSampler final : public ZRKComponent<ZRKRGBAImageSampler, ZRKImageSamplerBase<4>> {
public:
    ZRKRGBAImageSampler() = default;
    ZRKRGBAImageSampler(const ZRKRGBAImageSampler& other) : ZRKComponent(other) {}
    ZRKRGBAImageSampler& operator=(const ZRKRGBAImageSampler&) = default;

    static ComponentIdentity identity();
};

} // namespace zrkmodel

#pragma once

#include "components/guarded.h"
#include "components/pending_raster.h"
#include "components/raster/image_property.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/held_data.h"

#include <memory>

namespace zrkmodel {

/// A picture as a field: the first two components of `coords` address it. N is the number of channels: 1, 3
/// or 4.
///
/// | property | kind    | unit | default | range | meaning                                                  |
/// |----------|---------|------|---------|-------|----------------------------------------------------------|
/// | wrap     | bool    |      | true    |       | true: repeats the picture beyond its borders; false: its |
/// |          |         |      |         |       | border pixels                                            |
/// | image    | image2d |      | ""      |       | the picture; without one, or with channels of unequal    |
/// |          |         |      |         |       | size, nothing is written                                 |
///
/// | input  | unit | meaning                                                                                |
/// |--------|------|----------------------------------------------------------------------------------------|
/// | coords |      | the place in the picture: (0, 0) is the centre of the first pixel, (1, 1) that of the  |
/// |        |      | last one                                                                               |
///
/// Formula: Between pixels the value is bilinear. A wrapped picture starts over after one more pixel, so its
/// period along u is w / (w - 1) for a width of w pixels.
///
/// Notes: Whole numbers of the file arrive as 0 to 1. A picture of fewer channels repeats its last one; the
/// opacity that a colour needs is then 1.
///
/// Threads: Any number of threads may build evaluators at once, but none while a property is edited. Under a
/// ZRKDeferredBuilding their first sample converts the picture.
template <int N>
class ZRK_API ZRKImageSamplerBase : public ZRKExtensionBase, public ZRKDataHolder {
public:
    ZRKProperty<bool> wrap{"wrap", true, this};
    ZRKImage2dProperty image{"image", nullptr, this};

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onDeserialize(const ZRKDeserialization& d) override;

    /// What the picker of the panel does: takes another image, or none.
    void pick(const std::shared_ptr<ZRKImage2d>& picked);

    /// The converted image, or the one that is to be converted.
    ZRKHeldData held() const override;
    void hold(const ZRKHeldData& data) override;

protected:
    ZRKImageSamplerBase() = default;
    /// The copy converts its image itself, once it is asked.
    ZRKImageSamplerBase(const ZRKImageSamplerBase& other) : ZRKExtensionBase(other), ZRKDataHolder(other) {}
    ZRKImageSamplerBase& operator=(const ZRKImageSamplerBase&) = default;

    /// The image as doubles; null without an image. They are converted by now, unless that is put off.
    PendingRaster<N, 2> _ensureRasterCache() const;

private:
    mutable Guarded<PendingRaster<N, 2>> _raster; ///< the evaluators share what it points to
};

extern template class ZRKImageSamplerBase<1>;
extern template class ZRKImageSamplerBase<3>;
extern template class ZRKImageSamplerBase<4>;

/// Samples one channel of a picture. It is the first one, and serves as a density or a height.
///
/// | output    | unit | meaning                                          |
/// |-----------|------|--------------------------------------------------|
/// | (unnamed) |      | the channel, 0 to 1, with the weight of `coords` |
///
/// Example: The brightness of a picture.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/gear.png"}],
///      "nodes": [{"id": 1, "type": "ScalarImageSampler", "values": {"image": "0b0e"}}],
///      "output": [1, 0]}
class ZRK_API ZRKScalarImageSampler final
    : public ZRKComponent<ZRKScalarImageSampler, ZRKImageSamplerBase<1>> {
public:
    ZRKScalarImageSampler() = default;
    ZRKScalarImageSampler(const ZRKScalarImageSampler& other) : ZRKComponent(other) {}
    ZRKScalarImageSampler& operator=(const ZRKScalarImageSampler&) = default;

    static ComponentIdentity identity();
};

/// Samples three channels of a picture as a vector. It may be an offset or a normal map.
///
/// | output    | unit | meaning                                                            |
/// |-----------|------|--------------------------------------------------------------------|
/// | (unnamed) |      | the first three channels, each 0 to 1, with the weight of `coords` |
///
/// Example: A picture of normals.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/flower_normals.png"}],
///      "nodes": [{"id": 1, "type": "Vector3ImageSampler", "values": {"image": "0b0e", "wrap": false}}],
///      "output": [1, 0]}
class ZRK_API ZRKVector3ImageSampler final
    : public ZRKComponent<ZRKVector3ImageSampler, ZRKImageSamplerBase<3>> {
public:
    ZRKVector3ImageSampler() = default;
    ZRKVector3ImageSampler(const ZRKVector3ImageSampler& other) : ZRKComponent(other) {}
    ZRKVector3ImageSampler& operator=(const ZRKVector3ImageSampler&) = default;

    static ComponentIdentity identity();
};

/// Samples a picture as a colour.
///
/// | output    | unit | meaning                                                         |
/// |-----------|------|-----------------------------------------------------------------|
/// | (unnamed) |      | the colour and its opacity, 0 to 1, with the weight of `coords` |
///
/// Example: A picture wound around a cylinder.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "0b0e", "kind": "image2d", "path": "pictures/tile.png"}],
///      "nodes": [{"id": 1, "type": "CylinderUVW"},
///                {"id": 2, "type": "RGBAImageSampler", "values": {"image": "0b0e"}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
class ZRK_API ZRKRGBAImageSampler final : public ZRKComponent<ZRKRGBAImageSampler, ZRKImageSamplerBase<4>> {
public:
    ZRKRGBAImageSampler() = default;
    ZRKRGBAImageSampler(const ZRKRGBAImageSampler& other) : ZRKComponent(other) {}
    ZRKRGBAImageSampler& operator=(const ZRKRGBAImageSampler&) = default;

    static ComponentIdentity identity();
};

} // namespace zrkmodel

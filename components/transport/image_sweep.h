#pragma once

#include "components/point_interpolator_serializer.h"
#include "core/values/raster.h"
#include "model/component.h"
#include "model/geometry.h"
#include "model/property.h"
#include "model/resource.h"

#include <functional>
#include <memory>
#include <string>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// A volume between two pictures: one moves and deforms into the other along the third axis, by optimal
/// transport, so that a shape travels where a crossfade would fade out here and in there.
///
/// | property       | unit        | default | effect                                                   |
/// |----------------|-------------|---------|----------------------------------------------------------|
/// | wrap           |             | true    | beyond the volume it starts over; false: its faces go on |
/// | size x, y, z   | model units | 1       | extent of the volume, which begins at the origin         |
/// | steps          | slices      | 8       | of the stack                                             |
/// | resolution     | pixels      | 32      | edge of the square pictures that are carried over        |
/// | smoothing      |             | 0.5     | blur; its weight falls to exp(-4) at 15.5 times as       |
/// |                |             |         | many nodes of the stack; 0 or less: none                 |
/// | transport      |             | 0.8     | 1: transport alone, 0: a crossfade of the pictures       |
/// | pathCurve      |             | none    | a curve for the panel; no sample depends on it           |
/// | scaling        |             | 1       | curve: the slice's size over z / size z; 0 gives NaN     |
/// | interpolation  |             | 0 to 1  | curve: the place in the stack over z / size z            |
/// | imageA, imageB |             | none    | pictures; without both, nothing is written               |
/// | obstacle       |             | none    | its pixels greater than 0 are closed                     |
///
/// Of each picture the first channel counts. The stack's greatest value becomes 1. Keep the pictures' ground
/// at 0.004 or more (1 of 255): with black pixels the computation amplifies rounding, and the slices between
/// the ends are then noisy.
///
/// The stack is computed when a document is loaded and by `compute`, and takes 2000 steps over steps times
/// resolution^2 cells, a second or so with the defaults. All other properties act on the stack that is there.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "a1", "kind": "image2d", "path": "letter.png"},
///                    {"uuid": "b2", "kind": "image2d", "path": "ring.png"}],
///      "nodes": [{"id": 1, "type": "ImageSweep",
///                 "values": {"scaling": [[0, 1, 0]], "interpolation": [[0, 0, 0], [1, 1, 0]],
///                            "imageA": "a1", "imageB": "b2"}}],
///      "output": [1, 0]}
///
/// A document must hold both curves: reading one that is missing leaves it without points, and all is NaN.
///
/// Edits and `compute` belong to the interface thread. Evaluators share the volume and keep it when it is
/// replaced.
class ZRKImageSweep final : public ZRKComponent<ZRKImageSweep> {
public:
    using Image = std::shared_ptr<ZRKImage2d>;

    ZRKProperty<bool> wrap{"wrap", true, this};
    ZRKProperty<double> sizeX{"size x", 1.0, this};
    ZRKProperty<double> sizeY{"size y", 1.0, this};
    ZRKProperty<double> sizeZ{"size z", 1.0, this};
    ZRKProperty<int> steps{"steps", 8, this};
    ZRKProperty<int> resolution{"resolution", 32, this};
    ZRKProperty<double> smoothing{"smoothing", 0.5, this};
    ZRKProperty<double> transport{"transport", 0.8, this};
    ZRKProperty<std::shared_ptr<ZRKGeometry>> pathCurve{"pathCurve", nullptr, this};
    ZRKProperty<ScalarCurve> scaling{"scaling", ScalarCurve::through({{0, 1}, {1, 1}}), this};
    ZRKProperty<ScalarCurve> interpolation{"interpolation", ScalarCurve::through({{0, 0}, {1, 1}}), this};
    ZRKProperty<Image> imageA{"imageA", nullptr, this};
    ZRKProperty<Image> imageB{"imageB", nullptr, this};
    ZRKProperty<Image> obstacle{"obstacle", nullptr, this};

    ZRKImageSweep() = default;
    /// A copy has the stack, but not the pictures that a crossfade mixes in, until it computes.
    ZRKImageSweep(const ZRKImageSweep& other);
    ZRKImageSweep& operator=(const ZRKImageSweep&) = default;

    /// Computes the stack from the pictures; announced as "raster".
    /// @param monitor  told of the progress, may stop the computation; without one, percents go to the
    /// standard
    ///                 output stream, a line each.
    /// @return false when it was stopped; the former stack is then kept and nothing announced.
    bool compute(zrk::ProgressMonitor* monitor = nullptr);
    /// Takes another picture for one of the three image properties; the stack stays until the next `compute`.
    void pick(ZRKProperty<Image>& property, const Image& image);
    /// Has the volume made anew from the stack with the next evaluator. "smoothing" and "transport" call it.
    void invalidateOutputRaster() const { _outputDirty = true; }

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    bool onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onDeserialize(const ZRKDeserialization& d) override;
    void _onPropertyChanged(const ZRKEvent& event) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

private:
    using Picture = zrk::Raster<1, 2, double>;
    using Volume = zrk::Raster<1, 3, double>;

    mutable std::shared_ptr<const Picture> _rasterA;
    mutable std::shared_ptr<const Picture> _rasterB;
    mutable std::shared_ptr<const Picture> _rasterObstacle;
    std::shared_ptr<const Volume> _sweepRaster; ///< the solver's result, its greatest value 1
    mutable std::shared_ptr<const Volume> _outputRaster;
    Picture _resampledA; ///< square, as the solver had them
    Picture _resampledB;
    mutable bool _outputDirty = true;

    void _ensureRasterCache() const;
    bool rebuildSweep(zrk::ProgressMonitor* monitor);
    void updateOutputRaster() const;
    void mixInCrossfade(Volume& stack) const;
    template <class Lookup>
    zrk::Evaluation sweptEvaluator() const;
};

} // namespace zrkmodel

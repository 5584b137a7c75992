#pragma once

#include "components/guarded.h"
#include "components/pending_raster.h"
#include "components/point_interpolator_serializer.h"
#include "core/values/export.h"
#include "core/values/raster.h"
#include "model/component.h"
#include "model/geometry.h"
#include "model/held_data.h"
#include "model/property.h"
#include "model/resource.h"

#include <functional>
#include <memory>
#include <string>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// Sweeps one picture into another by optimal transport. A shape moves and deforms along the third axis of a
/// volume, where a crossfade would fade out here and in there.
///
/// | property      | kind     | unit   | default            | range  | meaning                              |
/// |---------------|----------|--------|--------------------|--------|--------------------------------------|
/// | wrap          | bool     |        | true               |        | true: repeats the volume; false: its |
/// |               |          |        |                    |        | faces                                |
/// | size x        | double   | mu     | 1.0                |        | extent of the volume along x, from   |
/// |               |          |        |                    |        | the origin                           |
/// | size y        | double   | mu     | 1.0                |        | the same along y                     |
/// | size z        | double   | mu     | 1.0                |        | the same along z                     |
/// | steps         | int      | slices | 8                  |        | number of slices of the stack        |
/// | resolution    | int      | pixels | 32                 |        | edge of the square pictures that are |
/// |               |          |        |                    |        | carried over                         |
/// | smoothing     | double   |        | 0.5                | 0 to 1 | blur; its weight falls to exp(-4) at |
/// |               |          |        |                    |        | 15.5 times as many nodes of the      |
/// |               |          |        |                    |        | stack; 0 or less: none               |
/// | transport     | double   |        | 0.8                | 0 to 1 | 1: transport alone; 0: a crossfade   |
/// |               |          |        |                    |        | of the pictures                      |
/// | pathCurve     | geometry |        | ""                 | curve  | a curve for the panel; no sample     |
/// |               |          |        |                    |        | depends on it                        |
/// | scaling       | curve    |        | [[0, 1, 0], [1, 1, |        | the slice's size over z / size z; 0  |
/// |               |          |        | 0]]                |        | gives NaN                            |
/// | interpolation | curve    |        | [[0, 0, 0], [1, 1, |        | the place in the stack over z / size |
/// |               |          |        | 0]]                |        | z                                    |
/// | imageA        | image2d  |        | ""                 |        | the first picture; without both,     |
/// |               |          |        |                    |        | nothing is written                   |
/// | imageB        | image2d  |        | ""                 |        | the second one                       |
/// | obstacle      | image2d  |        | ""                 |        | a picture whose pixels greater than  |
/// |               |          |        |                    |        | 0 are closed                         |
///
/// | input  | unit | meaning                 |
/// |--------|------|-------------------------|
/// | coords | mu   | the place in the volume |
///
/// | output    | unit | meaning                                          |
/// |-----------|------|--------------------------------------------------|
/// | (unnamed) |      | the density, 0 to 1, with the weight of `coords` |
///
/// Formula: The stack holds the flow of mass that carries the first picture into the second at the lowest
/// cost, a slice a step, scaled so that its greatest value is 1. Between its voxels the value is trilinear.
///
/// Notes: A document must hold both curves: reading one that is missing leaves it without points, and all is
/// NaN. The first channel of each picture is read. Keep the pictures' ground at 0.004 or more (1 of 255):
/// with black pixels the computation amplifies rounding, and the slices between the ends are then noisy. The
/// stack is computed when a document is loaded and by `compute`, and takes 2000 steps over steps times
/// resolution^2 cells, a second or so with the defaults. All other properties act on the stack that is there:
/// "smoothing" and "transport" when their sliders are moved, the rest with the next evaluator.
///
/// Example: A letter that becomes a ring.
///
///     {"zrkGraph": 1,
///      "resources": [{"uuid": "a1", "kind": "image2d", "path": "pictures/letter.png"},
///                    {"uuid": "b2", "kind": "image2d", "path": "pictures/ring.png"}],
///      "nodes": [{"id": 1, "type": "ImageSweep",
///                 "values": {"scaling": [[0, 1, 0]], "interpolation": [[0, 0, 0], [1, 1, 0]],
///                            "imageA": "a1", "imageB": "b2"}}],
///      "output": [1, 0]}
///
/// Threads: Edits and `compute` belong to the interface thread. Any number of threads may build evaluators at
/// once, but none while a property is edited. Evaluators share the volume and keep it when it is replaced.
/// Under a ZRKDeferredBuilding their first sample makes it.
class ZRK_API ZRKImageSweep final : public ZRKComponent<ZRKImageSweep>, public ZRKDataHolder {
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
    /// A copy has the stack, but not the images that a crossfade mixes in, until it computes.
    ZRKImageSweep(const ZRKImageSweep& other);
    ZRKImageSweep& operator=(const ZRKImageSweep&) = default;

    /// What the button "compute >>" does: it computes the stack from the images and announces "raster". Takes
    /// a second or so with the defaults, and returns when all is done.
    /// @param monitor  is told of the progress and may stop the computation. Without one, percents go to the
    ///                 standard output stream, a line each.
    /// @return false when it was stopped; the former stack is then kept and nothing is announced.
    /// Throws zrk::FaultError, before memory is taken, for a stack that no raster can hold.
    bool compute(zrk::ProgressMonitor* monitor = nullptr);
    /// What a picker does: it assigns another image, or none, to one of the three image properties. The stack
    /// stays until the next `compute`.
    void pick(ZRKProperty<Image>& property, const Image& image);
    /// What the sliders do: they assign the value, and the next evaluator makes the volume anew from the
    /// stack.
    void moveSmoothing(double value);
    void moveTransport(double value);
    /// Has the next evaluator make the volume anew from the stack. Assigning "smoothing" or "transport"
    /// doesn't do this; moving their sliders does.
    void invalidateOutputRaster() const;

    /// The images as they are read, the stack and the volume.
    ZRKHeldData held() const override;
    void hold(const ZRKHeldData& data) override;
    ZRKComputation computation() const override;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    bool onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

private:
    using Pixels = zrk::Raster<1, 2, double>;
    using Volume = zrk::Raster<1, 3, double>;
    using Output = Pending<std::shared_ptr<const Volume>>;

    /// What was computed, and the volume that is made of it for evaluators.
    struct Sweep {
        std::shared_ptr<const Volume> sweepRaster{}; ///< the solver's result, its greatest value 1
        std::shared_ptr<const Pixels> resampledA{};  ///< square, as the solver had them; null in a copy
        std::shared_ptr<const Pixels> resampledB{};
        std::shared_ptr<const Output> outputRaster{};
        bool outputDirty = true;
    };

    mutable PendingRaster<1, 2> rasterA;
    mutable PendingRaster<1, 2> rasterB;
    mutable PendingRaster<1, 2> rasterObstacle;
    mutable Guarded<Sweep> _sweep;
    ComputationMeter _meter;

    void _ensureRasterCache() const;
    std::shared_ptr<const Output> _ensureOutputRaster() const;
    bool rebuildSweep(zrk::ProgressMonitor* monitor);
    void refuseLargeStack() const;
    void updateOutputRaster(Sweep& sweep) const;
};

} // namespace zrkmodel

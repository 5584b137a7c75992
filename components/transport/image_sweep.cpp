#include "components/transport/image_sweep.h"

#include "components/transport/image_sweep_formula.h"
#include "core/engine/formula.h"
#include "core/engine/progress.h"
#include "core/engine/worker_team.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"
#include "core/raster/raster_lookup.h"
#include "core/transport/solver.h"
#include "core/values/fault.h"
#include "core/values/memory_budget.h"
#include "core/values/stop.h"
#include "model/channel_names.h"
#include "model/pins.h"
#include "model/shared_building.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

using Pixels = zrk::Raster<1, 2, double>;
using Volume = zrk::Raster<1, 3, double>;

/// An image of `nodes` pixels along both edges, which reach from end to end of the other's.
Pixels resampled(const std::shared_ptr<const Pixels>& image, int nodes)
{
    if (image->dims[0] == nodes && image->dims[1] == nodes) {
        return *image;
    }
    const zrk::RasterLookup<1, 2, zrk::Border::Clamp> lookup(image);
    const int edge = std::max(nodes, 0);
    Pixels square(edge, edge);
    double* out = square.data.data();
    for (int j = 0; j < edge; ++j) {
        zrk::stopIfAsked();
        for (int i = 0; i < edge; ++i) {
            const double last = edge - 1;
            *out++ = lookup(zrk::Tensor<2, double>{i / last, j / last})[0];
        }
    }
    return square;
}

/// Scales the greatest value to 1 and cuts off at 0.
void normalize(Volume& stack)
{
    const double greatest =
        stack.data.empty() ? 0.0 : *std::max_element(stack.data.begin(), stack.data.end());
    if (greatest != 0.0) {
        const double factor = 1.0 / greatest;
        zrk::inPieces(std::size_t{0}, stack.data.size(), [&](std::size_t first, std::size_t end) {
            for (std::size_t i = first; i < end; ++i) {
                stack.data[i] = std::clamp(stack.data[i] * factor, 0.0, 1.0);
            }
        });
    }
}

/// Mixes a crossfade of the images into the stack, with a weight of 1 - t. They are used as they are, not
/// scaled as the stack is.
void mixInCrossfade(const Pixels& from, const Pixels& to, double t, Volume& volume)
{
    const double lastSlice = volume.dims[2] - 1;
    const std::vector<double>& a = from.data;
    const std::vector<double>& b = to.data;
    double* out = volume.data.data();
    for (std::int32_t k = 0; k < volume.dims[2]; ++k) {
        zrk::stopIfAsked();
        const double s = k / lastSlice;
        for (std::size_t p = 0; p < a.size(); ++p, ++out) {
            const double crossfade = s * b[p] + (1 - s) * a[p];
            *out = crossfade * (1 - t) + t * *out;
        }
    }
}

/// Tells of a computation that takes ten minutes or more, before it begins.
void tellLongWork(double resolution, double steps)
{
    constexpr double kSecondsACell = 4e-5; // of a processor, measured: 3e-5 to 5e-5
    const double minutes = resolution * resolution * steps * kSecondsACell / 60;
    if (minutes >= 10) {
        std::cerr << "ImageSweep: " << resolution << " x " << resolution << " x " << steps
                  << " cells take some " << std::round(minutes >= 120 ? minutes / 60 : minutes)
                  << (minutes >= 120 ? " hours" : " minutes") << " of one processor" << std::endl;
    }
}

/// What an evaluator has besides the volume.
struct SweptBox {
    zrk::Tensor<3, double> inverseSize;
    zrk::KeyPointCurve scaling;
    zrk::KeyPointCurve interpolation;
    bool wraps;

    zrk::Evaluation evaluator(const std::shared_ptr<const Volume>& volume) const
    {
        if (volume->data.empty()) {
            return zrk::doNothing();
        }
        return wraps ? over(zrk::RasterLookup<1, 3, zrk::Border::Wrap>(volume))
                     : over(zrk::RasterLookup<1, 3, zrk::Border::Clamp>(volume));
    }

private:
    template <class Lookup>
    zrk::Evaluation over(Lookup lookup) const
    {
        return zrk::evaluator(
            zrk::SweptStack<Lookup>{std::move(lookup), inverseSize, scaling, interpolation});
    }
};

} // namespace

ZRKImageSweep::ZRKImageSweep(const ZRKImageSweep& other)
    : ZRKComponent(other),
      ZRKDataHolder(other),
      rasterA(other.rasterA),
      rasterB(other.rasterB),
      rasterObstacle(other.rasterObstacle),
      _sweep(Sweep{other._sweep.copy().sweepRaster})
{}

ComponentIdentity ZRKImageSweep::identity()
{
    return {
        .className = "ZRKImageSweep",
        .typeName = "ImageSweep",
        .uuid = "FA437C86-7ABF-4B30-9085-270ADB6606B6",
        .icon = IconResources::sc_image_sweep,
        .strings = ZRKUIStrings::image_blend_sweep(),
        .inputs = {}, // none, though there is an input pin
        .outputs = {Tag::Scalar},
    };
}

void ZRKImageSweep::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Scalar, "");
}

bool ZRKImageSweep::onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    _ensureRasterCache();
    return ZRKComponent::onInspection(view, node);
}

void ZRKImageSweep::onDeserialize(const ZRKDeserialization& d)
{
    ZRKComponent::onDeserialize(d);
    announceEdit();
    rasterA.reset();
    rasterB.reset();
    rasterObstacle.reset();
    _ensureRasterCache();
    rebuildSweep(d.monitor());
}

ZRKHeldData ZRKImageSweep::held() const
{
    const Sweep sweep = _sweep.copy();
    const auto bytes = [](const auto& raster) { return raster ? raster->data.size() * sizeof(double) : 0; };
    ZRKHeldData data;
    for (const auto& raster : {rasterA, rasterB, rasterObstacle}) {
        addRaster(raster, data);
    }
    for (const auto& pixels : {sweep.resampledA, sweep.resampledB}) {
        data.add(pixels, bytes(pixels));
    }
    data.add(sweep.sweepRaster, bytes(sweep.sweepRaster));
    data.add(sweep.outputRaster, bytes(sweep.sweepRaster));
    data.state = sweep.outputDirty ? 1 : 0;
    return data;
}

void ZRKImageSweep::hold(const ZRKHeldData& data)
{
    using Part = Pending<SharedRaster<1, 2>>;
    rasterA = data.part<Part>(0);
    rasterB = data.part<Part>(1);
    rasterObstacle = data.part<Part>(2);
    _sweep.set({data.part<Volume>(5), data.part<Pixels>(3), data.part<Pixels>(4), data.part<Output>(6),
                data.state != 0});
}

ZRKComputation ZRKImageSweep::computation() const
{
    return {_sweep.copy().sweepRaster != nullptr, false, _meter.fraction()};
}

void ZRKImageSweep::invalidateOutputRaster() const
{
    announceEdit();
    _sweep.use([](Sweep& sweep) { sweep.outputDirty = true; });
}

void ZRKImageSweep::moveSmoothing(double value)
{
    invalidateOutputRaster();
    smoothing.set(value);
}

void ZRKImageSweep::moveTransport(double value)
{
    invalidateOutputRaster();
    transport.set(value);
}

void ZRKImageSweep::pick(ZRKProperty<Image>& property, const Image& image)
{
    announceEdit();
    auto& raster = &property == &imageA ? rasterA : &property == &imageB ? rasterB : rasterObstacle;
    raster = pendingFirstChannel(image);
    property.set(image);
}

bool ZRKImageSweep::compute(zrk::ProgressMonitor* monitor)
{
    announceEdit();
    _ensureRasterCache();
    if (!rebuildSweep(monitor)) {
        return false;
    }
    emitPropertyChange("raster");
    return true;
}

void ZRKImageSweep::_ensureRasterCache() const
{
    const auto fill = [](PendingRaster<1, 2>& raster, const ZRKProperty<Image>& image) {
        if (!raster) {
            raster = pendingFirstChannel(image.value());
        }
    };
    fill(rasterA, imageA);
    fill(rasterB, imageB);
    fill(rasterObstacle, obstacle);
}

/// Names the greater one of the two numbers that make the size, and how large it may be beside the other.
void ZRKImageSweep::refuseLargeStack() const
{
    constexpr double kMostCells = std::numeric_limits<std::int32_t>::max();
    const double edge = std::max(resolution.value(), 0);
    const double slices = std::max(steps.value(), 1);
    if (edge * edge * slices <= kMostCells) {
        // The stack, its copy that is read, and what the computation holds at a time: 89 were measured.
        constexpr double kBytesACell = 100;
        zrk::checkMemory(edge * edge * slices * kBytesACell, "\"resolution\"",
                         std::to_string(resolution.value()) + " x " + std::to_string(resolution.value()) +
                             " x " + std::to_string(steps.value()) + " cells",
                         "lower it, or \"steps\"");
        return;
    }
    const bool isEdge = edge >= slices;
    const double most = std::floor(isEdge ? std::sqrt(kMostCells / slices) : kMostCells / (edge * edge));
    const auto& [tooLarge, other] = isEdge ? std::tie(resolution, steps) : std::tie(steps, resolution);
    throw zrk::FaultError({'"' + tooLarge.name() + '"', std::to_string(tooLarge.value()),
                           "at most " + std::to_string(static_cast<int>(most)) + " where \"" + other.name() +
                               "\" is " + std::to_string(other.value()),
                           "lower it; the stack has resolution x resolution x steps cells",
                           zrk::FaultKind::FailedWork});
}

bool ZRKImageSweep::rebuildSweep(zrk::ProgressMonitor* monitor)
{
    const auto imageOfA = rasterOf(rasterA);
    const auto imageOfB = rasterOf(rasterB);
    const auto imageOfObstacle = rasterOf(rasterObstacle);
    if (!imageOfA || !imageOfB) {
        _sweep.use([](Sweep& sweep) {
            sweep.sweepRaster.reset();
            sweep.outputRaster.reset();
        });
        return true;
    }
    refuseLargeStack();
    tellLongWork(resolution.value(), steps.value());
    Pixels a = resampled(imageOfA, resolution.value());
    Pixels b = resampled(imageOfB, resolution.value());
    std::optional<Pixels> closed;
    if (imageOfObstacle) {
        closed = resampled(imageOfObstacle, resolution.value());
    }
    bool isStopped = false;
    ComputationMeter::Run run(_meter, monitor);
    const auto tell = [monitor, &run](double percent) {
        run.progress(percent / 100.0);
        if (!monitor) {
            std::cout << percent << std::endl;
        }
    };
    const auto shouldStop = [monitor, &isStopped] {
        isStopped = monitor && monitor->interruptRequested();
        return isStopped;
    };
    auto stack = std::make_shared<const Volume>(computedOnce<1, 3>([&] {
        Volume computed = zrk::optimalTransport::transportInterpolate(a, b, steps.value(), std::move(closed),
                                                                      zrk::workerCount(0), tell, shouldStop);
        if (!isStopped) {
            normalize(computed);
        }
        return computed;
    }));
    if (isStopped) {
        monitor->interruptAcknowledged();
        return false;
    }
    _sweep.use([&](Sweep& sweep) {
        sweep.sweepRaster = std::move(stack);
        sweep.resampledA = std::make_shared<const Pixels>(std::move(a));
        sweep.resampledB = std::make_shared<const Pixels>(std::move(b));
        updateOutputRaster(sweep);
    });
    _ensureOutputRaster();
    return true;
}

void ZRKImageSweep::updateOutputRaster(Sweep& sweep) const
{
    if (!sweep.sweepRaster) {
        return;
    }
    sweep.outputRaster = std::make_shared<const Output>(
        [stack = sweep.sweepRaster, a = sweep.resampledA, b = sweep.resampledB, share = transport.value(),
         radius = smoothing.value()](zrk::ProgressMonitor* monitor) -> std::shared_ptr<const Volume> {
            auto output = std::make_shared<Volume>(*stack);
            if (share < 1.0 && a && b) {
                mixInCrossfade(*a, *b, share, *output);
            }
            stopIfInterrupted(monitor, "ImageSweep");
            if (radius > 0.0) {
                // The grid of the weights is fixed: the blur is measured in nodes of the stack, not in model
                // units.
                const zrk::BBox<double> cube({-1, -1, -1}, {1, 1, 1});
                zrk::gaussianBlur(*output, zrk::gridOverBox(cube, 32), radius);
            }
            return output;
        });
    sweep.outputDirty = false;
}

std::shared_ptr<const ZRKImageSweep::Output> ZRKImageSweep::_ensureOutputRaster() const
{
    const auto output = _sweep.use([this](Sweep& sweep) {
        if (sweep.outputDirty) {
            updateOutputRaster(sweep);
        }
        return sweep.outputRaster;
    });
    if (output && !ZRKDeferredBuilding::isOn()) {
        output->get();
    }
    return output;
}

zrk::Evaluation ZRKImageSweep::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    const std::shared_ptr<const Output> output = _ensureOutputRaster();
    if (!output) {
        return zrk::doNothing();
    }
    const SweptBox box{{1.0 / sizeX.value(), 1.0 / sizeY.value(), 1.0 / sizeZ.value()},
                       zrk::KeyPointCurve(scaling.value()),
                       zrk::KeyPointCurve(interpolation.value()),
                       wrap.value()};
    const auto make = [output, box] { return box.evaluator(output->get()); };
    static const auto one = std::make_shared<const Volume>(1, 1, 1);
    return output->isDone() ? make() : pendingEvaluator(make, box.evaluator(one));
}

} // namespace zrkmodel

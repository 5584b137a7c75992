#include "components/transport/image_sweep.h"

#include "components/categories.h"
#include "components/channel_conversion.h"
#include "components/transport/image_sweep_formula.h"
#include "core/engine/formula.h"
#include "core/engine/progress.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"
#include "core/raster/raster_lookup.h"
#include "core/transport/solver.h"
#include "model/channel_names.h"
#include "model/pins.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <thread>
#include <utility>

namespace zrkmodel {

namespace {

using Picture = zrk::Raster<1, 2, double>;
using Volume = zrk::Raster<1, 3, double>;

/// A picture of so many nodes along both edges, from end to end of the other.
Picture resampled(const std::shared_ptr<const Picture>& picture, int nodes)
{
    if (picture->dims[0] == nodes && picture->dims[1] == nodes) {
        return *picture;
    }
    const zrk::RasterLookup<1, 2, zrk::Border::Clamp> lookup(picture);
    const int edge = std::max(nodes, 0);
    Picture square(edge, edge);
    double* out = square.data.data();
    for (int j = 0; j < edge; ++j) {
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
        for (double& value : stack.data) {
            value = std::clamp(value * factor, 0.0, 1.0);
        }
    }
}

} // namespace

ZRKImageSweep::ZRKImageSweep(const ZRKImageSweep& other)
    : ZRKComponent(other),
      _rasterA(other._rasterA),
      _rasterB(other._rasterB),
      _rasterObstacle(other._rasterObstacle),
      _sweepRaster(other._sweepRaster)
{}

ComponentIdentity ZRKImageSweep::identity()
{
    return {
        .className = "ZRKImageSweep",
        .typeName = "ImageSweep",
        .uuid = "FA437C86-7ABF-4B30-9085-270ADB6606B6",
        .icon = icon<IconColor::Scalar, 0xC3C3C3C3FFC3C3C3>("sc_image_sweep"),
        .strings = {"image_blend_sweep", "Image sweep",
                    "Sweeps one picture into another by optimal transport.", category::kImages},
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
    _rasterA.reset();
    _rasterB.reset();
    _rasterObstacle.reset();
    _ensureRasterCache();
    rebuildSweep(d.monitor());
}

void ZRKImageSweep::_onPropertyChanged(const ZRKEvent& event)
{
    if (event.name == smoothing.name() || event.name == transport.name()) {
        invalidateOutputRaster();
    }
    ZRKComponent::_onPropertyChanged(event);
}

void ZRKImageSweep::pick(ZRKProperty<Image>& property, const Image& image)
{
    auto& raster = &property == &imageA ? _rasterA : &property == &imageB ? _rasterB : _rasterObstacle;
    raster = firstChannel(image);
    property.set(image);
}

bool ZRKImageSweep::compute(zrk::ProgressMonitor* monitor)
{
    _ensureRasterCache();
    if (!rebuildSweep(monitor)) {
        return false;
    }
    emitPropertyChange("raster");
    return true;
}

void ZRKImageSweep::_ensureRasterCache() const
{
    const auto fill = [](std::shared_ptr<const Picture>& raster, const ZRKProperty<Image>& image) {
        if (!raster) {
            raster = firstChannel(image.value());
        }
    };
    fill(_rasterA, imageA);
    fill(_rasterB, imageB);
    fill(_rasterObstacle, obstacle);
}

bool ZRKImageSweep::rebuildSweep(zrk::ProgressMonitor* monitor)
{
    if (!_rasterA || !_rasterB) {
        _sweepRaster.reset();
        _outputRaster.reset();
        return true;
    }
    Picture a = resampled(_rasterA, resolution.value());
    Picture b = resampled(_rasterB, resolution.value());
    std::optional<Picture> closed;
    if (_rasterObstacle) {
        closed = resampled(_rasterObstacle, resolution.value());
    }
    bool isStopped = false;
    const auto tell = [monitor](double percent) {
        if (monitor) {
            monitor->progress(percent / 100.0);
        } else {
            std::cout << percent << std::endl;
        }
    };
    const auto shouldStop = [monitor, &isStopped] {
        isStopped = monitor && monitor->interruptRequested();
        return isStopped;
    };
    auto stack = std::make_shared<Volume>(zrk::optimalTransport::transportInterpolate(
        a, b, steps.value(), std::move(closed), std::thread::hardware_concurrency(), tell, shouldStop));
    if (isStopped) {
        monitor->interruptAcknowledged();
        return false;
    }
    normalize(*stack);
    _sweepRaster = std::move(stack);
    _resampledA = std::move(a);
    _resampledB = std::move(b);
    updateOutputRaster();
    return true;
}

/// Values of slice k go from the pictures as they stand, not from what the stack was scaled to.
void ZRKImageSweep::mixInCrossfade(Volume& stack) const
{
    const double t = transport.value();
    const double lastSlice = stack.dims[2] - 1;
    double* out = stack.data.data();
    for (std::int32_t k = 0; k < stack.dims[2]; ++k) {
        const double s = k / lastSlice;
        for (std::size_t p = 0; p < _resampledA.data.size(); ++p, ++out) {
            const double crossfade = s * _resampledB.data[p] + (1 - s) * _resampledA.data[p];
            *out = crossfade * (1 - t) + t * *out;
        }
    }
}

void ZRKImageSweep::updateOutputRaster() const
{
    if (!_sweepRaster) {
        return;
    }
    auto output = std::make_shared<Volume>(*_sweepRaster);
    if (transport.value() < 1.0) {
        mixInCrossfade(*output);
    }
    if (smoothing.value() > 0.0) {
        // The kernel's grid is fixed: the blur is measured in nodes of the stack, not in model units.
        const zrk::BBox<double> cube({-1, -1, -1}, {1, 1, 1});
        zrk::gaussianBlur(*output, zrk::gridOverBox(cube, 32), smoothing.value());
    }
    _outputRaster = std::move(output);
    _outputDirty = false;
}

template <class Lookup>
zrk::Evaluation ZRKImageSweep::sweptEvaluator() const
{
    return zrk::evaluator(
        zrk::SweptStack<Lookup>{Lookup(_outputRaster),
                                {1.0 / sizeX.value(), 1.0 / sizeY.value(), 1.0 / sizeZ.value()},
                                zrk::KeyPointCurve(scaling.value()),
                                zrk::KeyPointCurve(interpolation.value())});
}

zrk::Evaluation ZRKImageSweep::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    if (_outputDirty) {
        updateOutputRaster();
    }
    if (!_outputRaster || _outputRaster->data.empty()) {
        return zrk::doNothing();
    }
    return wrap.value() ? sweptEvaluator<zrk::RasterLookup<1, 3, zrk::Border::Wrap>>()
                        : sweptEvaluator<zrk::RasterLookup<1, 3, zrk::Border::Clamp>>();
}

} // namespace zrkmodel

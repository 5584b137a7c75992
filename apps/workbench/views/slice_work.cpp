#include "apps/workbench/views/slice_work.h"

#include "apps/workbench/views/plane_samples.h"
#include "core/values/stop.h"
#include "host/field_remarks.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <vector>

namespace zrkworkbench {

using zrkmodel::SliceGrid;
using zrkmodel::SlicePlane;
using zrkmodel::SlopeRule;
using zrkmodel::ValueRange;

namespace {

constexpr int kFirstLook = 16;         ///< samples along the longer side, by which the cost is told
constexpr int kRangeSamples = 96;      ///< the same of what tells the range of colours
constexpr int kSlopeSamples = 160;     ///< and of the gradients
constexpr double kFirstPicture = 9;    ///< milliseconds that the first picture may take
constexpr double kDrawing = 40e-6;     ///< milliseconds that colours and lines of a pixel take, about
constexpr double kFiner = 3;           ///< times as many pixels along a side from one picture to the next
constexpr double kShadeOpacity = 0.72; ///< of the places with wrong gradients

class SliceWork {
public:
    SliceWork(const SliceRequest& request, std::size_t workers, const std::function<void(SlicePreview)>& show)
        : _request(request),
          _workers(workers),
          _show(show),
          _bounds(windowOf(request.bounds, request.axis)),
          _window(request.window.isEmpty() ? _bounds : request.window),
          _longer(std::max(request.pixels.width(), request.pixels.height()))
    {}

    void run()
    {
        findRange(kFirstLook);
        const double cost = _nanoseconds * 1e-6 + kDrawing;
        const int fitting = static_cast<int>(std::sqrt(kFirstPicture / std::max(cost, 1e-9)));
        if (fitting >= kRangeSamples) {
            findRange(kRangeSamples);
        }
        const double shorterShare =
            static_cast<double>(std::min(_request.pixels.width(), _request.pixels.height())) / _longer;
        const double pixels = shorterShare * _longer * _longer;
        // What stands within the time of a first picture, or nearly, is drawn at once.
        double size = cost * pixels < 1.6 * kFirstPicture ? _longer : fitting / std::sqrt(shorterShare);
        for (size = std::max<double>(size, kFirstLook); size * 1.5 < _longer; size *= kFiner) {
            draw(static_cast<int>(size), false);
        }
        if (_rangeSamples < kRangeSamples) {
            findRange(kRangeSamples);
        }
        draw(_longer, true);
        if (_request.judgesSlopes) {
            judgeSlopes();
        }
    }

private:
    const SliceRequest& _request;
    std::size_t _workers;
    const std::function<void(SlicePreview)>& _show;
    QRectF _bounds;
    QRectF _window;
    int _longer;
    std::chrono::steady_clock::time_point _begin = std::chrono::steady_clock::now();
    ValueRange _range{0, 1};
    int _rangeSamples = 0;
    double _nanoseconds = 0; ///< a sample takes, of the last ones

    PlaneSamples sample(const SlicePlane& plane)
    {
        PlaneSamples samples = samplePlane(_request.field, plane, _workers);
        _nanoseconds = samples.milliseconds * 1e6 / std::max(1, plane.sampleCount());
        return samples;
    }

    SliceGrid gridOf(const SlicePlane& plane, const PlaneSamples& samples) const
    {
        return {plane.width(), plane.height(), static_cast<int>(_request.field.componentCount()),
                samples.values, samples.isWeightless};
    }

    void findRange(int size)
    {
        const SlicePlane plane = planeOf(_request, _bounds, size);
        const PlaneSamples samples = sample(plane);
        _range = _request.style.range ? *_request.style.range
                                      : zrkmodel::automaticRange(gridOf(plane, samples), _request.style);
        _rangeSamples = size;
    }

    SlicePreview preview() const
    {
        SlicePreview preview;
        preview.window = _window;
        preview.axis = _request.axis;
        preview.coordinate = planeOf(_request, _bounds, kFirstLook).coordinate();
        preview.components = static_cast<int>(_request.field.componentCount());
        preview.range = _range;
        preview.style = _request.style;
        preview.workers = _workers;
        preview.nanosecondsPerSample = _nanoseconds;
        return preview;
    }

    void show(SlicePreview preview) const
    {
        const auto passed = std::chrono::steady_clock::now() - _begin;
        preview.milliseconds = std::chrono::duration<double, std::milli>(passed).count();
        _show(std::move(preview));
    }

    void draw(int size, bool isWhole)
    {
        const SlicePlane plane = planeOf(_request, _window, size);
        const PlaneSamples samples = sample(plane);
        zrkmodel::SliceStyle style = _request.style;
        style.range = _range;
        style.scale = std::max(1.0, style.scale * size / _longer);
        const zrkmodel::SlicePicture slice = zrkmodel::drawSlice(gridOf(plane, samples), style, _workers);
        SlicePreview result = preview();
        const QImage bytes(slice.picture.data.data(), plane.width(), plane.height(), 3 * plane.width(),
                           QImage::Format_RGB888);
        result.picture = bytes.convertToFormat(QImage::Format_RGB32);
        result.hasWeightless = !samples.isWeightless.empty();
        result.isWhole = isWhole;
        result.isFinal = isWhole && !_request.judgesSlopes;
        if (isWhole && _request.judgesSlopes && _request.slopeShade.isValid()) {
            shade(result.picture, plane);
        }
        show(std::move(result));
    }

    void shade(QImage& picture, const SlicePlane& plane) const
    {
        const std::vector<double> slopes = slopesOnPlane(_request.field, plane, _request.bounds, _workers);
        const auto mixed = [](int ground, int ink) {
            return static_cast<int>(std::lround(ground + kShadeOpacity * (ink - ground)));
        };
        const QRgb ink = _request.slopeShade.rgb();
        for (int y = 0; y < picture.height(); ++y) {
            auto* row = reinterpret_cast<QRgb*>(picture.scanLine(y));
            const double* lengths =
                slopes.data() + static_cast<std::ptrdiff_t>(picture.height() - 1 - y) * picture.width();
            for (int x = 0; x < picture.width(); ++x) {
                const bool isStripe = (x + y) % 8 < 6;
                if (isStripe && std::isfinite(lengths[x]) && SlopeRule::isFarFromOne(lengths[x])) {
                    row[x] = qRgb(mixed(qRed(row[x]), qRed(ink)), mixed(qGreen(row[x]), qGreen(ink)),
                                  mixed(qBlue(row[x]), qBlue(ink)));
                }
            }
        }
    }

    void judgeSlopes() const
    {
        const SlicePlane plane = planeOf(_request, _window, std::min(kSlopeSamples, _longer));
        SlopeShare share;
        share.least = std::numeric_limits<double>::infinity();
        std::size_t known = 0;
        std::size_t far = 0;
        for (const double slope : slopesOnPlane(_request.field, plane, _request.bounds, _workers)) {
            if (std::isfinite(slope)) {
                ++known;
                far += SlopeRule::isFarFromOne(slope) ? 1 : 0;
                share.least = std::min(share.least, slope);
                share.greatest = std::max(share.greatest, slope);
            }
        }
        share.share = known > 0 ? static_cast<double>(far) / static_cast<double>(known) : 0;
        share.isRemarkable = share.share > SlopeRule::kMany;
        SlicePreview result = preview();
        result.slopes = share;
        result.isWhole = true;
        result.isFinal = true;
        show(std::move(result));
    }
};

std::size_t acrossOf(int axis) { return axis == 0 ? 1 : 0; }
std::size_t upOf(int axis) { return axis == 2 ? 1 : 2; }

} // namespace

zrkmodel::SliceStyle styleOf(const zrkmodel::OutputField& output, const zrkmodel::DocumentView& view)
{
    zrkmodel::SliceStyle style;
    if (view.range) {
        style.range = {view.range->lower, view.range->upper};
    }
    if (output.tag == zrkmodel::Tag::Scalar) {
        style.insideAbove = output.isDensity;
        style.contour = output.isDensity ? 0.5 : 0.0;
    }
    return style;
}

SlicePlane planeOf(const SliceRequest& request, const QRectF& window, int size)
{
    zrk::BBox<double> box = request.bounds;
    if (window == windowOf(request.bounds, request.axis)) {
        return {box, request.axis, request.at, size}; // the corners to the last digit
    }
    auto lower = box.min;
    auto upper = box.max;
    lower[acrossOf(request.axis)] = window.left();
    upper[acrossOf(request.axis)] = window.right();
    lower[upOf(request.axis)] = window.top();
    upper[upOf(request.axis)] = window.bottom();
    box.set(lower, upper);
    return {box, request.axis, request.at, size};
}

QRectF windowOf(const zrk::BBox<double>& bounds, int axis)
{
    const std::size_t u = acrossOf(axis), v = upOf(axis);
    // The corners themselves, as sums of corner and size may differ in the last digit.
    QRectF window;
    window.setCoords(bounds.min[u], bounds.min[v], bounds.max[u], bounds.max[v]);
    return window;
}

QRectF windowOf(const zrk::BBox<double>& bounds, int axis, const QSizeF& shape)
{
    const QRectF window = windowOf(bounds, axis);
    if (shape.isEmpty() || window.isEmpty()) {
        return window;
    }
    const double wanted = shape.width() / shape.height();
    QSizeF size = window.size();
    if (size.width() < wanted * size.height()) {
        size.setWidth(wanted * size.height());
    } else {
        size.setHeight(size.width() / wanted);
    }
    QRectF widened(QPointF(), size);
    widened.moveCenter(window.center());
    return widened;
}

void workOnSlice(const SliceRequest& request, std::size_t workers,
                 const std::function<void(SlicePreview)>& show)
{
    SliceWork(request, workers, show).run();
}

} // namespace zrkworkbench

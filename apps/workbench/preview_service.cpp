#include "apps/workbench/preview_service.h"

#include "core/engine/prepared_field.h"
#include "core/values/stop.h"
#include "host/field_grid.h"
#include "host/slice_picture.h"
#include "model/deferred_work.h"

#include <QCoreApplication>
#include <QObject>

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <utility>
#include <vector>

namespace zrkworkbench {

using zrkmodel::SlicePlane;

namespace {

/// Shares of the wanted resolution, one pass after the other.
constexpr int kPasses[] = {8, 3, 1};
/// Samples between two looks at whether the pass is still wanted: at first, and at most.
constexpr std::int32_t kFirstTake = 256;
constexpr std::int32_t kMaxTake = 16 * 1024;
/// Milliseconds that those between two looks should take.
constexpr double kMillisecondsOfTake = 2;

double millisecondsSince(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

/// How many samples to take next: more or fewer by how long the last ones took.
std::int32_t nextTake(std::int32_t last, double milliseconds)
{
    const double fitting = last * kMillisecondsOfTake / std::max(milliseconds, 1e-3);
    return static_cast<std::int32_t>(std::clamp<double>(fitting, 1, std::min(4 * last, kMaxTake)));
}

/// Samples `count` positions of a plane from `first` on; the components of each stand side by side in `out`.
void sample(const zrk::PreparedField& field, const SlicePlane& plane, std::int32_t first, std::int32_t count,
            double* out)
{
    const auto n = static_cast<std::size_t>(count);
    const std::size_t components = field.componentCount();
    std::vector<double> rows((3 + components) * n);
    const auto row = [&](std::size_t r) { return rows.data() + r * n; };
    for (std::size_t i = 0; i < n; ++i) {
        const zrk::Tensor<4, double> p = plane.position(first + static_cast<std::int32_t>(i));
        for (std::size_t axis = 0; axis < 3; ++axis) {
            row(axis)[i] = p[axis];
        }
    }
    zrk::RecordArrays records;
    for (std::size_t c = 0; c < components; ++c) {
        records.components[c] = row(3 + c);
    }
    field.evaluate(zrk::PositionArrays{row(0), row(1), row(2), n}, records);
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t c = 0; c < components; ++c) {
            out[i * components + c] = row(3 + c)[i];
        }
    }
}

} // namespace

/// A request with its evaluators.
class PreviewService::Job {
public:
    Job(const SliceRequest& request, std::uint64_t serial)
        : serial(serial), _request(request), _field(request.output.field)
    {
        _request.output.field = {}; // what runs reads the prepared field only
    }

    const std::uint64_t serial;
    /// Raised when the request isn't the newest any more.
    const std::shared_ptr<zrk::StopSign> stop = std::make_shared<zrk::StopSign>();

    /// The picture of one pass.
    SlicePreview run(std::size_t pass) const
    {
        const auto begin = std::chrono::steady_clock::now();
        const SlicePlane plane(_request.bounds, _request.axis, _request.at,
                               std::max(16, _request.pixels / kPasses[pass]));
        const std::int32_t count = plane.sampleCount();
        std::vector<double> values(static_cast<std::size_t>(count) * _field.componentCount());
        std::int32_t take = kFirstTake;
        for (std::int32_t first = 0; first < count;) {
            zrk::stopIfAsked();
            const auto beginOfTake = std::chrono::steady_clock::now();
            const std::int32_t taken = std::min(take, count - first);
            sample(_field, plane, first, taken,
                   values.data() + static_cast<std::size_t>(first) * _field.componentCount());
            take = nextTake(take, millisecondsSince(beginOfTake));
            first += taken;
        }
        zrkmodel::SliceStyle style;
        if (_request.output.tag == zrkmodel::Tag::Scalar) {
            style.contour = _request.output.surfaceLevel;
            style.insideAbove = _request.output.isDensity;
        }
        zrkmodel::SlicePicture slice = zrkmodel::drawSlice(
            {plane.width(), plane.height(), static_cast<int>(_field.componentCount()), values}, style);
        SlicePreview preview;
        preview.picture = std::move(slice.picture);
        preview.width = plane.width();
        preview.height = plane.height();
        preview.low = slice.range.low;
        preview.high = slice.range.high;
        preview.coordinate = plane.coordinate();
        preview.isFinal = pass + 1 == std::size(kPasses);
        preview.milliseconds = millisecondsSince(begin);
        return preview;
    }

private:
    SliceRequest _request;
    zrk::PreparedField _field;
};

PreviewService::PreviewService(QObject& receiver, Deliver deliver)
    : _receiver(receiver), _deliver(std::move(deliver)), _thread([this] { work(); })
{}

PreviewService::~PreviewService()
{
    cancel();
    {
        const std::lock_guard lock(_mutex);
        _isEnding = true;
    }
    _wake.notify_one();
    _thread.join();
}

void PreviewService::cancel()
{
    ++*_newest;
    if (_stop) {
        _stop->raise();
    }
    const std::lock_guard lock(_mutex);
    _next.reset();
}

void PreviewService::request(const SliceRequest& request)
{
    cancel();
    const std::uint64_t serial = *_newest;
    std::shared_ptr<Job> job;
    try {
        const zrkmodel::ZRKDeferredBuilding deferred;
        job = std::make_shared<Job>(request, serial);
    } catch (const std::exception& error) {
        SlicePreview failed;
        failed.problem = error.what();
        failed.isFinal = true;
        send(serial, std::move(failed));
        return;
    }
    _stop = job->stop;
    {
        const std::lock_guard lock(_mutex);
        _next = std::move(job);
    }
    _wake.notify_one();
}

void PreviewService::send(std::uint64_t serial, SlicePreview preview)
{
    // The service may be gone when the receiver gets to it: the serial has changed then.
    QMetaObject::invokeMethod(
        &_receiver,
        [newest = _newest, deliver = _deliver, serial, preview = std::move(preview)] {
            if (*newest == serial) {
                deliver(preview);
            }
        },
        Qt::QueuedConnection);
}

void PreviewService::work()
{
    for (;;) {
        std::shared_ptr<Job> job;
        {
            std::unique_lock lock(_mutex);
            _wake.wait(lock, [this] { return _next || _isEnding; });
            if (_isEnding) {
                return;
            }
            job = std::move(_next);
        }
        const zrk::StopScope scope(*job->stop);
        try {
            for (std::size_t pass = 0; pass < std::size(kPasses); ++pass) {
                send(job->serial, job->run(pass));
            }
        } catch (const std::exception& error) {
            SlicePreview failed; // interrupted work among them, which nobody waits for
            failed.problem = error.what();
            failed.isFinal = true;
            send(job->serial, std::move(failed));
        }
    }
}

} // namespace zrkworkbench

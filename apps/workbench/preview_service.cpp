#include "apps/workbench/preview_service.h"

#include "core/engine/block_engine.h"
#include "core/engine/evaluation_context.h"
#include "core/engine/field_sampler.h"
#include "host/field_grid.h"
#include "host/slice_picture.h"

#include <QCoreApplication>
#include <QObject>

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>
#include <vector>

namespace zrkworkbench {

using zrkmodel::SlicePlane;

namespace {

/// Shares of the wanted resolution, one pass after the other.
constexpr int kPasses[] = {8, 3, 1};
/// Samples between two looks at whether the pass is still wanted: about a millisecond of a usual chain.
constexpr std::int32_t kTake = 4 * 1024;

/// Stores the components of each record side by side.
class ComponentSink final : public zrk::BlockSink {
public:
    ComponentSink(std::vector<double>& values, std::size_t components)
        : _values(values), _components(components)
    {}
    void take(std::int32_t first, std::size_t count, const zrk::Block& block) override
    {
        for (std::size_t c = 0; c < _components; ++c) {
            for (std::size_t i = 0; i < count; ++i) {
                _values[(static_cast<std::size_t>(first) + i) * _components + c] = block.row(c)[i];
            }
        }
    }

private:
    std::vector<double>& _values;
    std::size_t _components;
};

} // namespace

/// A request with its evaluators.
class PreviewService::Job {
public:
    Job(const SliceRequest& request, std::uint64_t serial) : serial(serial), _output(request.output)
    {
        for (const int divisor : kPasses) {
            auto plane = std::make_shared<SlicePlane>(request.bounds, request.axis, request.at,
                                                      std::max(16, request.pixels / divisor));
            auto sampler = std::make_unique<zrk::FieldSampler>(request.output.field.generator(), plane);
            sampler->prepare();
            _passes.push_back({plane, std::move(sampler)});
        }
    }

    const std::uint64_t serial;

    std::size_t passes() const { return _passes.size(); }

    /// The picture of one pass; nothing when `isWanted` said no.
    template <class IsWanted>
    std::optional<SlicePreview> run(std::size_t pass, const IsWanted& isWanted) const
    {
        const auto begin = std::chrono::steady_clock::now();
        const auto& [plane, sampler] = _passes[pass];
        const auto components = static_cast<std::size_t>(_output.tag.components);
        const std::int32_t count = plane->sampleCount();
        std::vector<double> values(static_cast<std::size_t>(count) * components);
        ComponentSink sink(values, components);
        zrk::EvaluationContext context(sampler->slots);
        zrk::ProgressManager nobody(nullptr, static_cast<std::size_t>(count));
        for (std::int32_t first = 0; first < count; first += kTake) {
            if (!isWanted()) {
                return std::nullopt;
            }
            context.sweep(static_cast<std::size_t>(sampler->targetNode.slotIndex), first,
                          std::min(first + kTake, count) - 1, sink, &nobody);
        }
        zrkmodel::SliceStyle style;
        if (_output.tag == zrkmodel::Tag::Scalar) {
            style.contour = _output.surfaceLevel;
            style.insideAbove = _output.isDensity;
        }
        zrkmodel::SlicePicture slice = zrkmodel::drawSlice(
            {plane->width(), plane->height(), static_cast<int>(components), values}, style);
        SlicePreview preview;
        preview.picture = std::move(slice.picture);
        preview.width = plane->width();
        preview.height = plane->height();
        preview.low = slice.range.low;
        preview.high = slice.range.high;
        preview.coordinate = plane->coordinate();
        preview.isFinal = pass + 1 == _passes.size();
        preview.milliseconds =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
        return preview;
    }

private:
    struct Pass {
        std::shared_ptr<SlicePlane> plane;
        std::unique_ptr<zrk::FieldSampler> sampler;
    };
    zrkmodel::OutputField _output;
    std::vector<Pass> _passes;
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
    const std::lock_guard lock(_mutex);
    _next.reset();
}

void PreviewService::request(const SliceRequest& request)
{
    cancel();
    const std::uint64_t serial = *_newest;
    std::shared_ptr<Job> job;
    try {
        job = std::make_shared<Job>(request, serial);
    } catch (const std::exception& error) {
        SlicePreview failed;
        failed.problem = error.what();
        failed.isFinal = true;
        send(serial, std::move(failed));
        return;
    }
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
        try {
            for (std::size_t pass = 0; pass < job->passes(); ++pass) {
                auto preview = job->run(pass, [&] { return *_newest == job->serial; });
                if (!preview) {
                    break;
                }
                send(job->serial, std::move(*preview));
            }
        } catch (const std::exception& error) {
            SlicePreview failed;
            failed.problem = error.what();
            failed.isFinal = true;
            send(job->serial, std::move(failed));
        }
    }
}

} // namespace zrkworkbench

#include "apps/workbench/views/preview_service.h"

#include "apps/workbench/views/plane_samples.h"
#include "core/engine/worker_team.h"
#include "core/values/stop.h"
#include "model/deferred_work.h"

#include <QObject>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <exception>
#include <limits>
#include <utility>

namespace zrkworkbench {

namespace {

constexpr std::uint32_t kKey = 0; ///< of lanes in which every request takes the place of the one before
constexpr std::uint32_t kLetGoKey = 0x10000; ///< beside those of thumbnails, which are node ids
constexpr int kFlowSamples = 64;             ///< along the longer side of the slice whose range is told

/// What an exception tells, in a sentence and what can be done about it; nothing if it is about work that was
/// stopped.
std::string problemOf(const std::exception& error)
{
    zrk::stopIfAsked();
    const zrk::Fault fault = zrk::faultOf(error, "view");
    return inSentences(fault.found, fault.remedy);
}

Readout readoutAt(const ReadoutRequest& request)
{
    Readout readout;
    readout.isKnown = true;
    readout.position = request.position;
    readout.values.resize(request.field.componentCount());
    zrk::RecordArrays record;
    record.weights = &readout.weight;
    for (std::size_t c = 0; c < readout.values.size(); ++c) {
        record.components[c] = &readout.values[c];
    }
    const auto& p = request.position;
    request.field.evaluate(zrk::PositionArrays{&p[0], &p[1], &p[2], 1}, record);
    if (readout.values.size() == 1) {
        readout.slope = slopeAt(request.field, request.position, request.bounds);
    }
    return readout;
}

zrkmodel::ValueRange rangeOf(const std::vector<double>& values)
{
    zrkmodel::ValueRange range{std::numeric_limits<double>::infinity(),
                               -std::numeric_limits<double>::infinity()};
    for (const double value : values) {
        if (std::isfinite(value)) {
            range = {std::min(range.low, value), std::max(range.high, value)};
        }
    }
    return range;
}

} // namespace

PreviewService::PreviewService(QObject& receiver)
    : _view(receiver, WorkLane::Urgency::High, zrk::workerCount(0)),
      _readouts(receiver, WorkLane::Urgency::High, 1),
      _wires(receiver, WorkLane::Urgency::High, 1),
      _thumbnails(receiver, WorkLane::Urgency::Low, 1)
{}

PreviewService::~PreviewService()
{
    // All at once, and not one after the other as their threads end.
    _view.cancelAll();
    _readouts.cancelAll();
    _wires.cancelAll();
    _thumbnails.cancelAll();
}

std::string inSentences(const std::string& found, const std::string& remedy)
{
    const auto sentence = [](std::string text) {
        if (!text.empty()) {
            text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
        }
        return zrk::printable(text) + ".";
    };
    return sentence(found) + "\n" + sentence(remedy);
}

zrk::PreparedField PreviewService::prepare(const zrkmodel::OutputField& output)
{
    const zrkmodel::ZRKDeferredBuilding deferred;
    return zrk::PreparedField(output.field);
}

void PreviewService::letGo(zrk::PreparedField field)
{
    _thumbnails.post(kLetGoKey, [field = std::move(field)](const WorkLane::Sender&) {});
}

void PreviewService::onSlice(std::function<void(const SlicePreview&, bool)> listener)
{
    _slice = std::move(listener);
}

void PreviewService::onSolid(std::function<void(const SolidPreview&, bool)> listener)
{
    _solid = std::move(listener);
}

void PreviewService::onThumbnail(std::function<void(std::uint16_t, const QImage&)> listener)
{
    _thumbnail = std::move(listener);
}

namespace {

/// Does the work of a view and hands out its pictures, or the problem that there is.
template <class Preview, class Request>
WorkLane::Work viewWork(Request request,
                        void (*work)(const Request&, std::size_t, const std::function<void(Preview)>&),
                        std::function<void(const Preview&)> deliver)
{
    return
        [request = std::move(request), work, deliver = std::move(deliver)](const WorkLane::Sender& sender) {
            const auto show = [&](Preview preview) {
                sender.send([deliver, preview = std::move(preview)] { deliver(preview); });
            };
            try {
                work(request, zrk::workerCount(0), show);
            } catch (const std::exception& error) {
                Preview failed;
                failed.problem = problemOf(error);
                failed.isFinal = true;
                show(std::move(failed));
            }
        };
}

} // namespace

void PreviewService::requestSlice(const SliceRequest& request)
{
    const std::uint64_t number = ++_newest;
    SliceRequest now = request;
    now.field = request.field.forRun();
    _view.post(kKey, viewWork<SlicePreview, SliceRequest>(std::move(now), workOnSlice,
                                                          [this, number](const SlicePreview& preview) {
                                                              if (_slice) {
                                                                  _slice(preview, number == _newest);
                                                              }
                                                          }));
}

void PreviewService::requestSolid(const SolidRequest& request)
{
    const std::uint64_t number = ++_newest;
    SolidRequest now = request;
    now.field = request.field.forRun();
    _view.post(kKey, viewWork<SolidPreview, SolidRequest>(std::move(now), workOnSolid,
                                                          [this, number](const SolidPreview& preview) {
                                                              if (_solid) {
                                                                  _solid(preview, number == _newest);
                                                              }
                                                          }));
}

void PreviewService::cancelView()
{
    ++_newest;
    _view.cancelAll();
}

void PreviewService::requestReadout(const ReadoutRequest& request)
{
    _readouts.post(kKey, [this, request](const WorkLane::Sender& sender) {
        sender.send([this, readout = readoutAt(request)] {
            if (_readout) {
                _readout(readout);
            }
        });
    });
}

void PreviewService::cancelReadout() { _readouts.cancelAll(); }

void PreviewService::requestThumbnail(std::uint16_t node, const zrkmodel::OutputField& output,
                                      const zrk::BBox<double>& bounds, QSize devicePixels,
                                      const zrkmodel::DocumentView& view, double scale)
{
    SliceRequest request;
    try {
        request.field = prepare(output);
    } catch (const std::exception&) {
        if (_thumbnail) {
            _thumbnail(node, QImage());
        }
        return;
    }
    request.bounds = bounds;
    request.axis = view.axis.value_or(2);
    request.at = view.at.value_or(0.5);
    request.pixels = devicePixels.expandedTo({1, 1});
    request.window = windowOf(bounds, request.axis, QSizeF(request.pixels));
    request.style = styleOf(output, view);
    request.style.scale = scale;
    _thumbnails.post(node, [this, node, request](const WorkLane::Sender& sender) {
        QImage picture;
        try {
            workOnSlice(request, 1, [&](SlicePreview preview) {
                if (preview.isWhole) {
                    picture = preview.picture;
                }
            });
        } catch (const std::exception& error) {
            problemOf(error);
        }
        sender.send([this, node, picture] {
            if (_thumbnail) {
                _thumbnail(node, picture);
            }
        });
    });
}

void PreviewService::requestFlow(const zrkmodel::OutputField& output, const zrk::Tensor<3, double>& position,
                                 const zrk::BBox<double>& bounds, int axis)
{
    Flow flow;
    flow.pin = output.address;
    ReadoutRequest probe{{}, position, bounds};
    try {
        probe.field = prepare(output);
    } catch (const std::exception& error) {
        flow.problem = error.what();
        if (_flow) {
            _flow(flow);
        }
        return;
    }
    _wires.post(kKey, [this, flow, probe, axis](const WorkLane::Sender& sender) mutable {
        try {
            flow.probe = readoutAt(probe);
            const auto component = static_cast<std::size_t>(axis);
            const double extent = probe.bounds.size[component];
            const double at =
                extent > 0 ? (probe.position[component] - probe.bounds.min[component]) / extent : 0.5;
            const zrkmodel::SlicePlane plane(probe.bounds, axis, at, kFlowSamples);
            flow.range = rangeOf(samplePlane(probe.field, plane, 1).values);
        } catch (const std::exception& error) {
            flow.problem = problemOf(error);
        }
        sender.send([this, flow] {
            if (_flow) {
                _flow(flow);
            }
        });
    });
}

void PreviewService::cancelFlow() { _wires.cancelAll(); }

} // namespace zrkworkbench

#pragma once

#include "core/values/bbox.h"
#include "core/values/stop.h"
#include "formats/png.h"
#include "host/graph_document.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

class QObject;

namespace zrkworkbench {

/// What slice of which field to draw.
struct SliceRequest {
    zrkmodel::OutputField output;
    zrk::BBox<double> bounds;
    int axis = 2;     ///< 0, 1 or 2: cut across it
    double at = 0.5;  ///< where along it, 0 to 1
    int pixels = 512; ///< along the longer side
};

struct SlicePreview {
    zrk::Picture picture;
    int width = 0;
    int height = 0;
    double low = 0; ///< the values at the ends of the colours
    double high = 1;
    double coordinate = 0; ///< where the axis is cut
    double milliseconds = 0;
    bool isFinal = false;
    std::string problem; ///< why there is no picture; then there is none
};

/// Draws slices on a thread of its own, coarse first. A newer request ends the one that runs.
///
/// `request` builds the field's evaluators on the thread of the caller, who also makes edits, and puts off
/// what takes long about them, such as freezing a raster. What runs then reads nothing of the document, so
/// that edits never wait for a preview and a preview never sees half an edit.
class PreviewService {
public:
    using Deliver = std::function<void(const SlicePreview&)>;

    /// @param deliver  is called in the receiver's thread, with the pictures of the newest request only.
    PreviewService(QObject& receiver, Deliver deliver);
    /// Ends what runs. Call it in the receiver's thread.
    ~PreviewService();
    PreviewService(const PreviewService&) = delete;
    PreviewService& operator=(const PreviewService&) = delete;

    void request(const SliceRequest& request);
    /// Ends what runs; nothing more is delivered until the next request.
    void cancel();

private:
    class Job;
    QObject& _receiver;
    Deliver _deliver;
    std::shared_ptr<std::atomic<std::uint64_t>> _newest = std::make_shared<std::atomic<std::uint64_t>>(0);
    std::shared_ptr<zrk::StopSign> _stop; ///< of the newest request; used in the receiver's thread only
    std::mutex _mutex;
    std::condition_variable _wake;
    std::shared_ptr<Job> _next; ///< guarded by _mutex
    bool _isEnding = false;     ///< guarded by _mutex
    std::thread _thread;

    void work();
    void send(std::uint64_t serial, SlicePreview preview);
};

} // namespace zrkworkbench

#pragma once

#include "apps/workbench/views/slice_work.h"
#include "apps/workbench/views/solid_work.h"
#include "apps/workbench/views/work_lane.h"
#include "host/graph_document.h"

#include <QImage>
#include <QSize>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

class QObject;

namespace zrkworkbench {

/// A message in place of a picture: what there is, and what can be done about it.
std::string inSentences(const std::string& found, const std::string& remedy);

/// Where to look at a field.
struct ReadoutRequest {
    zrk::PreparedField field;
    zrk::Tensor<3, double> position{};
    zrk::BBox<double> bounds; ///< of which gradients take their steps
};

/// What a field has at a place.
struct Readout {
    bool isKnown = false; ///< else there is nothing under the pointer, and all else is void
    zrk::Tensor<3, double> position{};
    std::vector<double> values; ///< one for a scalar, three for a vector, four for a colour
    double weight = 1;
    std::optional<double> slope; ///< length of the gradient, of a scalar
};

/// What flows through a wire.
struct Flow {
    zrkmodel::PinAddress pin;
    Readout probe;
    zrkmodel::ValueRange range{0, 1}; ///< of the finite values in the slice, all components together
    std::string problem;              ///< why nothing is known
};

/// Computes what the views and the canvas show, on threads of its own: never on the window's.
///
/// A request takes the evaluators that it is given, built on the thread of the caller, who also makes edits;
/// `prepare` builds them and puts off what takes long about that, such as freezing a raster. What runs then
/// reads nothing of the document, so that edits never wait for a preview and a preview never sees half an
/// edit.
///
/// Each lane has a thread of its own: the view's, with as many helpers as there are processors; readouts;
/// wires; and thumbnails, which leave the processors to whoever else wants them. In a lane a newer request
/// takes the place of the one before; see WorkLane.
///
/// All members are for the receiver's thread, in which listeners are called too.
class PreviewService {
public:
    explicit PreviewService(QObject& receiver);
    /// Ends what runs, which takes some milliseconds.
    ~PreviewService();

    /// The field as it is now. Throws what building a chain throws.
    static zrk::PreparedField prepare(const zrkmodel::OutputField& output);
    /// Lets go of one on another thread, as thousands of nodes take their time.
    void letGo(zrk::PreparedField field);

    /// @{ One picture after the other, coarse first. The listener's second argument tells whether no newer
    /// request was made meanwhile.
    void requestSlice(const SliceRequest& request);
    void onSlice(std::function<void(const SlicePreview&, bool isNewest)> listener);
    void requestSolid(const SolidRequest& request);
    void onSolid(std::function<void(const SolidPreview&, bool isNewest)> listener);
    /// @}
    /// Ends what runs for the view; nothing more is delivered until the next request.
    void cancelView();

    void requestReadout(const ReadoutRequest& request);
    void onReadout(std::function<void(const Readout&)> listener) { _readout = std::move(listener); }
    void cancelReadout();

    /// A small slice of an output, as the document asks to be seen, its bounds widened to the shape of the
    /// picture. Later requests for the same node take the place of earlier ones. Null where there is none.
    /// @param scale  of its lines, as in SliceStyle.
    void requestThumbnail(std::uint16_t node, const zrkmodel::OutputField& output,
                          const zrk::BBox<double>& bounds, QSize devicePixels,
                          const zrkmodel::DocumentView& view = {}, double scale = 1);
    void onThumbnail(std::function<void(std::uint16_t node, const QImage&)> listener);
    void cancelThumbnail(std::uint16_t node) { _thumbnails.cancel(node); }
    void cancelThumbnails() { _thumbnails.cancelAll(); }

    /// What an output has at a position, and the range of its values in a slice through it.
    void requestFlow(const zrkmodel::OutputField& output, const zrk::Tensor<3, double>& position,
                     const zrk::BBox<double>& bounds, int axis = 2);
    void onFlow(std::function<void(const Flow&)> listener) { _flow = std::move(listener); }
    void cancelFlow();

private:
    std::uint64_t _newest = 0; ///< request for the view
    std::function<void(const SlicePreview&, bool)> _slice;
    std::function<void(const SolidPreview&, bool)> _solid;
    std::function<void(const Readout&)> _readout;
    std::function<void(std::uint16_t, const QImage&)> _thumbnail;
    std::function<void(const Flow&)> _flow;
    WorkLane _view; ///< the lanes end first: they are declared last
    WorkLane _readouts;
    WorkLane _wires;
    WorkLane _thumbnails;
};

} // namespace zrkworkbench

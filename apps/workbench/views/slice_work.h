#pragma once

#include "core/engine/prepared_field.h"
#include "core/values/bbox.h"
#include "host/field_grid.h"
#include "host/graph_document.h"
#include "host/slice_picture.h"

#include <QColor>
#include <QImage>
#include <QRectF>
#include <QSize>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace zrkworkbench {

/// What of a slice of which field to draw.
struct SliceRequest {
    zrk::PreparedField field;
    zrk::BBox<double> bounds; ///< what the colours span, and `at` tells a share of
    int axis = 2;             ///< 0, 1 or 2: cut across it
    double at = 0.5;          ///< where along it, 0 to 1
    QRectF window{};          ///< the part of the plane to draw, model units, y upwards; empty for the bounds
    QSize pixels{512, 512};   ///< of the window
    zrkmodel::SliceStyle style{};
    bool judgesSlopes = false; ///< tells where the length of the gradient is far from 1
    QColor slopeShade{};       ///< and shades these places, if this is a colour
};

/// How much of a slice has gradients that aren't those of a distance.
struct SlopeShare {
    double share = 0; ///< of the samples whose gradient has a length
    double least = 0;
    double greatest = 0;
    bool isRemarkable = false; ///< by the rule of `zrk check --fields`
};

struct SlicePreview {
    QImage picture; ///< null where only the slopes are told, and where there is a problem
    QRectF window;  ///< what it shows
    int axis = 2;
    double coordinate = 0; ///< where the axis is cut
    int components = 1;
    zrkmodel::ValueRange range{0, 1}; ///< the values at the ends of the colours
    zrkmodel::SliceStyle style;
    std::optional<SlopeShare> slopes;
    double milliseconds = 0; ///< since the work began
    double nanosecondsPerSample = 0;
    std::size_t workers = 1;
    bool isWhole = false; ///< in the resolution that was asked for
    bool isFinal = false; ///< nothing follows
    bool hasWeightless = false;
    std::string problem; ///< why there is no picture
};

/// Colours and lines as `zrk slice` has them for an output of a document.
zrkmodel::SliceStyle styleOf(const zrkmodel::OutputField& output, const zrkmodel::DocumentView& view);
/// The plane over a part of an axis' cut; its longer side has `size` pixels.
zrkmodel::SlicePlane planeOf(const SliceRequest& request, const QRectF& window, int size);
/// The cut of the bounds, as wide or as high as the shape of a picture wants it.
QRectF windowOf(const zrk::BBox<double>& bounds, int axis, const QSizeF& shape);
QRectF windowOf(const zrk::BBox<double>& bounds, int axis);

/// Draws a slice as `drawSlice` does, coarse first: so coarse that it stands after some ten milliseconds
/// where samples are cheap, and finer each time. The range of colours is that of the bounds' cut, whichever
/// part is drawn. Throws what `stopIfAsked` does.
void workOnSlice(const SliceRequest& request, std::size_t workers,
                 const std::function<void(SlicePreview)>& show);

} // namespace zrkworkbench

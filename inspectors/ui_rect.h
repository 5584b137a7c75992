#pragma once

#include "core/values/raster.h"

#include <limits>
#include <optional>
#include <string>
#include <variant>

class QWidget;

namespace zrkui {

/// Where a widget stands along one axis of its layout, in pixels at scale 1, and its share of the room
/// that is left over; neighbours without a rectangle have a share of 1.
struct UICoord {
    double offset = 0; ///< left free before the widget
    double stretch = 0;

    constexpr UICoord() = default;
    constexpr UICoord(double offset, double stretch) : offset(offset), stretch(stretch) {}
};

/// The sizes a widget may take along one axis, in pixels at scale 1.
struct UIInterval {
    double minimum = 0;
    double maximum = std::numeric_limits<double>::infinity();

    static constexpr UIInterval withMinimum(double minimum)
    {
        return {minimum, std::numeric_limits<double>::infinity()};
    }
};

/// Where and how large a widget is; what isn't said is left to the layout.
struct UIRect {
    std::optional<UICoord> x = std::nullopt;
    std::optional<UICoord> y = std::nullopt;
    UIInterval width = {};
    UIInterval height = {};
};

using UIImage = zrk::Raster<4, 2, unsigned char>;

/// A caption: nothing, a widget, an image or a text.
using UIContent = std::variant<std::monostate, QWidget*, UIImage, std::string>;

} // namespace zrkui

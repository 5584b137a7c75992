#pragma once

#include <span>

namespace zrkworkbench {

struct IconPath {
    const char* name;
    const char* path;
};

/// The table of all icons, in a grid of 16 with y downwards. The commands of a path, each with absolute
/// coordinates and repeated while numbers follow:
///
///     M x y    L x y    H x    V y    C x1 y1 x2 y2 x y    Q x1 y1 x y    Z    as in SVG
///     E cx cy rx ry           an ellipse
///     A cx cy rx ry from by   an arc in degrees, counter-clockwise from the right
///     R x y width height r    a rectangle with round corners
///     F, S                    what follows is filled, or drawn with lines again
///     W width                 of the lines; 1.5 without it
std::span<const IconPath> iconPaths();

} // namespace zrkworkbench

#pragma once

#include "core/picture/color_map.h"
#include "formats/png.h"

#include <string_view>

namespace zrkmodel {

/// A place in a picture; row 0 on top.
struct PixelPlace {
    int x;
    int y;
};

/// Pixels that drawText takes for a text of this scale, without the space behind the last letter.
int textWidth(std::string_view text, int scale);
/// Pixels from the top of a capital to the line that letters stand on.
int textHeight(int scale);

/// Writes a text in letters of 5 x 7 points, each `scale` pixels wide and high: digits, letters, which all
/// are small, and what numbers consist of. Other characters are left blank. What lies outside the picture is
/// cut.
/// @param at  the upper left corner.
void drawText(zrk::Picture& picture, PixelPlace at, std::string_view text, const zrk::Rgb& color, int scale);

/// Fills a rectangle, whose last column and row are left out; cut at the picture's edges.
void fillRectangle(zrk::Picture& picture, PixelPlace first, PixelPlace last, const zrk::Rgb& color);

} // namespace zrkmodel

#pragma once

#include "inspectors/ui_rect.h"
#include "model/document.h"

#include <QImage>
#include <QRectF>

#include <cstdint>
#include <memory>
#include <vector>

namespace zrkui {

/// The same pixels, row 0 on top.
QImage toImage(const UIImage& image);
QImage toImage(const zrk::Raster<1, 2, std::uint8_t>& grey);
/// A picture as it looks: grey, grey with opacity, colours, colours with opacity, by its number of
/// channels. Null for none and for one without pixels.
///
/// @param most  pixels along either side; of larger pictures every second one, or third, and so on is taken.
QImage toImage(const zrkmodel::ZRKImage2d* image, int most);

/// Where a picture stands in the middle of a room: on whole pixels of the screen, as it would be blurred
/// between them. Sizes are in pixels of the interface, `ratio` of the screen's pixels to one.
QRectF centredIn(const QRectF& room, const QSizeF& size, double ratio);

/// A small picture of geometries on transparent ground, seen from above at a corner: points as dots, curves
/// and surfaces as lines, all else shaded by its distance. Null for none, and where nothing is found.
QImage geometryThumbnail(const std::vector<std::shared_ptr<zrkmodel::ZRKGeometry>>& geometries, int size);

} // namespace zrkui

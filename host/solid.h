#pragma once

#include "core/engine/bounds_runner.h"
#include "core/engine/keep_going.h"
#include "core/picture/picture.h"
#include "core/surface/surface.h"
#include "core/values/bbox.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/vector3.h"
#include "host/graph_document.h"

#include <optional>
#include <string>

namespace zrkmodel {

/// What of a field is solid.
struct Solid {
    zrk::BBox<double> bounds;
    double iso; ///< value at the surface
    zrk::SolidSide side;
};

/// The value at the surface of a solid, unless another is given.
constexpr double surfaceLevelOf(bool isDensity) { return isDensity ? 0.5 : 0.0; }

/// The solid of a scalar output: what lies below the iso value, of a density what lies above it. BadInput for
/// an output that isn't scalar.
/// @param iso        without one it is `surfaceLevelOf` the output.
/// @param isDensity  takes an output for a density that isn't named so, too.
/// @param place      of the output, for the message.
/// @param remedy     what to do about such an output.
ZRK_API zrk::Result<Solid> solidOf(const OutputField& output, const zrk::BBox<double>& bounds,
                                   std::optional<double> iso, bool isDensity, const std::string& place,
                                   const std::string& remedy);

/// The bounds as a region of positions. BadInput where they have no room.
ZRK_API zrk::Result<zrk::PositionBox> regionOf(const zrk::BBox<double>& bounds, const std::string& remedy);

/// Cuts the half of a region away that is on the viewer's side of the plane where an axis has a value.
/// @param from  direction from the solid to the viewer.
ZRK_API void cutTowardsViewer(zrk::PositionBox& region, std::size_t axis, double value,
                              const zrk::Vector3& from);

/// The fault of a solid of which nothing is seen in a region.
ZRK_API zrk::Fault nothingSolid(const std::string& place, const Solid& solid, const zrk::PositionBox& region,
                                const std::string& remedy);

/// Writes a shaded picture as PNG, without its opacity unless it is transparent.
ZRK_API zrk::Result<void> writeShaded(const std::string& file, const zrk::ShadedPicture& picture,
                                      bool isTransparent, const zrk::KeepGoing& keepGoing = {});

} // namespace zrkmodel

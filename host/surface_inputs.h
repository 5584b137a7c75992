#pragma once

#include "core/engine/prepared_field.h"
#include "core/surface/surface.h"
#include "core/values/bbox.h"
#include "core/values/export.h"
#include "formats/part.h"
#include "host/graph_document.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace zrk {
class ProgressMonitor;
}

/// What a surface is made of: where its cells lie, what they need, and what a file says beside the triangles.
namespace zrkmodel {

/// The cells over bounds, cubes as far as whole numbers allow: `resolution` of them along the longest side,
/// or as many as keep them within `cell`, in model units, where that isn't 0. Throws FaultError for bounds
/// without a volume and for more cells than can be counted.
ZRK_API std::array<std::int32_t, 3> surfaceCells(const zrk::BBox<double>& bounds, int resolution,
                                                 double cell);

/// Voxels for a level set of the surface: cubes on the lattice of the cells' corners, as small as the cells
/// along the axis where these are shortest.
zrk::PartVoxels surfaceVoxels(const zrk::SurfaceSettings& settings);

/// Throws FaultError where the surface wouldn't fit into the memory that is free or has more vertices than a
/// mesh can have, with what it needs. Large resolutions are judged by the same field with few cells.
ZRK_API void checkSurfaceSize(const zrk::PreparedField& field, const zrk::SurfaceSettings& settings,
                              zrk::PartFormat format, zrk::ProgressMonitor& monitor);

/// The same of a surface that isn't held in memory but goes to the disk of a file, once on its way and once
/// in the file.
/// @param parts  into which it is divided; one of them is to be written.
void checkPiecesSize(const zrk::PreparedField& field, const zrk::SurfaceSettings& settings,
                     const std::string& file, std::int32_t parts, zrk::ProgressMonitor& monitor);

/// Hands over the colours of a field at vertices, some thousand at a time; grey where it is NaN.
/// @param field  of colours with opacity, of three components that are colours, or of values.
/// @param range  of values: those at the ends of the colours.
/// @param take  false when no more can be taken.
void forVertexColors(const zrk::PreparedField& field, const std::optional<zrk::Interval<double>>& range,
                     std::span<const zrk::Tensor<3, double>> vertices, zrk::ProgressMonitor& monitor,
                     const std::function<bool(std::span<const zrk::VertexColor>)>& take);

/// The beams that an output consists of: where it is that of a beam lattice at the positions themselves, the
/// solid is below the iso value, and the bounds cut nothing off.
ZRK_API std::optional<zrk::PartBeams> partBeams(const GraphDocument& document, PinAddress output,
                                                const zrk::SurfaceSettings& settings);

} // namespace zrkmodel

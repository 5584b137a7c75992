#pragma once

#include "core/picture/depth_picture.h"
#include "core/picture/inside_field.h"
#include "core/picture/tile_boxes.h"

#include <cstdint>

namespace zrk::picture {

/// How much is found of the solid.
enum class Detail {
    Normals,     ///< all that a `DepthPicture` holds
    Depths,      ///< all but normals
    RoughDepths, ///< depths alone, a hundredth of a pixel off, or two pixels where the field's slope jumps
};

/// What all tiles of a trace share.
struct TracePlan {
    const InsideField& field;
    PositionBox region;
    Camera camera;
    TileBoxes boxes;
    double nearest;        ///< depth at which slabs begin, the same for all tiles
    double step;           ///< depth between two samples of a ray: two pixels
    std::int32_t slabs;    ///< as deep as a tile is wide
    std::int32_t tileEdge; ///< 64 or 16 pixels
    Detail detail;
    const PixelMask* pixels; ///< those to look at; null for all

    TracePlan(const InsideField& field, const PositionBox& region, const Camera& camera, Detail detail,
              const PixelMask* pixels);

    double depthAt(std::int32_t index) const { return nearest + index * step; }
    std::int32_t tilesAcross() const { return (camera.width + tileEdge - 1) / tileEdge; }
    std::int32_t tilesDown() const { return (camera.height + tileEdge - 1) / tileEdge; }
};

} // namespace zrk::picture

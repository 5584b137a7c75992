#pragma once

#include "core/engine/prepared_field.h"
#include "core/picture/camera.h"
#include "core/values/vector3.h"
#include "host/solid.h"

#include <QImage>
#include <QPointF>
#include <QSize>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace zrkworkbench {

/// What a view of a solid turns about and how much of it fits into a picture, the same from all sides.
struct SolidFrame {
    zrk::Vector3 centre{};
    double span = 1; ///< model units along the shorter side of the picture
};

/// The viewer of a solid. Model units.
struct SolidEye {
    zrk::Vector3 from{0.5065, -0.7233, 0.4695}; ///< direction from the solid to the viewer
    double zoom = 1;
    QPointF shift{}; ///< of the place that the middle of the picture shows, to the right and upwards
};

/// The camera of a viewer who looks at what a frame is around, for a picture of any size.
/// @param region  the solid's, which isn't to reach behind the camera.
zrk::Camera cameraOf(const SolidEye& eye, const SolidFrame& frame, const zrk::PositionBox& region,
                     QSize pixels);

/// Which solid to draw, and as whom sees it.
struct SolidRequest {
    zrk::PreparedField field;
    zrkmodel::Solid solid;
    struct Cut {
        std::size_t axis;
        double value;
    };
    std::optional<Cut> cut; ///< the viewer's side of it is taken away
    SolidEye eye{};
    std::optional<SolidFrame> frame{}; ///< without it, one that the solid fills
    QSize pixels{512, 512};
    int firstSize = 128; ///< pixels along the longer side of the first picture
};

struct SolidPreview {
    QImage picture;
    std::optional<SolidFrame> frame;
    int size = 0;            ///< pixels along the longer side
    double milliseconds = 0; ///< since the work began
    double ofThis = 0;       ///< since the picture before
    std::size_t workers = 1;
    bool isFinal = false;
    std::string problem; ///< why there is no picture
};

/// Draws a solid as `zrk render` does, coarse first. Throws what `stopIfAsked` does.
void workOnSolid(const SolidRequest& request, std::size_t workers,
                 const std::function<void(SolidPreview)>& show);

} // namespace zrkworkbench

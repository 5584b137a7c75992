#pragma once

#include "core/engine/prepared_field.h"
#include "core/picture/camera.h"
#include "core/surface/surface.h"
#include "core/values/export.h"
#include "core/values/raster.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace zrk {

class ProgressMonitor;

/// Red, green, blue and opacity of sRGB, row 0 on top; opacity isn't multiplied in.
using ShadedPicture = Raster<4, 2, unsigned char>;

/// What stands behind the solid.
enum class Backdrop {
    Studio,      ///< pale, darker towards the bottom
    Plain,       ///< one colour
    Transparent, ///< nothing; shadows on the ground are dark and partly transparent
};

/// The largest picture: pixels along a side, and together. Drawing takes some 100 bytes a pixel.
inline constexpr std::uint32_t kMaxPictureSide = 16384;
inline constexpr std::uint64_t kMaxPicturePixels = 1U << 25;

struct PictureSettings {
    PositionBox region{Interval<double>(0, 1), {0, 1}, {0, 1}}; ///< the solid is cut off at its faces
    double iso = 0;
    SolidSide solid = SolidSide::Below;

    std::int32_t width = 1024;
    std::int32_t height = 768;
    /// Directions from the solid to the viewer, a picture for each, all to the same scale. Not zero.
    std::vector<Vector3> views{{0.5065, -0.7233, 0.4695}}; ///< 35 degrees around and 28 up from the front
    Projection projection = Projection::Orthographic;
    /// In place of `views` and `projection`; its size is that of the picture. Its coarse pictures are drawn
    /// before it is known whether there is a solid.
    std::optional<Camera> camera;

    Backdrop backdrop = Backdrop::Studio;
    Tensor<3, double> backdropColor{1, 1, 1}; ///< sRGB, 0 to 1, of a plain one
    bool hasGround = true;                    ///< a plane below the solid that shows its shadow
    /// Colours of the solid as sRGB: the first three components, cut to 0 to 1. A field of one component is
    /// shown by the colours of `sequentialMap` over `paintRange`. Where one is NaN, and without a field, the
    /// solid is pale grey and cuts are blue.
    std::optional<PreparedField> paint;
    /// Values at the ends of the colours; without it, the least and the largest of those that are finite on
    /// what is seen of the solid from the first view, opposite of it and from below.
    std::optional<Interval<double>> paintRange;
    bool fadesByWeight = false; ///< the field's weight, cut to 0 to 1, is the opacity of the solid

    std::int32_t firstSize = 0; ///< pixels along the longer side of the first, coarse picture; 0 for none
    std::size_t threads = 0;    ///< 0: as many as there are processors
};

enum class PictureOutcome {
    Drawn,
    NoSolid,     ///< nothing of the solid was seen in the region
    Interrupted, ///< by the monitor
};

/// Where a picture stands among those of a call.
struct PictureStep {
    std::size_t view = 0;
    bool isFinal = false; ///< else it is a coarse one: smaller, with plain light, and with edges as they fall
    /// Values at the ends of the colours, of a paint with one component.
    std::optional<Interval<double>> paintRange = {};
};

using PictureSink = std::function<void(const ShadedPicture&, const PictureStep&)>;

/// Draws the solid of a scalar field as a shaded picture, seen by rays through tiles of pixels.
///
/// The solid is cut off at the faces of the region. A cut is coloured by the value: deeper inside deeper
/// blue, with white lines of equal value and a dark line at the surface. NaN counts as outside. The scene is
/// framed by what is seen of the solid, and the light comes from the viewer's upper left; z is up. Features
/// thinner than half a pixel may be missed.
///
/// Each view is drawn coarsely first if the settings ask for it: with `firstSize` pixels along the longer
/// side, then twice as many, and so on. The pictures depend on the field and the settings only, not on the
/// number of threads.
///
/// @param show     takes each picture when it is done, on the calling thread.
/// @param monitor  may be null. It is asked on the calling thread at least every thousand samples, or every
/// row
///                 of pixels.
///
/// Source: docs/notes/picture.md tells the method; `picture::TileTracer` names its sources.
ZRK_API PictureOutcome drawPictures(const PreparedField& field, const PictureSettings& settings,
                                    const PictureSink& show, ProgressMonitor* monitor = nullptr);

} // namespace zrk

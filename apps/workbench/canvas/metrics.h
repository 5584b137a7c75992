#pragma once

#include <QFont>
#include <QPointF>

#include <cmath>

/// Sizes of what the canvas shows, in units of the scene: pixels at scale 1 and a zoom of 100 %.
namespace zrkworkbench::size {

inline constexpr double kSnap = 16;
inline constexpr double kPitchAcross = 32;
inline constexpr double kPitchDown = 24;
inline constexpr double kNodeWidth = 160;    ///< at least; wider ones by steps of kSnap
inline constexpr double kWidestHeader = 288; ///< beyond that a name is cut
inline constexpr double kHeader = 28;
inline constexpr double kRow = 24;
inline constexpr double kPadTop = 4;
inline constexpr double kPadBottom = 8;
inline constexpr double kNodeRadius = 6;
inline constexpr double kPinRadius = 5;
inline constexpr double kPinRing = 8.5;
inline constexpr double kPinHalo = 11;
inline constexpr double kPinTarget = 12; ///< on the screen
inline constexpr double kWireTarget = 6; ///< on the screen, on either side
inline constexpr double kPinName = 14;   ///< from the node's edge
inline constexpr double kIcon = 16;
inline constexpr double kHeaderPad = 8;
inline constexpr double kHeaderName = 30;
inline constexpr double kBadgePitch = 20;
inline constexpr double kThumbnailShape = 3.0 / 5.0; ///< height by width
inline constexpr double kFramePad = 16;
inline constexpr double kFrameTitle = 24;
inline constexpr double kFlagHeight = 18;
inline constexpr double kFlagGap = 6;
inline constexpr double kReroute = 4;

/// @{ The zoom under which nodes show less.
inline constexpr double kNamesZoom = 0.6;
inline constexpr double kPlateZoom = 0.35;
inline constexpr double kBlockZoom = 0.2;
/// @}
inline constexpr double kLeastZoom = 0.05;
inline constexpr double kMostZoom = 4;

inline constexpr int kNodeFont = 12;
inline constexpr int kHintFont = 11;

} // namespace zrkworkbench::size

namespace zrkworkbench {

/// @{ The nearest place on the raster that nodes snap to.
inline double snapped(double value) { return std::round(value / size::kSnap) * size::kSnap; }
inline QPointF snapped(const QPointF& place) { return {snapped(place.x()), snapped(place.y())}; }
/// @}

/// The application's font at a size in pixels of the scene.
QFont canvasFont(double pixels, bool isBold = false);

} // namespace zrkworkbench

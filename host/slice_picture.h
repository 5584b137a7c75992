#pragma once

#include "core/picture/color_map.h"
#include "core/values/export.h"
#include "formats/png.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zrkmodel {

/// Samples of a field over a plane, one a pixel. Views its values.
struct SliceGrid {
    int width;
    int height;
    int components;                 ///< 1 scalar, 3 vector, 4 colour with opacity
    std::span<const double> values; ///< row 0 at the bottom, each from left to right, components side by side
    /// In the same order 1 for samples of weight 0, which count nowhere, 0 for others; empty where there are
    /// none.
    std::span<const std::uint8_t> isWeightless = {};
};

struct ValueRange {
    double low;
    double high;
};

struct SliceStyle {
    /// The values that take the ends of the colour map; values beyond them take the nearer end.
    /// low is less than high. Without it the range follows from the values, see SlicePicture.
    std::optional<ValueRange> range;
    /// The level to draw as a line, of scalars only: 0 for a distance, the iso value for a density.
    std::optional<double> contour;
    /// The inside lies above the contour, as in a density; else below it, as in a distance.
    bool insideAbove = false;
    /// Pixels of the picture that are as wide as one of its lines' pixels: 2 on a screen of two to one.
    double scale = 1;
};

struct SlicePicture {
    zrk::Picture picture;
    /// What was used. Chosen from the finite values where not given: all of them for scalars, but
    /// 1 and 99 % where single values far out would drown the rest, and equally far to both sides
    /// of a contour among them; 0 to 1 for colours and for vectors that lie in it; -m to m for
    /// other vectors, m their largest absolute component. Without finite values 0 to 1.
    ValueRange range;
    /// Distance between two faint lines of equal value; 0 where none are drawn.
    double lineStep;
};

/// The range that a slice of these samples has where its style gives none, see SlicePicture.
ZRK_API ValueRange automaticRange(const SliceGrid& grid, const SliceStyle& style = {});

/// Draws a slice for the eye; the top row shows the last row of the grid.
///
/// - Scalars: colour-mapped, diverging around the contour where it lies inside the range (blue inside), else
///   sequential; faint lines at even steps, and the contour as a crisp dark line.
/// - Vectors: x, y, z as red, green, blue over the range.
/// - Colours: clipped to the range, over a chequered ground by their opacity.
///
/// A pixel with a NaN component is hatched grey; infinities take the ends of the range. Pixels of weight 0
/// are pale with dark dots.
/// The picture is the same for any number of threads.
/// Precondition: the number of values is width * height * components. Debug builds assert it.
ZRK_API SlicePicture drawSlice(const SliceGrid& grid, const SliceStyle& style = {}, std::size_t threads = 1);

/// The colour that drawSlice gives a scalar value, without lines.
ZRK_API zrk::Rgb scalarColor(double value, const ValueRange& range, const SliceStyle& style);

} // namespace zrkmodel

#pragma once

#include "core/values/export.h"
#include "host/slice_picture.h"

#include <string>

namespace zrkmodel {

/// How long a pixel of a slice is.
struct SliceScale {
    double unitsPerPixel; ///< model units, above 0
    std::string unit;     ///< such as "mm"; empty where none is known
};

/// The largest of 1, 2, 5 times a power of ten that isn't above a length, which is above 0.
ZRK_API double roundLengthWithin(double longest);
/// A length as a scale bar tells it, such as "0.5 mm".
ZRK_API std::string scaleText(double length, const std::string& unit);

/// Draws a bar of a round length, 1, 2 or 5 times a power of ten, with that length and the unit into the
/// lower left corner of a picture. Nothing where the picture is too small for it.
ZRK_API void drawScaleBar(zrk::Picture& picture, const SliceScale& scale);

/// A slice with a strip below it: the colours of scalars with the values at their ends and at the surface, or
/// which component is which colour, and a scale bar.
/// @param components  of the field: 1 scalar, 3 vector, 4 colour with opacity.
ZRK_API zrk::Picture withLegend(const SlicePicture& slice, const SliceStyle& style, int components,
                                const SliceScale& scale);

/// A slice as it is written to a file: with the strip below it, or a scale bar where the unit is known.
ZRK_API zrk::Picture finishedSlice(const SlicePicture& slice, const SliceStyle& style, int components,
                                   const SliceScale& scale, bool hasLegend);

} // namespace zrkmodel

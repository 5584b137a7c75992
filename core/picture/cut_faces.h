#pragma once

#include "core/picture/depth_picture.h"
#include "core/picture/shading.h"

#include <vector>

namespace zrk::picture {

/// Colours of the faces at which the solid is cut: deeper inside deeper blue, white lines of equal value, a
/// line of ink at the surface.
class CutFaces {
public:
    /// Looks at the values of a picture's cuts. It must outlive this object.
    explicit CutFaces(const DepthPicture& picture);

    /// The colour at a value, seen in pixel (x, y), whose neighbours tell how steep the value is.
    /// @param paint  the solid's own colour there; null for the blue.
    Float3 colorAt(std::int32_t x, std::int32_t y, PixelKind kind, float value, const Float3* paint) const;

private:
    const DepthPicture& _picture;
    double _deep = 1;     ///< a value that nearly all are above, negated
    double _lineStep = 0; ///< 0 for no lines

    double slopeAt(std::int32_t x, std::int32_t y, PixelKind kind) const;
};

/// The smallest of 1, 2, 5 times a power of ten that cuts a width into at most so many steps; 0 for a width
/// that isn't positive and finite.
double evenStep(double width, int steps);

} // namespace zrk::picture

#pragma once

#include "core/values/bbox.h"
#include "core/values/raster.h"

#include <cstddef>

namespace zrk {

/// Blurs a volume in place with `gaussianKernel(kernelGrid, radius)`, its border repeated beyond it: the
/// numbers of RasterConvolver in boundary mode 2, shift included, to within rounding. A value that isn't
/// finite makes all of them NaN, as a transform of the whole volume does.
///
/// A Gaussian, the border rule and the cropping each work along one axis at a time, so this is three passes
/// of transforms of lines. Memory is some hundred kilobytes a worker. Only where the weights are at the edge
/// of what a double holds (a radius below about a thirteenth of the distance from the box's middle to the
/// nearest node) the RasterConvolver itself does the work.
///
/// @param threads  0 means all processors; the result doesn't depend on it.
void gaussianBlur(Raster<1, 3, double>& image, const GridBox<double>& kernelGrid, double radius,
                  std::size_t threads = 0);

} // namespace zrk

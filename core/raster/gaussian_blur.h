#pragma once

#include "core/values/bbox.h"
#include "core/values/raster.h"

#include <cstddef>

namespace zrk {

/// Blurs a volume in place with the weights of `gaussianKernel(weightGrid, radius)`, its border repeated
/// beyond it. The numbers are those of RasterConvolver in boundary mode 2, shift included, to within
/// rounding. A value that isn't finite makes all of them NaN, as a transform of the whole volume does.
///
/// Gaussian weights, the border rule and the cropping each work along one axis at a time, so three passes of
/// transforms of lines suffice. They take some hundred kilobytes a worker. Only where the weights are at the
/// edge of what a double holds (a radius below about a thirteenth of the distance from the box's middle to
/// the nearest node) does the RasterConvolver itself do the work.
///
/// Source of the method: Getreuer, "A survey of Gaussian convolution algorithms", Image Processing On Line 3,
/// 2013, doi:10.5201/ipol.2013.87, section on convolution by Fourier transforms. Here the border is repeated,
/// not mirrored, and the weights end with their grid.
///
/// @param threads  0 means all processors; the result doesn't depend on it.
void gaussianBlur(Raster<1, 3, double>& image, const GridBox<double>& weightGrid, double radius,
                  std::size_t threads = 0);

} // namespace zrk

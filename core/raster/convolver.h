#pragma once

#include "core/values/raster.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk {

/// Convolution of a volume with any weights (its kernel), by Fourier transforms of both, which are padded to
/// the sum of their sizes. This takes some thirty times the image's memory; for Gaussian weights,
/// `gaussianBlur` gives the same numbers with hardly any.
///
/// The middle of the weights lies between the two middle nodes of an axis where their number is even, so that
/// the result lies half a node further along that axis; by a whole node where the image's number of nodes is
/// even and that of the weights odd.
///
/// The caller fills in `image`, `kernel`, `threadCount` and `boundaryMode`, and sets `kernelDirty` whenever
/// the weights or the size of the image have changed. An object belongs to one thread.
///
/// Source of the method: the convolution theorem, as in Press, Teukolsky, Vetterling, Flannery, "Numerical
/// Recipes", 3rd edition, 2007, section 13.1. Here the weights stand in the middle of the padded volume,
/// which is where the shifts come from.
class RasterConvolver {
public:
    using Volume = Raster<1, 3, double>;

    Volume kernel; ///< the weights, in any size
    Volume paddedKernel;
    Volume image;
    Volume paddedImage;
    std::vector<std::complex<double>> imageSpectrum;
    std::vector<std::complex<double>> kernelSpectrum;
    std::size_t threadCount = 1;
    bool kernelDirty = true;
    /// What lies beyond the image: 2 repeats its border, 1 is zero; 0 is zero too, but only as far as the
    /// weights are larger than the image, whose ends meet otherwise.
    std::int32_t boundaryMode = 0;

    /// Replaces `output`, which must not be `image`, by the convolved image in the same size. Without image
    /// or without weights, it becomes a copy of the image.
    void convolve(Volume& output);

private:
    std::int32_t padding(int axis) const;
    void padImage();
    void padKernel();
    void crop(const Volume& padded, Volume& output) const;
};

} // namespace zrk

#pragma once

#include "core/values/raster.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk {

/// Convolution of a volume with any kernel, by Fourier transforms of both, which are padded to the sum of
/// their sizes. Memory is some thirty times the image's; for a Gaussian, `gaussianBlur` gives the same
/// numbers with hardly any.
///
/// The kernel's middle is between its two middle nodes where their number is even, so that the result lies
/// half a node further along that axis; by a whole node where the image's number of nodes is even and the
/// kernel's odd.
///
/// Fill in `image`, `kernel`, `threadCount` and `boundaryMode`, and set `kernelDirty` whenever the kernel or
/// the size of the image has changed. An object belongs to one thread.
class RasterConvolver {
public:
    using Volume = Raster<1, 3, double>;

    Volume kernel;
    Volume paddedKernel;
    Volume image;
    Volume paddedImage;
    std::vector<std::complex<double>> imageSpectrum;
    std::vector<std::complex<double>> kernelSpectrum;
    std::size_t threadCount = 1;
    bool kernelDirty = true;
    /// What lies beyond the image: 2 repeats its border, 1 is zero; 0 is zero too, but only as far as the
    /// kernel is larger than the image, whose ends meet otherwise.
    std::int32_t boundaryMode = 0;

    /// @param output  takes the size of the image, which it may not be.
    void convolve(Volume& output);

private:
    std::int32_t padding(int axis) const;
    void padImage();
    void padKernel();
    void cropResult(Volume& output) const;
};

} // namespace zrk

#include "core/raster/convolver.h"

#include "core/raster/fourier.h"
#include "core/values/large_pages.h"
#include "core/values/stop.h"

#include <algorithm>

namespace zrk {

namespace {

std::size_t index(const RasterConvolver::Volume& v, std::int32_t i, std::int32_t j, std::int32_t k)
{
    return static_cast<std::size_t>(i) +
           static_cast<std::size_t>(v.dims[0]) *
               (static_cast<std::size_t>(j) +
                static_cast<std::size_t>(v.dims[1]) * static_cast<std::size_t>(k));
}

/// Nodes before the image, of so many in all.
std::int32_t leading(std::int32_t padding) { return padding > 0 ? padding / 2 + 1 : 0; }

/// Calls visit(i, j, k) for all nodes, axis 0 fastest.
template <class Visit>
void forEachNode(const std::int32_t (&dims)[3], Visit visit)
{
    for (std::int32_t k = 0; k < dims[2]; ++k) {
        for (std::int32_t j = 0; j < dims[1]; ++j) {
            stopIfAsked();
            for (std::int32_t i = 0; i < dims[0]; ++i) {
                visit(i, j, k);
            }
        }
    }
}

std::vector<std::complex<double>> spectrumOf(const RasterConvolver::Volume& volume, std::size_t threads)
{
    const auto& n = volume.dims;
    std::vector<std::complex<double>> spectrum;
    resizeInPieces(spectrum, static_cast<std::size_t>(n[0]) * static_cast<std::size_t>(n[1]) *
                                 static_cast<std::size_t>(n[2] / 2 + 1));
    realToComplex(n, volume.data.data(), spectrum.data(), threads);
    return spectrum;
}

} // namespace

std::int32_t RasterConvolver::padding(int axis) const
{
    return boundaryMode == 0 ? std::max(0, kernel.dims[axis] - image.dims[axis]) : kernel.dims[axis];
}

void RasterConvolver::padImage()
{
    std::int32_t lo[3];
    std::int32_t dims[3];
    for (int axis = 0; axis < 3; ++axis) {
        lo[axis] = leading(padding(axis));
        dims[axis] = image.dims[axis] + padding(axis);
    }
    paddedImage.resize(dims);
    double* out = paddedImage.data.data();
    forEachNode(dims, [&](std::int32_t i, std::int32_t j, std::int32_t k) {
        const std::int32_t at[3] = {i - lo[0], j - lo[1], k - lo[2]};
        std::int32_t inside[3];
        bool isInside = true;
        for (int axis = 0; axis < 3; ++axis) {
            inside[axis] = std::clamp(at[axis], 0, image.dims[axis] - 1);
            isInside = isInside && inside[axis] == at[axis];
        }
        *out++ =
            isInside || boundaryMode == 2 ? image.data[index(image, inside[0], inside[1], inside[2])] : 0.0;
    });
}

void RasterConvolver::padKernel()
{
    std::int32_t lo[3];
    for (int axis = 0; axis < 3; ++axis) {
        lo[axis] = leading(paddedImage.dims[axis] - kernel.dims[axis]);
    }
    paddedKernel.resize(paddedImage.dims);
    std::fill(paddedKernel.data.begin(), paddedKernel.data.end(), 0.0);
    const double* value = kernel.data.data();
    forEachNode(kernel.dims, [&](std::int32_t i, std::int32_t j, std::int32_t k) {
        paddedKernel.data[index(paddedKernel, i + lo[0], j + lo[1], k + lo[2])] = *value++;
    });
}

/// The middle of a padded volume comes to its start, and the nodes of the image are taken from there.
void RasterConvolver::crop(const Volume& padded, Volume& output) const
{
    const auto& n = padded.dims;
    output.resize(image.dims);
    double* out = output.data.data();
    forEachNode(image.dims, [&](std::int32_t i, std::int32_t j, std::int32_t k) {
        *out++ = padded.data[index(padded, (i + leading(padding(0)) + n[0] / 2) % n[0],
                                   (j + leading(padding(1)) + n[1] / 2) % n[1],
                                   (k + leading(padding(2)) + n[2] / 2) % n[2])];
    });
}

void RasterConvolver::convolve(Volume& output)
{
    if (image.data.empty() || kernel.data.empty()) {
        output = image;
        return;
    }
    padImage();
    if (kernelDirty) {
        padKernel();
        kernelSpectrum = spectrumOf(paddedKernel, threadCount);
        kernelDirty = false;
    }
    imageSpectrum = spectrumOf(paddedImage, threadCount);
    inPieces(std::size_t{0}, imageSpectrum.size(), [this](std::size_t first, std::size_t end) {
        for (std::size_t i = first; i < end; ++i) {
            imageSpectrum[i] *= kernelSpectrum[i];
        }
    });
    Volume result;
    result.resize(paddedImage.dims);
    complexToReal(result.dims, imageSpectrum.data(), result.data.data(), threadCount);
    crop(result, output);
}

} // namespace zrk

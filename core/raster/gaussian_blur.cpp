#include "core/raster/gaussian_blur.h"

#include "core/engine/worker_team.h"
#include "core/raster/convolver.h"
#include "core/raster/fourier.h"
#include "core/raster/gaussian_kernel.h"
#include "core/raster/volume_lines.h"
#include "core/values/batch.h"
#include "core/values/stop.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <vector>

namespace zrk {

namespace {

using Volume = Raster<1, 3, double>;

/// Weights along one axis, for sums over a line that is read ahead: output j is the sum of
/// weights[u] * line[j + u - before], indices beyond the line being those of its ends.
struct LineWeights {
    std::vector<double> weights;
    std::int32_t before;
};

/// The part of the Gaussian that varies along an axis, with sum 1, without the ends that can't be seen in a
/// double.
LineWeights lineWeights(const GridBox<double>& grid, double radius, int axis, std::int32_t imageNodes)
{
    constexpr double kUnseen = 1e-19;
    const std::int32_t n = grid.region.dimensions()[axis];
    const auto a = static_cast<std::size_t>(axis);
    std::vector<double> weights(static_cast<std::size_t>(n));
    double sum = 0.0;
    for (std::int32_t i = 0; i < n; ++i) {
        const std::int32_t node[3] = {axis == 0 ? i : 0, axis == 1 ? i : 0, axis == 2 ? i : 0};
        const double p = grid.region.localToWorld(node[0], node[1], node[2])[a];
        const double d = p - 0.5 * (grid.min[a] + grid.max[a]);
        weights[static_cast<std::size_t>(i)] = std::exp(-4.0 * (d * d) / (radius * radius));
        sum += weights[static_cast<std::size_t>(i)];
    }
    const double least = kUnseen * *std::max_element(weights.begin(), weights.end());
    const auto isSeen = [least](double w) { return w >= least; };
    const auto first = std::find_if(weights.begin(), weights.end(), isSeen);
    const auto last = std::find_if(weights.rbegin(), weights.rend(), isSeen).base();

    // RasterConvolver's padding, rotation and cropping together: output j is the sum of
    // weights[k] * line[j + ahead - k].
    const std::int32_t ahead = (imageNodes + n) / 2 - imageNodes / 2 - 1;
    LineWeights line;
    line.before = static_cast<std::int32_t>(last - weights.begin()) - 1 - ahead;
    line.weights.assign(std::make_reverse_iterator(last), std::make_reverse_iterator(first));
    for (double& weight : line.weights) {
        weight /= sum;
    }
    return line;
}

/// Sums of a LineWeights over lines side by side, by their transforms.
class LineSums {
public:
    LineSums(const std::vector<double>& weights, std::size_t outputs)
        : _transform(quickTransformLength(outputs + weights.size() - 1))
    {
        // Sums that read ahead are a convolution with the mirrored weights.
        const std::size_t n = _transform.length();
        std::vector<Batch> mirrored(n, Batch(0.0));
        for (std::size_t u = 0; u < weights.size(); ++u) {
            mirrored[(n - u) % n] = weights[u];
        }
        _transform.forward(mirrored.data());
        _spectrum.reserve(n);
        for (const Batch& value : mirrored) {
            _spectrum.push_back(value.lane(0));
        }
    }

    /// Values that the lines are extended to.
    std::size_t extendedLength() const { return _transform.length(); }

    /// Replaces the values of extended lines by their sums, as many as the lines are long.
    void run(Batch* lines) const
    {
        const std::size_t n = _transform.length();
        _transform.forward(lines);
        lines[0] *= _spectrum[0];
        std::size_t i = 1;
        for (; i + 1 < n; i += 2) {
            const Batch re = lines[i];
            const Batch im = lines[i + 1];
            lines[i] = re * _spectrum[i] - im * _spectrum[i + 1];
            lines[i + 1] = re * _spectrum[i + 1] + im * _spectrum[i];
        }
        if (i < n) {
            lines[i] *= _spectrum[i];
        }
        _transform.inverse(lines);
    }

private:
    RealLineTransform _transform;
    std::vector<double> _spectrum; ///< in the transform's order
};

VolumeLines linesAlong(Volume& volume, int axis)
{
    std::size_t dims[3];
    std::size_t strides[3];
    for (int i = 0; i < 3; ++i) {
        dims[i] = static_cast<std::size_t>(volume.dims[i]);
        strides[i] = i == 0 ? 1 : strides[i - 1] * dims[i - 1];
    }
    return {volume.data.data(), dims, strides, axis};
}

void blurAlong(Volume& image, int axis, const LineWeights& line, std::size_t threads)
{
    const VolumeLines lines = linesAlong(image, axis);
    const LineSums sums(line.weights, lines.length());
    const std::size_t bundles = (lines.count() + Batch::size - 1) / Batch::size;
    std::atomic<std::size_t> next{0};
    runTeam(std::min(threads, bundles), [&](std::size_t, std::size_t) {
        std::vector<Batch> bundle(sums.extendedLength());
        for (std::size_t b = next++; b < bundles; b = next++) {
            stopIfAsked();
            const std::size_t first = b * Batch::size;
            lines.read(first, lines.bundle(first), line.before, bundle.size(), bundle.data());
            sums.run(bundle.data());
            lines.write(first, lines.bundle(first), bundle.data());
        }
    });
}

bool isFinite(const Volume& volume)
{
    bool allFinite = true;
    inPieces(std::size_t{0}, volume.data.size(), [&](std::size_t first, std::size_t end) {
        const double* const values = volume.data.data();
        allFinite =
            allFinite && std::all_of(values + first, values + end, [](double v) { return std::isfinite(v); });
    });
    return allFinite;
}

void convolve(Volume& image, const GridBox<double>& weightGrid, double radius, std::size_t threads)
{
    RasterConvolver convolver;
    convolver.image = std::move(image);
    convolver.kernel = gaussianKernel(weightGrid, radius);
    convolver.threadCount = threads;
    convolver.boundaryMode = 2;
    convolver.convolve(image);
}

} // namespace

void gaussianBlur(Volume& image, const GridBox<double>& weightGrid, double radius, std::size_t threads)
{
    // Below this a weight has lost digits to the smallest exponent, and products of lines' weights differ.
    constexpr double kLeastExactWeight = 1e-290;
    const auto& dims = weightGrid.region.dimensions();
    const double largest = gaussianWeight(weightGrid, radius, dims[0] / 2, dims[1] / 2, dims[2] / 2);
    const bool isNumber = !std::isnan(gaussianWeight(weightGrid, radius, 0, 0, 0)); // else squares overflow
    const std::size_t workers = workerCount(threads);
    if (!isFinite(image)) {
        std::fill(image.data.begin(), image.data.end(), std::numeric_limits<double>::quiet_NaN());
    } else if (largest == 0.0) {
        std::fill(image.data.begin(), image.data.end(), 0.0);
    } else if (!(largest > kLeastExactWeight) || !isNumber) {
        convolve(image, weightGrid, radius, workers);
    } else if (!image.data.empty()) {
        for (int axis = 0; axis < 3; ++axis) {
            blurAlong(image, axis, lineWeights(weightGrid, radius, axis, image.dims[axis]), workers);
        }
    }
}

} // namespace zrk

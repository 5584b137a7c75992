#include "core/raster/gaussian_blur.h"

#include "core/raster/convolver.h"
#include "core/raster/gaussian_kernel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace zrk {

namespace {

using Volume = Raster<1, 3, double>;

Volume noise(int nx, int ny, int nz, unsigned seed = 1)
{
    Volume volume(nx, ny, nz);
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    std::generate(volume.data.begin(), volume.data.end(), [&] { return value(generator); });
    return volume;
}

Volume convolved(const Volume& image, const Volume& kernel, int boundaryMode = 2)
{
    RasterConvolver convolver;
    convolver.image = image;
    convolver.kernel = kernel;
    convolver.boundaryMode = boundaryMode;
    Volume result;
    convolver.convolve(result);
    return result;
}

double largestDifference(const Volume& a, const Volume& b)
{
    EXPECT_TRUE(std::equal(a.dims, a.dims + 3, b.dims));
    double largest = 0.0;
    for (std::size_t i = 0; i < a.data.size(); ++i) {
        // A NaN must meet a NaN, and an infinite weight is one too.
        const double d =
            std::isfinite(a.data[i]) || std::isfinite(b.data[i]) ? std::abs(a.data[i] - b.data[i]) : 0;
        largest = d <= largest ? largest : d;
    }
    return largest;
}

GridBox<double> grid(int nx, int ny, int nz) { return {{-1, -0.5, 0}, {1, 0.5, 3}, nx, ny, nz}; }

/// Where the kernel's one node that isn't 0 moves a single bright node of the image to.
int shiftOf(int imageNodes, int kernelNodes, int brightKernelNode)
{
    Volume image(imageNodes, 1, 1);
    Volume kernel(kernelNodes, 1, 1);
    image.data[static_cast<std::size_t>(imageNodes / 2)] = 1.0;
    kernel.data[static_cast<std::size_t>(brightKernelNode)] = 1.0;
    const Volume result = convolved(image, kernel);
    const auto peak = std::max_element(result.data.begin(), result.data.end());
    EXPECT_NEAR(*peak, 1.0, 1e-14);
    return static_cast<int>(peak - result.data.begin()) - imageNodes / 2;
}

} // namespace

TEST(RasterConvolver, MovesByThePositionInTheKernel)
{
    EXPECT_EQ(shiftOf(9, 5, 2), 0) << "both odd: the middle node stays";
    EXPECT_EQ(shiftOf(8, 4, 1), 0) << "even kernel: half a node to either side";
    EXPECT_EQ(shiftOf(8, 4, 2), 1);
    EXPECT_EQ(shiftOf(9, 4, 1), 0);
    EXPECT_EQ(shiftOf(8, 5, 2), 1) << "even image, odd kernel: one node";
}

TEST(RasterConvolver, RepeatsOrLeavesOutWhatIsBeyondTheBorder)
{
    Volume ones(4, 4, 4);
    std::fill(ones.data.begin(), ones.data.end(), 1.0);
    Volume kernel(5, 5, 5);
    std::fill(kernel.data.begin(), kernel.data.end(), 1.0 / 125);
    const Volume repeated = convolved(ones, kernel, 2);
    const Volume dark = convolved(ones, kernel, 1);
    for (double value : repeated.data) {
        EXPECT_NEAR(value, 1.0, 1e-14);
    }
    // An even image and an odd kernel: the kernel reaches 3 nodes back and 1 ahead.
    EXPECT_NEAR(dark.data[0], std::pow(2.0 / 5, 3), 1e-14);
    EXPECT_NEAR(dark.data[3], 3.0 / 5 * std::pow(2.0 / 5, 2) * 4 / 3, 1e-14);
}

/// One axis of the recipe: what is padded and where, in nodes.
struct PaddedAxis {
    int image, kernel, size, imageAt, kernelAt;

    static PaddedAxis of(int image, int kernel, int boundaryMode)
    {
        const int padding = boundaryMode == 0 ? std::max(0, kernel - image) : kernel;
        const int rest = image + padding - kernel; // beside the kernel
        return {image, kernel, image + padding, padding > 0 ? padding / 2 + 1 : 0,
                rest > 0 ? rest / 2 + 1 : 0};
    }
    /// The node of the padded image that a node of the result takes, multiplied by kernel node k.
    int source(int result, int k) const
    {
        const int rotated = (result + imageAt + size / 2) % size;
        return (rotated - (k + kernelAt) + 2 * size) % size;
    }
};

/// The convolution by its sum: padding, cyclic convolution, rotation by half and cropping, node by node.
Volume literallyConvolved(const Volume& image, const Volume& kernel, int boundaryMode)
{
    PaddedAxis axes[3];
    for (int a = 0; a < 3; ++a) {
        axes[a] = PaddedAxis::of(image.dims[a], kernel.dims[a], boundaryMode);
    }
    const auto at = [](const Volume& v, const int(&n)[3]) {
        return v.data[static_cast<std::size_t>(n[0] + v.dims[0] * (n[1] + v.dims[1] * n[2]))];
    };
    const auto paddedImage = [&](const int(&q)[3]) {
        int inside[3];
        bool isInside = true;
        for (int a = 0; a < 3; ++a) {
            inside[a] = std::clamp(q[a] - axes[a].imageAt, 0, axes[a].image - 1);
            isInside = isInside && inside[a] == q[a] - axes[a].imageAt;
        }
        return isInside || boundaryMode == 2 ? at(image, inside) : 0.0;
    };
    Volume result(image.dims[0], image.dims[1], image.dims[2]);
    const auto forAll = [](const std::int32_t(&dims)[3], auto visit) {
        for (int z = 0; z < dims[2]; ++z) {
            for (int y = 0; y < dims[1]; ++y) {
                for (int x = 0; x < dims[0]; ++x) {
                    visit({x, y, z});
                }
            }
        }
    };
    double* out = result.data.data();
    forAll(result.dims, [&](const int(&to)[3]) {
        forAll(kernel.dims, [&](const int(&k)[3]) {
            const int from[3] = {axes[0].source(to[0], k[0]), axes[1].source(to[1], k[1]),
                                 axes[2].source(to[2], k[2])};
            *out += at(kernel, k) * paddedImage(from);
        });
        ++out;
    });
    return result;
}

// Kernels without any symmetry, so that a mirrored or a shifted one shows; all parities, larger and smaller
// than the image.
TEST(RasterConvolver, AgreesWithTheSumInAllModes)
{
    const int images[][3] = {{4, 5, 3}, {3, 4, 6}, {1, 2, 5}};
    const int kernels[][3] = {{3, 2, 4}, {2, 3, 1}, {5, 7, 6}, {1, 1, 1}};
    for (const auto& n : images) {
        for (const auto& k : kernels) {
            const Volume image = noise(n[0], n[1], n[2], 3);
            const Volume kernel = noise(k[0], k[1], k[2], 4);
            for (const int mode : {0, 1, 2}) {
                EXPECT_LT(largestDifference(convolved(image, kernel, mode),
                                            literallyConvolved(image, kernel, mode)),
                          1e-13)
                    << n[0] << " " << n[1] << " " << n[2] << ", kernel " << k[0] << " " << k[1] << " " << k[2]
                    << ", mode " << mode;
            }
        }
    }
}

TEST(RasterConvolver, KeepsASpectrumUntilItIsTold)
{
    RasterConvolver convolver;
    convolver.boundaryMode = 2;
    convolver.image = noise(3, 3, 3);
    convolver.kernel = Volume(3, 3, 3);
    convolver.kernel.data[13] = 1.0;
    Volume result;
    convolver.convolve(result);
    EXPECT_LT(largestDifference(result, convolver.image), 1e-14);
    EXPECT_EQ(convolver.paddedImage.dims[0], 6);
    EXPECT_EQ(convolver.paddedImage.data[0], convolver.image.data[0]) << "the image, not the result";
    convolver.kernel.data[13] = 2.0;
    convolver.convolve(result);
    EXPECT_LT(largestDifference(result, convolver.image), 1e-14);
    convolver.kernelDirty = true;
    convolver.convolve(result);
    EXPECT_NEAR(result.data[5], 2 * convolver.image.data[5], 1e-14);
}

TEST(GaussianKernel, HasSumOneAndFallsToAPowerOfE)
{
    const GridBox<double> box({-1, -1, -1}, {1, 1, 1}, 5, 5, 5);
    const Volume kernel = gaussianKernel(box, 0.5);
    EXPECT_NEAR(std::accumulate(kernel.data.begin(), kernel.data.end(), 0.0), 1.0, 1e-14);
    const auto middle = kernel.data[62];
    EXPECT_NEAR(kernel.data[63] / middle, std::exp(-4.0), 1e-16);
    EXPECT_NEAR(kernel.data[62 + 5] / middle, std::exp(-4.0), 1e-16);
    EXPECT_NEAR(kernel.data[62 - 25] / middle, std::exp(-4.0), 1e-16);
    const Volume nothing = gaussianKernel(GridBox<double>({-1, -1, -1}, {1, 1, 1}, 4, 4, 4), 0.01);
    EXPECT_EQ(nothing.data, std::vector<double>(64, 0.0));
}

TEST(GridOverBox, SharesNodesByTheEdges)
{
    struct Case {
        const char* name;
        Tensor<3, double> size;
        int resolution;
        int dims[3];
    };
    const Case cases[] = {
        {"a cube has the resolution", {2, 2, 2}, 32, {32, 32, 32}},
        {"the box's scale is no matter", {1e-3, 1e-3, 1e-3}, 7, {7, 7, 7}},
        {"1 : 2 : 4", {1, 2, 4}, 8, {4, 8, 16}},
        {"at least two", {8, 1, 1}, 2, {8, 2, 2}},
        {"resolution 1", {1, 1, 1}, 1, {2, 2, 2}},
        {"a negative resolution", {1, 1, 1}, -5, {2, 2, 2}},
        {"a flat box, its edge not counted", {2, 0, 2}, 5, {6, 2, 6}}, // 4^(-1/3) * 5 * 2 = 6.3
        {"a point", {0, 0, 0}, 5, {2, 2, 2}},
        {"too many", {1e9, 1, 1}, 2147483647, {2147483647, 2147484, 2147484}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const GridBox<double> box = gridOverBox(BBox<double>({0, 0, 0}, c.size), c.resolution);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(box.region.dimensions()[axis], c.dims[axis]);
        }
    }
}

// All parities of image and kernel; kernels of one node and such as reach everywhere.
TEST(GaussianBlur, AgreesWithTheTransformOfTheVolume)
{
    const int sizes[][3] = {{6, 7, 8}, {9, 6, 5}, {2, 3, 17}, {1, 12, 4}, {1, 1, 1}};
    const int kernels[][3] = {{6, 7, 8}, {7, 6, 9}, {2, 3, 5}, {1, 4, 1}, {32, 32, 32}};
    for (const auto& n : sizes) {
        for (const auto& k : kernels) {
            const Volume image = noise(n[0], n[1], n[2]);
            const GridBox<double> box({-1, -0.5, 0}, {1, 0.5, 3}, std::max(2, k[0]), std::max(2, k[1]),
                                      std::max(2, k[2]));
            for (double radius : {0.3, 1.0, 4.0, 1e6, std::numeric_limits<double>::infinity()}) {
                Volume blurred = image;
                gaussianBlur(blurred, box, radius);
                EXPECT_LT(largestDifference(blurred, convolved(image, gaussianKernel(box, radius))), 1e-13)
                    << n[0] << " " << n[1] << " " << n[2] << ", kernel " << k[0] << " " << k[1] << " " << k[2]
                    << ", radius " << radius;
            }
        }
    }
}

TEST(GaussianBlur, AgreesOnLongLines)
{
    for (const int n : {150, 151}) {
        for (double radius : {0.05, 0.9, 40.0}) {
            for (const auto& box : {grid(n, 2, 3), grid(2, n, 3), grid(3, 2, n)}) {
                const auto& dims = box.region.dimensions();
                const Volume image = noise(dims[0], dims[1], dims[2]);
                Volume blurred = image;
                gaussianBlur(blurred, box, radius);
                EXPECT_LT(largestDifference(blurred, convolved(image, gaussianKernel(box, radius))), 1e-13)
                    << n << ", radius " << radius;
            }
        }
    }
}

// Weights about the smallest double: rounded ones, then an infinite factor, then no kernel at all.
TEST(GaussianBlur, AgreesWhereTheWeightsVanish)
{
    const Volume image = noise(4, 4, 4);
    const GridBox<double> box({-1, -1, -1}, {1, 1, 1}, 4, 4, 4);
    // The middle nodes are at d^2 = 1/3; at radius r the largest weight is exp(-4 / (3 r^2)).
    for (double exponent : {600.0, 669.0, 705.0, 712.0, 744.0, 746.0, 1e4}) {
        const double radius = std::sqrt(4.0 / 3.0 / exponent);
        Volume blurred = image;
        gaussianBlur(blurred, box, radius);
        EXPECT_LT(largestDifference(blurred, convolved(image, gaussianKernel(box, radius))), 1e-13)
            << exponent;
    }
    for (double radius : {0.0, 1e-170}) {
        Volume odd = noise(3, 3, 3);
        const GridBox<double> withMiddle({-1, -1, -1}, {1, 1, 1}, 3, 3, 3);
        const Volume expected = convolved(odd, gaussianKernel(withMiddle, radius));
        gaussianBlur(odd, withMiddle, radius);
        EXPECT_LT(largestDifference(odd, expected), 1e-14) << radius;
    }
    Volume wide = image;
    const GridBox<double> huge({-1e200, -1, -1}, {1e200, 1, 1}, 4, 4, 4); // whose squares aren't finite
    gaussianBlur(wide, huge, 1e200);
    EXPECT_LT(largestDifference(wide, convolved(image, gaussianKernel(huge, 1e200))), 1e-13);
}

// A radius that reaches no other node leaves the image as it is; one far larger than the box weighs all
// alike.
TEST(GaussianBlur, FromNoBlurToTheMean)
{
    const GridBox<double> cube({-1, -1, -1}, {1, 1, 1}, 5, 5, 5);
    const Volume image = noise(5, 5, 5);
    Volume same = image;
    gaussianBlur(same, cube, 0.05); // the next node's weight is exp(-400)
    EXPECT_LT(largestDifference(same, image), 1e-14);
    Volume constant(5, 5, 5);
    std::fill(constant.data.begin(), constant.data.end(), 3.25);
    for (double radius : {0.05, 0.7, 1e3}) {
        Volume blurred = constant;
        gaussianBlur(blurred, cube, radius);
        EXPECT_LT(largestDifference(blurred, constant), 1e-13) << radius;
    }
    Volume mean = image;
    gaussianBlur(mean, cube, 1e9);
    EXPECT_NEAR(mean.data[62], std::accumulate(image.data.begin(), image.data.end(), 0.0) / 125, 1e-14)
        << "the middle node sees the image alone, every node of it alike";
}

TEST(GaussianBlur, SpreadsWhatIsNotFinite)
{
    const GridBox<double> box = grid(6, 7, 8);
    for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
        Volume image = noise(6, 7, 8);
        image.data[100] = bad;
        const Volume expected = convolved(image, gaussianKernel(box, 0.5));
        gaussianBlur(image, box, 0.5);
        for (std::size_t i = 0; i < image.data.size(); ++i) {
            ASSERT_TRUE(std::isnan(image.data[i]) && std::isnan(expected.data[i]));
        }
    }
}

TEST(GaussianBlur, HasTheSameBitsForAnyNumberOfThreads)
{
    const GridBox<double> box = grid(31, 33, 10);
    Volume one = noise(31, 33, 10);
    Volume three = one;
    gaussianBlur(one, box, 0.4, 1);
    gaussianBlur(three, box, 0.4, 3);
    EXPECT_EQ(one.data, three.data);
    Volume empty;
    gaussianBlur(empty, box, 0.4);
    EXPECT_TRUE(empty.data.empty());
}

} // namespace zrk

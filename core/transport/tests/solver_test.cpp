#include "core/transport/solver.h"

#include "testing/literal_transport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <stdexcept>

namespace zrk::optimalTransport {
namespace {

using Stack = Raster<1, 3, double>;

/// A soft blob on a ground bright enough for the iteration to be stable.
Image blob(int nx, int ny, double cx, double cy, double radius = 0.2)
{
    Image image(nx, ny);
    for (int j = 0; j < ny; ++j) {
        for (int i = 0; i < nx; ++i) {
            const double x = (i + 0.5) / nx - cx;
            const double y = (j + 0.5) / ny - cy;
            image.data[static_cast<std::size_t>(j * nx + i)] =
                0.05 + std::exp(-(x * x + y * y) / (radius * radius));
        }
    }
    return image;
}

Stack interpolated(const Image& a, const Image& b, int steps, std::optional<Image> obstacle = {},
                   unsigned threads = 1)
{
    return transportInterpolate(a, b, steps, std::move(obstacle), threads, nullptr);
}

double largestDifference(const std::vector<double>& a, const std::vector<double>& b)
{
    EXPECT_EQ(a.size(), b.size());
    double largest = 0.0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        largest = std::max(largest, std::isfinite(a[i] - b[i]) ? std::abs(a[i] - b[i]) : 1e300);
    }
    return largest;
}

double sliceSum(const Stack& stack, int k)
{
    const auto pixels = static_cast<std::size_t>(stack.strides[2]);
    double sum = 0.0;
    for (std::size_t n = 0; n < pixels; ++n) {
        sum += stack.data[static_cast<std::size_t>(k) * pixels + n];
    }
    return sum;
}

double at(const Stack& stack, int i, int j, int k)
{
    return stack.data[static_cast<std::size_t>(i + stack.dims[0] * (j + stack.dims[1] * k))];
}

std::vector<double> numbers(const SpaceTimeArray& values, const SpaceTimeGrid& grid)
{
    std::vector<double> all;
    for (std::size_t k = 0; k < grid.steps; ++k) {
        all.insert(all.end(), values.plane(k), values.plane(k) + grid.planeCells());
    }
    return all;
}

/// Numbers on all inner faces. The dual variable becomes zero, so that the flow isn't moved.
void randomizeFlow(DynamicTransportSolver& solver, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> number(-1.0, 1.0);
    const SpaceTimeGrid& grid = solver.grid();
    StaggeredField& flow = solver.solution();
    for (std::size_t k = 0; k < grid.steps; ++k) {
        std::fill_n(solver.dual().density.plane(k), grid.plane, 0.0);
        for (std::size_t n = 0; n < grid.planeCells(); ++n) {
            flow.momentumX.plane(k)[n] = (n + 1) % grid.width != 0 ? number(random) : 0.0;
            flow.momentumY.plane(k)[n] = n + grid.width < grid.planeCells() ? number(random) : 0.0;
            flow.density.plane(k)[n] = k + 1 < grid.steps ? number(random) : 0.0;
        }
    }
}

/// The largest of what a cell loses, where the flow comes from one image, scaled to the sum 1, and ends at
/// the other.
double largestLoss(DynamicTransportSolver& solver, const Image& from, const Image& to)
{
    const SpaceTimeGrid& grid = solver.grid();
    const StaggeredField& flow = solver.solution();
    const double fromSum = std::accumulate(from.data.begin(), from.data.end(), 0.0);
    const double toSum = std::accumulate(to.data.begin(), to.data.end(), 0.0);
    double largest = 0.0;
    for (std::size_t k = 0; k < grid.steps; ++k) {
        const double* x = flow.momentumX.plane(k);
        const double* y = flow.momentumY.plane(k);
        for (std::size_t n = 0; n < grid.planeCells(); ++n) {
            const double left = n % grid.width > 0 ? x[n - 1] : 0.0;
            const double below = n >= grid.width ? y[n - grid.width] : 0.0;
            const double before = k > 0 ? flow.density.plane(k - 1)[n] : from.data[n] / fromSum;
            const double behind = k + 1 < grid.steps ? flow.density.plane(k)[n] : to.data[n] / toSum;
            largest = std::max(largest, std::abs((x[n] - left) * static_cast<double>(grid.width) +
                                                 (y[n] - below) * static_cast<double>(grid.height) +
                                                 (behind - before) * static_cast<double>(grid.steps)));
        }
    }
    return largest;
}

struct Extents {
    int nx;
    int ny;
    int steps;
};

} // namespace

// Odd widths leave batches and planes unfilled; extents of 1 have no inner face at all.
TEST(TransportSolver, AgreesWithTheIterationStepByStep)
{
    for (const Extents& n : {Extents{8, 8, 4}, Extents{7, 5, 6}, Extents{13, 9, 3}, Extents{17, 3, 2},
                             Extents{1, 6, 4}, Extents{6, 1, 3}, Extents{1, 1, 4}, Extents{6, 5, 1}}) {
        for (const bool isBlocked : {false, true}) {
            const Image a = blob(n.nx, n.ny, 0.3, 0.4);
            const Image b = blob(n.nx, n.ny, 0.8, 0.6, 0.3);
            Image obstacle(n.nx, n.ny);
            obstacle.data[obstacle.data.size() / 2] = isBlocked ? 0.5 : 0.0;
            DynamicTransportSolver solver(a, b, n.steps, &obstacle);
            EXPECT_TRUE(solver.solve(1, nullptr, nullptr));
            const Stack expected = literal::solve(a, b, n.steps, &obstacle);
            // 2000 steps carry the rounding of the first to some hundred times itself.
            EXPECT_LT(largestDifference(solver.density().data, expected.data), 1e-12)
                << n.nx << " x " << n.ny << " x " << n.steps << (isBlocked ? ", blocked" : "");
        }
    }
}

// What has no potential, a constant, is to be ignored by both.
TEST(PoissonSolver, AgreesWithTransformsAlongAllAxes)
{
    for (const Extents& n : {Extents{8, 8, 4}, Extents{7, 5, 6}, Extents{17, 3, 2}, Extents{1, 6, 4},
                             Extents{6, 1, 3}, Extents{1, 1, 4}, Extents{6, 5, 1}, Extents{1, 1, 1}}) {
        const SpaceTimeGrid grid(n.nx, n.ny, n.steps);
        const PoissonSolver poisson(grid);
        PoissonSolver::Scratch scratch = poisson.makeScratch();
        SpaceTimeArray values(grid);
        DCT<double> dct;
        dct.resize(n.steps, n.ny, n.nx);
        std::mt19937 random(11);
        for (std::size_t k = 0; k < grid.steps; ++k) {
            for (std::size_t c = 0; c < grid.planeCells(); ++c) {
                const double number = random() * 0x1p-32;
                values.plane(k)[c] = number;
                dct.data()[k * grid.planeCells() + c] = number;
            }
        }
        applyInverseLaplacian(dct);
        poisson.transformRows(values, {0, poisson.rowItems()}, scratch);
        poisson.solveColumns(values, {0, poisson.columnItems()}, scratch);
        poisson.transformRowsBack(values, {0, poisson.rowItems()}, scratch);
        std::vector<double> found = numbers(values, grid);
        std::vector<double> expected(dct.data(), dct.data() + grid.cells());
        for (std::vector<double>* phi : {&found, &expected}) {
            const double first = phi->front();
            std::transform(phi->begin(), phi->end(), phi->begin(), [first](double v) { return v - first; });
        }
        EXPECT_LT(largestDifference(found, expected), 1e-14) << n.nx << " x " << n.ny << " x " << n.steps;
    }
}

TEST(TransportSolver, TheProjectionKeepsMassAndIsDoneOnce)
{
    for (const Extents& n : {Extents{8, 8, 4}, Extents{7, 5, 6}, Extents{1, 6, 4}, Extents{9, 2, 1},
                             Extents{1, 1, 5}, Extents{32, 20, 8}}) {
        const Image from = blob(n.nx, n.ny, 0.2, 0.2);
        const Image to = blob(n.nx, n.ny, 0.7, 0.7);
        DynamicTransportSolver solver(from, to, n.steps, nullptr);
        const SpaceTimeGrid& grid = solver.grid();
        randomizeFlow(solver, 7);
        const double before = largestLoss(solver, from, to);
        solver.projectDivergenceFree();
        EXPECT_LT(largestLoss(solver, from, to), 1e-12 * std::max(1.0, before))
            << n.nx << " x " << n.ny << " x " << n.steps;
        const std::vector<double> x = numbers(solver.solution().momentumX, grid);
        const std::vector<double> y = numbers(solver.solution().momentumY, grid);
        const std::vector<double> density = numbers(solver.solution().density, grid);
        solver.projectDivergenceFree();
        EXPECT_LT(largestDifference(numbers(solver.solution().momentumX, grid), x), 1e-12);
        EXPECT_LT(largestDifference(numbers(solver.solution().momentumY, grid), y), 1e-12);
        EXPECT_LT(largestDifference(numbers(solver.solution().density, grid), density), 1e-12);
    }
}

TEST(Transport, EqualImagesStay)
{
    const Image image = blob(12, 10, 0.4, 0.5);
    const Stack stack = interpolated(image, image, 5);
    EXPECT_NEAR(sliceSum(stack, 2), 1.0, 1e-12);
    const double sum = std::accumulate(image.data.begin(), image.data.end(), 0.0);
    for (int k = 0; k < 5; ++k) {
        for (std::size_t n = 0; n < image.data.size(); ++n) {
            const double pixel = image.data[n] / sum;
            EXPECT_NEAR(stack.data[static_cast<std::size_t>(k) * image.data.size() + n], pixel, 1e-6);
        }
    }
}

TEST(Transport, BlobsMeetHalfWayAndMassIsKept)
{
    const Stack stack = interpolated(blob(24, 12, 0.2, 0.5, 0.12), blob(24, 12, 0.8, 0.5, 0.12), 7);
    for (int k = 0; k < 7; ++k) {
        EXPECT_NEAR(sliceSum(stack, k), 1.0, 1e-3);
    }
    const double middle = at(stack, 12, 6, 3);
    EXPECT_GT(middle, 3 * at(stack, 5, 6, 3)) << "a crossfade has its peaks at the ends";
    EXPECT_GT(middle, 3 * at(stack, 18, 6, 3));
}

TEST(Transport, EndsAreTheImagesInTheScaleOfTheirSlices)
{
    const Image a = blob(9, 11, 0.3, 0.3);
    const Image b = blob(9, 11, 0.6, 0.7);
    DynamicTransportSolver solver(a, b, 4, nullptr);
    EXPECT_TRUE(solver.solve(1, nullptr, nullptr));
    const Stack computed = solver.density();
    const Stack stack = interpolated(a, b, 4);
    EXPECT_NEAR(sliceSum(stack, 0), sliceSum(computed, 0), 1e-14);
    EXPECT_NEAR(sliceSum(stack, 3), sliceSum(computed, 3), 1e-14);
    EXPECT_NEAR(at(stack, 2, 3, 0) / at(stack, 7, 9, 0), a.data[3 * 9 + 2] / a.data[9 * 9 + 7], 1e-12);
    EXPECT_NEAR(at(stack, 2, 3, 3) / at(stack, 7, 9, 3), b.data[3 * 9 + 2] / b.data[9 * 9 + 7], 1e-12);
    EXPECT_EQ(at(stack, 2, 3, 1), at(computed, 2, 3, 1));
    const Stack single = interpolated(a, b, 1);
    EXPECT_NEAR(at(single, 2, 3, 0) / at(single, 7, 9, 0), b.data[3 * 9 + 2] / b.data[9 * 9 + 7], 1e-12);
}

TEST(Transport, GoesAroundAnObstacle)
{
    const Image a = blob(16, 16, 0.2, 0.5, 0.15);
    const Image b = blob(16, 16, 0.8, 0.5, 0.15);
    Image wall(16, 16);
    for (int j = 4; j < 12; ++j) {
        wall.data[static_cast<std::size_t>(j * 16 + 7)] = 1.0;
        wall.data[static_cast<std::size_t>(j * 16 + 8)] = 1.0;
    }
    const Stack free = interpolated(a, b, 5);
    const Stack around = interpolated(a, b, 5, wall);
    const double ground = *std::min_element(around.data.begin(), around.data.end());
    EXPECT_GT(at(free, 7, 8, 2), 10 * ground);
    EXPECT_LT(at(around, 7, 8, 2), 2 * ground);
    EXPECT_LT(at(free, 7, 3, 2) + at(free, 7, 12, 2), 3 * ground);
    EXPECT_GT(at(around, 7, 3, 2) + at(around, 7, 12, 2), 20 * ground) << "closely past its ends";
}

TEST(Transport, ReversedImagesReverseTheStack)
{
    const Image a = blob(10, 14, 0.3, 0.2);
    const Image b = blob(10, 14, 0.7, 0.6, 0.3);
    const Stack there = interpolated(a, b, 6);
    const Stack back = interpolated(b, a, 6);
    for (int k = 0; k < 6; ++k) {
        for (int n = 0; n < 140; ++n) {
            EXPECT_NEAR(at(there, n, 0, k), at(back, n, 0, 5 - k), 1e-12);
        }
    }
}

// With black pixels the iteration amplifies rounding, so only sums and ends are compared.
TEST(Transport, BlackImagesKeepTheirEnds)
{
    Image a(8, 8);
    Image b(8, 8);
    a.data[18] = 1.0;
    b.data[45] = 3.0;
    const Stack stack = interpolated(a, b, 4);
    EXPECT_GT(at(stack, 2, 2, 0), 0.0);
    EXPECT_EQ(at(stack, 3, 2, 0), 0.0);
    EXPECT_EQ(at(stack, 2, 2, 3), 0.0);
    EXPECT_NEAR(sliceSum(stack, 1), 1.0, 0.05);
    const Stack dark = interpolated(Image(8, 8), b, 4); // mass 0 isn't scaled
    EXPECT_EQ(dark.data.size(), 256u);
}

TEST(Transport, RefusesImagesThatDontFit)
{
    const Image a = blob(6, 5, 0.3, 0.5);
    EXPECT_TRUE(interpolated(a, blob(5, 6, 0.3, 0.5), 3).data.empty());
    EXPECT_TRUE(interpolated(a, a, 3, blob(6, 6, 0.3, 0.5)).data.empty());
    EXPECT_TRUE(interpolated(a, a, 0).data.empty());
    EXPECT_TRUE(interpolated(a, a, -1).data.empty());
    EXPECT_TRUE(interpolated(Image(), Image(), 3).data.empty());
}

TEST(Transport, HasTheSameBitsForAnyNumberOfThreads)
{
    const Image a = blob(75, 60, 0.3, 0.5);
    const Image b = blob(75, 60, 0.7, 0.5);
    int asked = 0;
    // Large enough to be shared among threads; some steps tell as much as all.
    const auto after = [&asked](int steps) { return [&asked, steps] { return asked++ >= steps; }; };
    DynamicTransportSolver one(a, b, 8, nullptr);
    EXPECT_FALSE(one.solve(1, nullptr, after(30)));
    asked = 0;
    DynamicTransportSolver three(a, b, 8, nullptr);
    EXPECT_FALSE(three.solve(3, nullptr, after(30)));
    EXPECT_EQ(one.density().data, three.density().data);
}

TEST(Transport, ReportsAndStops)
{
    const Image a = blob(70, 60, 0.3, 0.5);
    std::vector<double> told;
    const auto tell = [&told](double percent) { told.push_back(percent); };
    const Image small = blob(4, 4, 0.3, 0.5);
    EXPECT_FALSE(transportInterpolate(small, small, 2, {}, 1, tell).data.empty());
    ASSERT_EQ(told.size(), 100u);
    for (std::size_t i = 0; i < told.size(); ++i) {
        EXPECT_EQ(told[i], static_cast<double>(i));
    }
    told.clear();
    const auto enough = [&told] { return told.size() >= 3; };
    EXPECT_TRUE(transportInterpolate(a, a, 8, {}, 2, tell, enough).data.empty());
    EXPECT_EQ(told.size(), 3u);
    const auto refuse = [](double) { throw std::runtime_error("full disk"); };
    EXPECT_THROW(transportInterpolate(a, a, 8, {}, 2, refuse), std::runtime_error);
}

TEST(ProximalStep, FindsTheRootOfItsCubic)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> number(0.0, 1.0);
    const ProximalStep step{85.0, 1e-6};
    const double g = 1.0 / 85.0;
    for (int i = 0; i < 200; ++i) {
        // From a density far from -2 / sigma, three steps are enough.
        const CellFlow<double> before{number(random), number(random), 20 + 60 * number(random)};
        CellFlow<double> dual = before;
        step(dual, {0, 0, 0}, 0.0, std::numeric_limits<double>::infinity());
        const double x = g * (before.density - dual.density);
        const double mx = g * before.x;
        const double my = g * before.y;
        const double r = g * before.density;
        EXPECT_NEAR((x - r) * (x + 2 * g) * (x + 2 * g), g * (mx * mx + my * my), 1e-15);
        EXPECT_NEAR(g * (before.x - dual.x), mx * x / (x + 2 * g), 1e-15);
    }
    CellFlow<double> closed{1, 1, 40};
    step(closed, {0, 0, 0}, 0.0, step.minimumDensity);
    EXPECT_NEAR(40 - closed.density, 85 * 1e-6, 1e-12);
    EXPECT_NEAR(closed.x, 1.0, 1e-4) << "hardly any momentum";
}

} // namespace zrk::optimalTransport

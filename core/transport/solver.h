#pragma once

#include "core/transport/poisson_solver.h"
#include "core/transport/proximal_step.h"
#include "core/transport/space_time.h"
#include "core/values/raster.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace zrk::optimalTransport {

using Image = Raster<1, 2, double>;

/// Numbers on the faces between cells, or, as dual variables, in the cells. On faces, the number of cell n is
/// that of the face between it and the next cell along the axis; the last one's is that of the outer face.
struct StaggeredField {
    explicit StaggeredField(const SpaceTimeGrid& grid) : momentumX(grid), momentumY(grid), density(grid) {}

    SpaceTimeArray momentumX;
    SpaceTimeArray momentumY;
    SpaceTimeArray density;
};

/// Carries one image into another along the cheapest flow of mass (a displacement interpolation), by
/// 2000 steps of a primal-dual iteration on a staggered grid over space and time.
///
/// Minimizes the sum of |m|^2 / rho over densities rho and momenta m under d(rho)/dt + div(m) = 0, nothing
/// flowing through the walls, rho being the first image at time 0 and the second at 1, each scaled to
/// sum 1. A dual step is a `ProximalStep`; a primal step ends with the projection onto the flows that keep
/// mass, by a Poisson solve.
///
/// A solver takes 11 doubles a cell. It belongs to one thread, and runs on several where the grid is large
/// enough.
///
/// Source: Papadakis, Peyre, Oudet, "Optimal transport with proximal splitting", SIAM Journal on Imaging
/// Sciences 7(1), 2014, doi:10.1137/130920058: the staggered grid, the proximal operator of the cost and the
/// projection. The problem is that of Benamou and Brenier, "A computational fluid mechanics solution to the
/// Monge-Kantorovich mass transfer problem", Numerische Mathematik 84, 2000, doi:10.1007/s002110050002; the
/// iteration that of Chambolle and Pock, "A first-order primal-dual algorithm for convex problems with
/// applications to imaging", Journal of Mathematical Imaging and Vision 40, 2011,
/// doi:10.1007/s10851-010-0251-1. Here the number of steps is fixed, and cells may be closed.
class DynamicTransportSolver {
public:
    static constexpr int kIterations = 2000;

    /// Precondition: images of equal extents, not empty, and at least one step.
    /// @param obstacle  null for none; else of the same extents, closed where it is greater than 0.
    DynamicTransportSolver(const Image& imageA, const Image& imageB, std::int32_t steps,
                           const Image* obstacle);

    /// Runs all steps, or as many as `shouldStop` allows.
    ///
    /// @param threads     so many at most; at least 1.
    /// @param progress    is told of percents, 0 to 99, on the calling thread; may be empty.
    /// @param shouldStop  is asked before each step, on the calling thread; may be empty.
    /// @return false when it was stopped.
    bool solve(std::size_t threads, const std::function<void(double)>& progress,
               const std::function<bool()>& shouldStop);

    /// Returns the density at the cells' centres.
    Raster<1, 3, double> density() const;

    // Parts of an iteration, and what they work on.

    const SpaceTimeGrid& grid() const { return _grid; }
    StaggeredField& solution() { return _solution; }
    StaggeredField& dual() { return _dual; }
    /// Moves the solution against the dual variable, then makes it keep mass. Runs on this thread.
    void projectDivergenceFree();

private:
    struct Faces;
    struct Strip;
    class Team;

    SpaceTimeGrid _grid;
    StaggeredField _solution;
    StaggeredField _extrapolated; ///< outer faces zero
    StaggeredField _dual;
    SpaceTimeArray _potential; ///< divergence before the Poisson solve
    PoissonSolver _poisson;
    SpaceTimeArray _openX;  ///< one plane: 1 on inner faces, 0 on outer ones
    SpaceTimeArray _openY;  ///< the same
    SpaceTimeArray _planes; ///< the planes named below
    ProximalStep _proximalStep;

    enum Plane : std::size_t {
        kFirstImage,
        kLastImage,
        kFirstOffset,
        kLastOffset,
        kCeiling,
        kOnes,
        kZeros,
        kPlaneCount
    };
    const double* plane(Plane p) const { return _planes.plane(p); }

    void takeImages(const Image& imageA, const Image& imageB, const Image* obstacle);
    void start();
    std::size_t stripsPerPlane() const;
    template <class Work>
    void forEachStrip(std::size_t worker, std::size_t workers, Work work);

    Faces facesX(std::size_t k) const;
    Faces facesY(std::size_t k) const;
    Faces facesInTime(std::size_t k) const;
    void dualStep(const Strip& strip);
    void negativeDivergence(const Strip& strip);
    void primalStep(const Strip& strip);
};

/// Returns `steps` slices of the images' extents, from the one image to the other, by a
/// DynamicTransportSolver. The first and the last slice are the images themselves, scaled to the sums of the
/// slices that were computed in their place; an image whose sum is 0 makes its slice NaN.
///
/// Images are best kept at 0.004 or more everywhere: see ProximalStep.
///
/// @param obstacle  closes the pixels that are greater than 0; the flow goes around them.
/// @return an empty raster for less than one step, for images or an obstacle of other extents than the first
///         image's, and when the computation was stopped.
Raster<1, 3, double> transportInterpolate(const Image& imageA, const Image& imageB, std::int32_t steps,
                                          std::optional<Image> obstacle, std::uint32_t threadCount,
                                          std::function<void(double)> progress,
                                          std::function<bool()> shouldStop = nullptr);

} // namespace zrk::optimalTransport

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

using Picture = Raster<1, 2, double>;

/// Numbers on the faces between cells, or, as dual variables, in the cells. On faces, the number of cell n is
/// that of the face between it and the next cell along the axis; the last one's is that of the outer face.
struct StaggeredField {
    explicit StaggeredField(const SpaceTimeGrid& grid) : momentumX(grid), momentumY(grid), density(grid) {}

    SpaceTimeArray momentumX;
    SpaceTimeArray momentumY;
    SpaceTimeArray density;
};

/// Carries one picture into another along the cheapest flow of mass (a displacement interpolation), by
/// 2000 steps of a primal-dual iteration on a staggered grid over space and time.
///
/// Minimizes the sum of |m|^2 / rho over densities rho and momenta m under d(rho)/dt + div(m) = 0, nothing
/// flowing through the walls, rho being the first picture at time 0 and the second at 1, each scaled to
/// sum 1. A dual step is a `ProximalStep`; a primal step ends with the projection onto the flows that keep
/// mass, by a Poisson solve.
///
/// Memory is 11 doubles a cell. Belongs to one thread; runs on several where the grid is large enough.
///
/// Source: Papadakis, Peyre, Oudet, "Optimal transport with proximal splitting", SIAM Journal on Imaging
/// Sciences 7(1), 2014, doi:10.1137/130920058, after Benamou and Brenier; iteration of Chambolle and Pock,
/// doi:10.1007/s10851-010-0251-1. Here: a fixed number of steps, and closed cells.
class DynamicTransportSolver {
public:
    static constexpr int kIterations = 2000;

    /// Pictures of equal extents, not empty, and at least one step.
    DynamicTransportSolver(const Picture& imageA, const Picture& imageB, std::int32_t steps,
                           const Picture* obstacle);

    /// Told of percents, 0 to 99, and asked before each iteration whether to stop. Either may be empty. Both
    /// are called on the calling thread.
    ///
    /// @param threads  at most so many, at least 1.
    /// @return false when it was stopped.
    bool solve(std::size_t threads, const std::function<void(double)>& progress,
               const std::function<bool()>& shouldStop);

    /// The density at the cells' centres.
    Raster<1, 3, double> density() const;

    // Parts of an iteration, and what they work on.

    const SpaceTimeGrid& grid() const { return _grid; }
    StaggeredField& solution() { return _solution; }
    StaggeredField& dual() { return _dual; }
    /// Makes the solution keep mass, moved against the dual variable first. On this thread.
    void projectDivergenceFree();
    /// What leaves a cell, of the largest cell. For a dual variable of zero.
    double largestDivergence();

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
        kFirstPicture,
        kLastPicture,
        kFirstOffset,
        kLastOffset,
        kCeiling,
        kOnes,
        kZeros,
        kPlaneCount
    };
    const double* plane(Plane p) const { return _planes.plane(p); }

    void takePictures(const Picture& imageA, const Picture& imageB, const Picture* obstacle);
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

/// The whole: steps slices of the pictures' extents from the one to the other. The first and the last
/// slice are the pictures themselves, scaled to the sums of the slices computed for their place.
///
/// A picture with sum 0 isn't scaled. Pictures are best kept at 0.004 or more everywhere: see ProximalStep.
/// The last slice's sum of 0 makes it NaN.
///
/// @param obstacle  the flow goes around pixels greater than 0.
/// @return empty for no steps, for pictures or an obstacle of other extents than the first picture's,
///         and when it was stopped.
Raster<1, 3, double> transportInterpolate(const Picture& imageA, const Picture& imageB, std::int32_t steps,
                                          std::optional<Picture> obstacle, std::uint32_t threadCount,
                                          std::function<void(double)> progress,
                                          std::function<bool()> shouldStop = nullptr);

} // namespace zrk::optimalTransport

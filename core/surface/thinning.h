#pragma once

#include "core/surface/surface.h"
#include "core/surface/surface_grid.h"

#include <cstddef>
#include <functional>

namespace zrk::surface {

/// Joins triangles where the surface stays within `flatness` of what it was, by moving a vertex onto one of
/// its neighbours; no other position appears. A closed, manifold mesh without self-intersections stays one,
/// and so does an open one, whose rim is kept.
///
/// Vertices move within blocks of cells, whose triangles to other blocks stay as they are; then within
/// blocks twice as large, until one holds everything or they hold too many triangles. So the result depends
/// on the mesh and the settings only, for any number of threads.
///
/// Each triangle carries a bound for how far it lies from the first surface: a vertex moves only where the
/// largest bound around it stays within `flatness` with what the move adds, the distance of the vertex to the
/// new triangles or of old to new sides where they cross. Normals turn by at most 26 degrees at once and 14
/// in a round of blocks, but for slivers and tiny triangles; angles don't become smaller than about 3 degrees
/// unless they were. Long sides of slivers are turned. Where triangles of a block pass through each other
/// afterwards, by exact predicates, the vertices around that place are held and the block is done once more.
///
/// Source: half-edge collapses with the link condition as in Garland, Heckbert, "Surface simplification
/// using quadric error metrics", SIGGRAPH 1997; in place of quadrics, bounds that add up, so that the
/// flatness is kept and not only the sum of its squares.
///
/// @param keepGoing  asked now and then on the calling thread with the share that is done; false ends the
///                   work, and the mesh is then good for nothing.
void thinMesh(SurfaceMesh& mesh, const SurfaceGrid& grid, double flatness, std::size_t threads,
              const std::function<bool(double)>& keepGoing);

} // namespace zrk::surface

#pragma once

#include "core/surface/surface.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zrk::surface {

/// Whether a triangle has a corner twice or all corners on one line. Exact.
bool isDegenerate(const SurfaceMesh& mesh, const std::array<std::uint32_t, 3>& triangle);

/// Pairs of triangles that meet elsewhere than in the corners and edges that they share; touching counts.
/// Exact, by the signs of `orientation`. Degenerate triangles take no part.
std::size_t countSelfIntersections(const SurfaceMesh& mesh);

} // namespace zrk::surface

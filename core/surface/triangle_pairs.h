#pragma once

#include "core/engine/keep_going.h"
#include "core/surface/surface.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace zrk::surface {

/// Whether a triangle has a corner twice or all corners on one line. Exact.
bool isDegenerate(const SurfaceMesh& mesh, const std::array<std::uint32_t, 3>& triangle);

/// Calls found(s, t) for each pair of triangles, s < t, that meet elsewhere than in the corners and edges
/// that they share; touching counts. Exact, by the signs of `orientation`. Degenerate triangles take no part.
/// False if it was stopped.
bool forEachIntersection(std::span<const Tensor<3, double>> vertices,
                         std::span<const std::array<std::uint32_t, 3>> triangles,
                         std::span<const std::uint8_t> isWanted,
                         const std::function<void(std::uint32_t, std::uint32_t)>& found,
                         const KeepGoing& keepGoing = {});

} // namespace zrk::surface

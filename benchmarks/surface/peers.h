#pragma once

#include "benchmarks/surface/shapes.h"

#include <cstddef>
#include <functional>

namespace zrk::bench {

/// Makes a shape's surface by another library.
struct SurfacePeer {
    std::function<std::size_t()> run; ///< the surface of a grid at hand; returns the number of triangles
};

enum class PeerGrid {
    NarrowBand, ///< nodes within three cells of the surface, as level sets have them
    Dense,      ///< all nodes, as of a grid that was sampled without knowing where the surface is
};

/// OpenVDB's volumeToMesh on one thread over a grid of floats; none if OpenVDB isn't installed. The grid is
/// sampled and filled before, which takes seconds and 12 bytes a node.
SurfacePeer openVdbPeer(const Shape& shape, int n, PeerGrid form);
bool hasOpenVdbPeer();

} // namespace zrk::bench

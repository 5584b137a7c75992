#pragma once

#include "benchmarks/surface/shapes.h"

#include <cstddef>
#include <functional>

namespace zrk::bench {

/// Makes a shape's surface by another library.
struct SurfacePeer {
    std::function<std::size_t()> run; ///< the surface of a grid at hand; returns the number of triangles
};

/// OpenVDB's volumeToMesh over a narrow band of three cells, in floats; none if OpenVDB isn't installed.
SurfacePeer openVdbPeer(const Shape& shape, int n);

} // namespace zrk::bench

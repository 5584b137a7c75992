#pragma once

#include "core/mesh/search/bvh.h"
#include "core/mesh/search/triangle_search.h"
#include "core/mesh/winding/winding_estimate.h"
#include "core/mesh/winding/winding_number.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace zrk {

/// The signed distance field of a triangle mesh, and the data that make it fast. The distance is that of the
/// hierarchy's search, bit for bit; the sign is negative where the winding number exceeds a half, so that
/// open and imperfect meshes have an inside too. Lengths in model units.
///
/// Immutable; safe to query from many threads at once.
class MeshWindingField {
public:
    /// What a query of a near point leaves for the next one. It makes queries faster and changes no result.
    struct Trail {
        double point[3] = {};
        double distance = 0.0;
        std::int32_t triangle = -1;
        bool isInside = false;
        bool knowsSide = false; ///< `isInside` holds everywhere nearer to the point than `distance`
    };

    /// Takes a mesh; builds on several threads and returns when all is done.
    ///
    /// @param vertices  three coordinates a vertex.
    /// @param indices   three vertices a triangle, counter-clockwise as seen from outside; each in range. One
    /// or
    ///                  two at the end that make no triangle are left out.
    /// Throws std::invalid_argument when there is no triangle.
    MeshWindingField(std::vector<double> vertices, std::vector<std::int32_t> indices);
    MeshWindingField(const MeshWindingField&) = delete;
    MeshWindingField& operator=(const MeshWindingField&) = delete;

    std::int32_t vertexCount() const { return _bvh.vertexCount; }
    std::int32_t triangleCount() const { return _bvh.primitiveCount; }
    const std::vector<double>& vertices() const { return _vertices; }
    const BVH<double, 3, 3>& bvh() const { return _bvh; }

    /// Whether every edge is run along as often in one direction as in the other. Then the winding number
    /// can't change but where the mesh is crossed.
    bool isClosed() const { return _isClosed; }

    /// Distance to the nearest triangle; the largest double for points that aren't finite and for meshes
    /// without a finite triangle.
    double meshDistance(const double* point) const { return _search->nearest(point).distance; }
    /// The same for one point after the other, each near the one before.
    double meshDistance(const double* point, Trail& trail) const;
    /// The winding number by the hierarchy.
    double windingNumber(const double* point) const { return zrk::windingNumber(_bvh, *_moments, point); }
    /// Distance, negative inside.
    double signedDistance(const double* point) const;
    /// The same for one point after the other, each near the one before.
    double signedDistance(const double* point, Trail& trail) const;

    /// Memory beside vertices and indices.
    std::size_t bytes() const;

private:
    MeshWindingField(std::vector<double>&& vertices, std::vector<std::int32_t>&& indices,
                     const ThreadPool& builders);

    std::vector<double> _vertices;
    std::vector<std::int32_t> _indices;
    BVH<double, 3, 3> _bvh;
    std::optional<MeshMoments> _moments; ///< these two always hold something
    std::optional<TriangleSearch> _search;
    std::optional<WindingEstimate> _estimate;
    bool _isClosed;
    double _nearSurface; ///< distance below which the estimate isn't good enough

    TriangleSearch::Nearest nearest(const double* point, const Trail& trail) const;
    bool isInside(const double* point, double distance) const;
    bool isInside(const double* point, double distance, const Trail& trail) const;
};

} // namespace zrk

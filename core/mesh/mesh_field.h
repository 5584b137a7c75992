#pragma once

#include "core/engine/centred_box.h"
#include "core/mesh/search/bvh.h"
#include "core/mesh/search/triangle_search.h"
#include "core/mesh/winding/side_table.h"
#include "core/mesh/winding/winding_estimate.h"
#include "core/mesh/winding/winding_moments.h"
#include "core/mesh/winding/winding_number.h"
#include "core/values/vector3.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace zrk {

/// The signed distance field of a triangle mesh, and the data that make it fast. The distance has the bits of
/// the hierarchy's exact search. It is negative where the winding number exceeds a half, so that open and
/// imperfect meshes have an inside too. Lengths in model units.
///
/// Safe to query from many threads at once. The three settings are made before it is shared.
class MeshWindingField {
public:
    /// Of the winding number's expansion: 0, 1 or 2 (see `windingNumber`).
    std::int32_t order = 1;
    /// What `value` gives: 0 the sign alone, as -1 and 1; 1 the signed distance; 2 the distance without a
    /// sign.
    std::int32_t mode = 1;
    /// Accuracy of the winding number: a group of triangles is far when it is farther than so many times its
    /// radius.
    double beta = 2.0;

    /// What a query leaves for the next one, at a point nearby. It makes that one faster and changes no
    /// result. A new one serves any point; one trail belongs to one field, as it is set up, and one thread.
    struct Trail {
        Vector3 point{};
        std::int32_t triangle = -1;
        /// The last ones found for points far from the surface, outside and inside, and for points near it.
        std::array<SideBall, 2> far{};
        std::array<SideBall, 2> near{};
    };

    /// Takes a mesh over, builds all on several threads and returns when they are done.
    ///
    /// @param vertices  three coordinates a vertex.
    /// @param indices   three vertices a triangle, counter-clockwise as seen from outside; each in range. One
    ///                  or two at the end that make no whole triangle take no part.
    /// Throws std::invalid_argument when there is no triangle.
    MeshWindingField(std::vector<double> vertices, std::vector<std::int32_t> indices);
    MeshWindingField(const MeshWindingField&) = delete;
    MeshWindingField& operator=(const MeshWindingField&) = delete;

    std::int32_t vertexCount() const { return _bvh.vertexCount; }
    std::int32_t triangleCount() const { return _bvh.primitiveCount; }
    const std::vector<double>& vertices() const { return _vertices; }
    const BVH<double, 3, 3>& bvh() const { return _bvh; }

    /// Whether the triangles run along every edge as often in one direction as in the other. If so, the
    /// winding number changes nowhere but across a triangle.
    bool isClosed() const { return _isClosed; }

    /// Distance to the nearest triangle; the largest double for points that aren't finite and for meshes
    /// without a finite triangle.
    double meshDistance(const Vector3& point) const { return _search->nearest(point).distance; }
    /// The same for one point after the other, each near the one before.
    double meshDistance(const Vector3& point, Trail& trail) const;
    /// The winding number by the hierarchy, with `order` and `beta`.
    double windingNumber(const Vector3& point) const
    {
        return zrk::windingNumber(_bvh, *_moments, point, order, beta);
    }
    /// Distance, negative where the winding number exceeds a half.
    double signedDistance(const Vector3& point) const;
    /// The same for one point after the other, each near the one before.
    double signedDistance(const Vector3& point, Trail& trail) const;
    /// What `mode` asks for.
    double value(const Vector3& point) const;
    /// The same for one point after the other, each near the one before.
    double value(const Vector3& point, Trail& trail) const;

    /// Bounds of `value` over a box of positions: by its value at the centre, as a distance changes by at
    /// most as much as the position moves. Where the winding number isn't tied to the surface, in open meshes
    /// and with a coarse `order` or `beta`, either sign is possible. Entire for meshes that aren't finite.
    Interval<double> bounds(const CentredBox& box, Trail& trail) const;

    /// The record of inner node `index` of the hierarchy or, with n triangles, of triangle `index - (n - 1)`.
    /// Not kept as a whole: takes O(triangles below the node).
    WindingMoments moments(std::int32_t index) const { return _moments->record(_bvh, index); }

    /// The memory that it takes beside vertices and indices.
    std::size_t bytes() const;

private:
    MeshWindingField(std::vector<double>&& vertices, std::vector<std::int32_t>&& indices,
                     const ThreadPool& builders);

    std::vector<double> _vertices;
    std::vector<std::int32_t> _indices;
    BVH<double, 3, 3> _bvh;
    std::optional<MeshMoments> _moments;   ///< there once the hierarchy is
    std::optional<TriangleSearch> _search; ///< likewise
    std::optional<WindingEstimate> _estimate;
    std::optional<SideTable> _sides; ///< of a closed mesh
    bool _isClosed;
    double _nearSurface; ///< at smaller distances the estimate of the winding number isn't good enough

    mutable std::once_flag _errorFlag;
    mutable double _error = 0.0; ///< set under `_errorFlag`

    TriangleSearch::Nearest nearest(const Vector3& point, const Trail& trail) const;
    double distanceError() const;
    bool isAccurate() const;
    bool hasSides() const;
    bool isInside(const Vector3& point, const TriangleSearch::Nearest& found, Trail& trail) const;
    bool isInsideFar(const Vector3& point, double distance, Trail& trail) const;
    std::optional<SideBall> ballBeside(const Vector3& point, const TriangleSearch::Nearest& found,
                                       const Trail& trail) const;
    bool isInsideByWinding(const Vector3& point, double distance) const;
};

} // namespace zrk

#pragma once

#include "core/mesh/beams/capsule.h"
#include "core/mesh/search/bvh.h"
#include "core/values/export.h"
#include "core/values/tensor.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace zrk {

class BeamField;

/// Nodes at regular distances, for a lattice of beams along the axes.
struct LatticeGrid {
    Tensor<3, double> origin;
    Tensor<3, double> spacing; ///< may be negative, and 0 on a flat axis
    std::int32_t cells;        ///< along each axis; there is one node more

    /// From corner to corner in so many nodes; the lattice over it runs one cell past the upper corner.
    static LatticeGrid between(const Tensor<3, double>& lower, const Tensor<3, double>& upper,
                               std::int32_t nodes);
    /// Coordinate of a node on an axis.
    template <class V>
    V coordinate(std::size_t axis, V node) const
    {
        return node * spacing[axis] + origin[axis];
    }
};

/// A lattice of beams of one radius, with all that answers for its distance. Without beams neither
/// `bvh` nor `field` is there.
///
/// Copies share `bvh`, which refers to the vertices and edges of the data that it was built in: these must
/// outlive it. `field` holds all it needs.
struct ZRK_API BeamCacheData {
    std::int32_t vertexCount = 0;        ///< of an imported mesh; 0 for a grid
    std::vector<double> vertices;        ///< three a vertex
    std::int32_t triangleCount = 0;      ///< of an imported mesh
    std::vector<std::int32_t> triangles; ///< three vertices each, of an imported mesh
    std::vector<std::int32_t> edges;     ///< two vertices a beam
    double radius = 0.0;                 ///< model units
    std::shared_ptr<BVH<double, 2, 3>> bvh;
    std::shared_ptr<const BeamField> field;

    /// The beams between neighbouring nodes of a grid, 3 c (c + 1)^2 for c cells, along x first, then y, then
    /// z at each node. The radius is 0.35 times the largest spacing.
    static std::shared_ptr<BeamCacheData> ofGrid(const LatticeGrid& grid);
    /// The edges of triangles, each once, in ascending order; the radius is 0.001.
    ///
    /// @param vertices   three coordinates each.
    /// @param triangles  indices, three a triangle, all in range; what goes beyond whole triangles is unused.
    static std::shared_ptr<BeamCacheData> ofEdges(std::vector<double> vertices,
                                                  std::vector<std::int32_t> triangles);

    std::int32_t beamCount() const { return static_cast<std::int32_t>(edges.size() / 2); }
    Capsule<double> beam(std::int32_t index) const;

private:
    void makeNodes(const LatticeGrid& grid);
    void makeGridEdges(std::int32_t cells);
    bool makeEdgeTable();
    bool makeBVH();
    void makeField(const LatticeGrid* grid);
};

} // namespace zrk

#pragma once

#include "core/engine/keep_going.h"
#include "core/surface/surface.h"
#include "core/values/export.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace zrk {

/// What a mesh is worth. Counts are exact, measures in model units.
struct MeshReport {
    std::size_t vertexCount = 0;
    std::size_t triangleCount = 0;

    std::size_t openEdges = 0;           ///< in one triangle only
    std::size_t overusedEdges = 0;       ///< in more than two triangles
    std::size_t turnedEdges = 0;         ///< in two triangles that run along it in the same direction
    std::size_t pinchedVertices = 0;     ///< whose triangles form more than one fan
    std::size_t degenerateTriangles = 0; ///< with a corner twice, or all corners on one line
    std::size_t selfIntersections =
        0; ///< pairs of triangles that meet elsewhere than in common corners and edges

    std::size_t componentCount = 0;
    /// Components of a closed mesh that are turned inwards and lie in the box of no other one, as a cavity
    /// would. Counted where no edge is turned.
    std::size_t inwardComponents = 0;
    std::int64_t genus = 0; ///< handles of all components together; meaningful for a closed manifold

    double volume = 0; ///< enclosed; positive where triangles are oriented outwards
    double area = 0;
    double shortestEdge = 0;
    double smallestAngleDegrees = 0;
    std::size_t sharpEdges = 0; ///< between two triangles whose normals differ by 30 degrees or more
    double sharpEdgeLength = 0; ///< of all of them

    bool isClosed() const { return openEdges == 0; }
    bool isManifold() const { return overusedEdges == 0 && pinchedVertices == 0; }
    bool isOutwards() const { return turnedEdges == 0 && inwardComponents == 0; }
    /// Fit to be printed.
    bool isClean() const
    {
        return triangleCount > 0 && isClosed() && isManifold() && isOutwards() && degenerateTriangles == 0 &&
               selfIntersections == 0;
    }
};

/// Looks a mesh over. Self-intersections are found by exact predicates, among triangles whose boxes meet.
/// Precondition: the triangles' indices lie within the vertices, whose coordinates are finite.
ZRK_API MeshReport reportOn(const SurfaceMesh& mesh);
/// The same, followed; nothing if it was stopped. It isn't asked while edges are sorted, which takes a second
/// for some ten million; a StopScope is.
ZRK_API std::optional<MeshReport> reportOn(const SurfaceMesh& mesh, const KeepGoing& keepGoing);

/// How far a mesh is from the surface of its field, in model units by the field's value over its gradient.
struct DistanceError {
    double vertexRms = 0;
    double vertexLargest = 0;
    double centroidRms = 0;
    double centroidLargest = 0;
};

/// @param settings  what the mesh was made with: the iso value counts, and vertices and triangles on the cut
///                  at the bounds are left out, as they lie within the solid.
/// Returns nothing if it was stopped.
ZRK_API std::optional<DistanceError> distanceError(const SurfaceMesh& mesh, const PreparedField& field,
                                                   const SurfaceSettings& settings,
                                                   const KeepGoing& keepGoing = {});

/// Cells without a crossed edge which the field's bounds can't prove to be free of the surface: it may bulge
/// into them, or they may hold a feature that is smaller than a cell. None where the field can't be bounded
/// at some place or where it was stopped. Costs some hundred bounds for each leaf of 8^3 cells with a
/// surface.
ZRK_API std::optional<std::size_t> countDoubtfulCells(const PreparedField& field,
                                                      const SurfaceSettings& settings,
                                                      const KeepGoing& keepGoing = {});

} // namespace zrk

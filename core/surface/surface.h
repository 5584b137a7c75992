#pragma once

#include "core/engine/prepared_field.h"
#include "core/values/export.h"
#include "core/values/tensor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace zrk {

class ProgressMonitor;

/// Triangles over shared vertices; positions in model units. Seen from outside, the corners of a triangle run
/// counterclockwise.
struct SurfaceMesh {
    std::vector<Tensor<3, double>> vertices;
    std::vector<std::array<std::uint32_t, 3>> triangles;
    /// Samples of the field that were NaN, which counts as outside: 0 where it has values wherever it was
    /// asked for them.
    std::uint64_t undefinedSamples = 0;
    std::uint64_t leaves = 0;        ///< boxes of 8^3 cells that the bounds consist of
    std::uint64_t sampledLeaves = 0; ///< those that the field's bounds couldn't rule out
};

/// Which side of the iso value is solid: the values below it, as for a distance, or those above it, as for a
/// density.
enum class SolidSide { Below, Above };

struct SurfaceSettings {
    Tensor<3, double> lower{}; ///< corners of the bounds, model units
    Tensor<3, double> upper{1, 1, 1};
    std::array<std::int32_t, 3> cells{64, 64, 64}; ///< along each axis of the bounds, at least 1
    double iso = 0;
    SolidSide solid = SolidSide::Below;
    bool keepsCreases = false; ///< edges and corners stay sharp; otherwise they are rounded within a cell
    bool isOpen = false;       ///< the surface ends at the bounds with an open edge; else it is closed there
    double flatness =
        0; ///< triangles are joined where the surface stays within this, model units; 0: nowhere
    std::size_t threads = 0; ///< 0: as many as there are processors
};

/// The surface of a scalar field at an iso value: closed, every edge in two triangles, oriented outwards, and
/// without triangles that pass through each other. The solid is cut off at the bounds and closed there.
///
/// Dual marching cubes on a uniform grid: one vertex for each piece of surface in a cell, placed by the
/// tangent planes at the crossings of the cell's edges; polygons as described at `surface::LeafPolygons`. The
/// bounds lie in the middle of cells. Boxes that the field's bounds prove to be free of the surface aren't
/// sampled. With a flatness, triangles are joined afterwards as described at `surface::thinMesh`.
///
/// An open surface ends at the bounds: its rim lies on them, or within half a cell where the cells there hold
/// several pieces of surface, and each edge of the rim is in one triangle.
///
/// The result depends on the field and the settings only: the same bytes for any number of threads. NaN and
/// the iso value itself count as outside; weights take no part. Features thinner than a cell may be missed. A
/// field without a surface in the bounds gives no triangle, and one that is solid all over gives the bounds
/// themselves.
///
/// Memory beside the mesh: that of extractSurfacePieces(). A flatness needs the whole mesh before it is
/// thinned, half as much again, and the triangles of a block of 64^3 cells for each thread.
///
/// @param monitor  may be null. Nothing is returned when it interrupts, which is asked at least every few
///                 tens of milliseconds, or after some ten thousand samples where a sample takes longer.
/// Throws FaultError for more than 4294967295 vertices.
///
/// Source: Nielson, "Dual marching cubes", IEEE Visualization 2004; Schaefer, Ju, Warren, "Manifold dual
/// contouring", IEEE Transactions on Visualization and Computer Graphics 13(3), 2007; Ju, Udeshi,
/// "Intersection-free contouring on an octree grid", Pacific Graphics 2006.
ZRK_API std::optional<SurfaceMesh> extractSurface(const PreparedField& field, const SurfaceSettings& settings,
                                                  ProgressMonitor* monitor = nullptr);

/// Layers of leaves, the boxes of 8^3 cells that a surface is found in, across z.
struct SurfaceLayers {
    std::int32_t first;
    std::int32_t end;
};
/// All layers of a surface; their number depends on the cells along z alone.
ZRK_API SurfaceLayers allLayers(const SurfaceSettings& settings);

/// Vertices and triangles that follow those of the piece before. Corners are numbers of vertices, counted
/// from the first vertex of the layers that are extracted: those below 0 stand in the layer beneath.
struct SurfacePiece {
    std::span<const Tensor<3, double>> vertices;
    std::span<const std::array<std::int64_t, 3>> triangles;
    double done; ///< share of the work, this piece included
};
/// Where pieces go; called on the thread that asked for them. False when no more can be taken.
using SurfaceSink = std::function<bool(const SurfacePiece& piece)>;

/// Whether boxes that the field's bounds prove to be free of the surface are left out.
enum class SurfacePruning { ByBounds, None };

/// What was done for the pieces of a surface.
struct SurfaceWork {
    std::uint64_t undefinedSamples = 0; ///< see SurfaceMesh
    std::uint64_t leaves = 0;           ///< in the layers
    std::uint64_t sampledLeaves = 0;    ///< those that the bounds couldn't rule out
};

enum class SurfaceEnd {
    Complete,
    Stopped,     ///< by the monitor or the sink
    WrongBounds, ///< the field's bounds had excluded a leaf that the surface passes into
};

/// The surface as extractSurface() finds it, piece by piece, without being held: the pieces of all layers are
/// the bytes of the whole, and so are those of some layers after those of the layers before. A surface that
/// is open or thinned needs the whole mesh and isn't made here: `isOpen` and `flatness` are the
/// precondition's false and 0.
///
/// After WrongBounds, what went to the sink isn't the surface; without pruning it is found.
///
/// Memory: some rows of leaves, 15 KB for each that holds a piece of the surface, of the layer beneath 40
/// bytes for each cell that the surface passes into this layer through, and 32 bytes for a million leaves at
/// most. Layers that don't begin with the first cost the work of two more, which are built anew. Throws, and
/// asks the monitor, as extractSurface() does, but for the number of vertices, which isn't limited.
ZRK_API SurfaceEnd extractSurfacePieces(const PreparedField& field, const SurfaceSettings& settings,
                                        SurfaceLayers layers, SurfacePruning pruning, const SurfaceSink& sink,
                                        SurfaceWork& work, ProgressMonitor* monitor = nullptr);

} // namespace zrk

#pragma once

#include <array>
#include <cstdint>

namespace zrk::surface {

// A cell is a box between eight nodes. Corner c lies at the upper end of axis i where bit i of c is set. Edge
// 4 a + u + 2 v runs along axis a; u and v tell whether it lies at the upper end of the axes after a, in the
// order x, y, z, x. Face 2 a + s is the lower (s = 0) or upper one across axis a.

inline constexpr std::uint8_t kNoPatch = 0xff;

/// The lower one of the two corners of an edge; the upper one has the bit of the edge's axis set.
constexpr int lowerCorner(int edge)
{
    const int axis = edge / 4;
    return (edge & 1) << (axis + 1) % 3 | (edge >> 1 & 1) << (axis + 2) % 3;
}
constexpr int upperCorner(int edge) { return lowerCorner(edge) | 1 << edge / 4; }

/// The edges between corners on two sides, a bit each; bit c of `inside` is set where corner c is inside.
inline unsigned crossedEdges(std::uint8_t inside)
{
    static constexpr std::array<std::uint16_t, 256> kTable = [] {
        std::array<std::uint16_t, 256> all{};
        for (unsigned corners = 0; corners < 256; ++corners) {
            for (int edge = 0; edge < 12; ++edge) {
                const bool isCrossed =
                    (corners >> lowerCorner(edge) & 1) != (corners >> upperCorner(edge) & 1);
                all[corners] = static_cast<std::uint16_t>(all[corners] | (isCrossed ? 1u : 0u) << edge);
            }
        }
        return all;
    }();
    return kTable[inside];
}

/// The corners and edges of a face, in the order around it, from the corner at the lower end of both its
/// axes.
struct FaceCorners {
    std::array<int, 4> corner; ///< in the order around the face
    std::array<int, 4> edge;   ///< edge k lies between corners k and k + 1
};
const FaceCorners& faceCorners(int face);

/// The faces with two opposite corners inside and the other two outside, a bit each.
unsigned ambiguousFaces(std::uint8_t inside);
inline bool isAmbiguous(int face, std::uint8_t inside) { return (ambiguousFaces(inside) >> face & 1) != 0; }

/// The edge of `face` that the surface joins to the crossed edge `edge` on that face.
///
/// @param inside          bit c is set where corner c of the cell is inside.
/// @param centerIsInside  decides between the two ways to join four crossed edges.
int partnerEdge(int face, int edge, std::uint8_t inside, bool centerIsInside);

/// How the surface falls into separate patches within one cell.
struct CellPatches {
    std::array<std::uint8_t, 12> patchOf; ///< patch of each edge, kNoPatch where it isn't crossed
    std::uint8_t count;                   ///< 0 to 4
};

/// By the corners that are inside: whether the cell has one patch, and no face is ambiguous.
extern const std::array<bool, 256> kIsSimpleCell;

/// Patches by the signs at the corners and, in bit f of `faceCenters`, whether the centre of the ambiguous
/// face f is inside; the other faces' bits take no part.
///
/// Source: the pairing on faces by a decider is that of Nielson, Hamann, "The asymptotic decider",
/// Visualization 1991; here the sampled value at the face's centre decides, which both cells of the face see
/// alike.
const CellPatches& cellPatches(std::uint8_t inside, std::uint8_t faceCenters);

} // namespace zrk::surface

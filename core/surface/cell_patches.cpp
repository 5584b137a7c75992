#include "core/surface/cell_patches.h"

#include <memory>

namespace zrk::surface {

namespace {

constexpr FaceCorners makeFaceCorners(int face)
{
    const int axis = face / 2;
    const int u = (axis + 1) % 3;
    const int v = (axis + 2) % 3;
    const int base = (face & 1) << axis;
    FaceCorners corners{};
    corners.corner = {base, base | 1 << u, base | 1 << u | 1 << v, base | 1 << v};
    for (std::size_t k = 0; k < 4; ++k) {
        for (int edge = 0; edge < 12; ++edge) {
            const int a = corners.corner[k];
            const int b = corners.corner[(k + 1) % 4];
            if ((lowerCorner(edge) == a && upperCorner(edge) == b) ||
                (lowerCorner(edge) == b && upperCorner(edge) == a)) {
                corners.edge[k] = edge;
            }
        }
    }
    return corners;
}

constexpr std::array<FaceCorners, 6> kCorners{makeFaceCorners(0), makeFaceCorners(1), makeFaceCorners(2),
                                              makeFaceCorners(3), makeFaceCorners(4), makeFaceCorners(5)};

constexpr bool isInside(std::uint8_t inside, int corner) { return (inside >> corner & 1) != 0; }

constexpr bool isCrossed(std::uint8_t inside, int edge)
{
    return isInside(inside, lowerCorner(edge)) != isInside(inside, upperCorner(edge));
}

constexpr std::array<std::uint8_t, 256> kAmbiguousFaces = [] {
    std::array<std::uint8_t, 256> all{};
    for (unsigned corners = 0; corners < 256; ++corners) {
        for (unsigned face = 0; face < 6; ++face) {
            const auto isIn = [&](std::size_t k) { return (corners >> kCorners[face].corner[k] & 1) != 0; };
            const bool isOne = isIn(1) != isIn(0) && isIn(2) == isIn(0) && isIn(3) != isIn(0);
            all[corners] = static_cast<std::uint8_t>(all[corners] | (isOne ? 1u : 0u) << face);
        }
    }
    return all;
}();

constexpr int partner(int face, int edge, std::uint8_t inside, bool centerIsInside)
{
    const FaceCorners& corners = kCorners[static_cast<std::size_t>(face)];
    std::size_t place = 0;
    while (corners.edge[place] != edge) {
        ++place;
    }
    if ((kAmbiguousFaces[inside] >> face & 1) == 0) {
        for (std::size_t k = 0; k < 4; ++k) {
            if (k != place && isCrossed(inside, corners.edge[k])) {
                return corners.edge[k];
            }
        }
        return edge;
    }
    // The corners that agree with the centre are joined across it, and each of the others is cut off by
    // itself: the two edges at such a corner belong together. Edge k lies between corners k and k + 1.
    const bool firstIsCutOff = isInside(inside, corners.corner[place]) != centerIsInside;
    return corners.edge[(place + (firstIsCutOff ? 3 : 1)) % 4];
}

constexpr CellPatches makePatches(std::uint8_t inside, std::uint8_t faceCenters)
{
    CellPatches patches{};
    patches.patchOf.fill(kNoPatch);
    for (int start = 0; start < 12; ++start) {
        if (!isCrossed(inside, start) || patches.patchOf[static_cast<std::size_t>(start)] != kNoPatch) {
            continue;
        }
        // Round the cycle: leave each edge over the face that it wasn't entered by.
        int edge = start;
        int enteredBy = -1;
        do {
            patches.patchOf[static_cast<std::size_t>(edge)] = patches.count;
            for (int face = 0; face < 6; ++face) {
                const auto& edges = kCorners[static_cast<std::size_t>(face)].edge;
                const bool holds =
                    edges[0] == edge || edges[1] == edge || edges[2] == edge || edges[3] == edge;
                if (holds && face != enteredBy) {
                    edge = partner(face, edge, inside, (faceCenters >> face & 1) != 0);
                    enteredBy = face;
                    break;
                }
            }
        } while (edge != start);
        ++patches.count;
    }
    return patches;
}

} // namespace

const FaceCorners& faceCorners(int face) { return kCorners[static_cast<std::size_t>(face)]; }

unsigned ambiguousFaces(std::uint8_t inside) { return kAmbiguousFaces[inside]; }

int partnerEdge(int face, int edge, std::uint8_t inside, bool centerIsInside)
{
    return partner(face, edge, inside, centerIsInside);
}

constinit const std::array<bool, 256> kIsSimpleCell = [] {
    std::array<bool, 256> all{};
    for (unsigned corners = 0; corners < 256; ++corners) {
        all[corners] =
            kAmbiguousFaces[corners] == 0 && makePatches(static_cast<std::uint8_t>(corners), 0).count == 1;
    }
    return all;
}();

const CellPatches& cellPatches(std::uint8_t inside, std::uint8_t faceCenters)
{
    static const std::unique_ptr<CellPatches[]> table = [] {
        auto all = std::make_unique<CellPatches[]>(256 * 64);
        for (unsigned corners = 0; corners < 256; ++corners) {
            for (unsigned centers = 0; centers < 64; ++centers) {
                all[corners * 64 + centers] =
                    makePatches(static_cast<std::uint8_t>(corners), static_cast<std::uint8_t>(centers));
            }
        }
        return all;
    }();
    return table[static_cast<std::size_t>(inside) * 64 + faceCenters];
}

} // namespace zrk::surface

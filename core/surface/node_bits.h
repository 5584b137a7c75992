#pragma once

#include "core/surface/surface_grid.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace zrk::surface {

/// A bit for each node of a leaf, by its place, see `nodePlace`.
class NodeBits {
public:
    static constexpr std::size_t kWords = (kNodesOfLeaf + 63) / 64;
    /// From a node to the next one along each axis.
    static constexpr std::array<std::uint32_t, 3> kStride{1, kLeafNodes, kLeafNodes* kLeafNodes};

    constexpr void set(std::size_t node) { _words[node / 64] |= std::uint64_t{1} << node % 64; }
    constexpr bool operator[](std::size_t node) const { return (_words[node / 64] >> node % 64 & 1) != 0; }
    /// Sets eight nodes in sequence, of which the first one's place is a multiple of 8.
    void setEight(std::size_t node, unsigned bits) { _words[node / 64] |= std::uint64_t{bits} << node % 64; }
    /// The bits of the nodes from one on, at least 57 of them; those beyond the last node are 0.
    std::uint64_t from(std::size_t node) const
    {
        const std::size_t word = node / 64;
        const std::size_t bit = node % 64;
        return _words[word] >> bit | _words[word + 1] << 1 << (63 - bit);
    }
    /// Each node has the bit of the one that lies so many places after it.
    NodeBits after(std::size_t places) const
    {
        NodeBits all;
        for (std::size_t w = 0; w + places / 64 < kWords; ++w) {
            all._words[w] = from(w * 64 + places);
        }
        return all;
    }

    bool areNone() const
    {
        std::uint64_t some = 0;
        for (std::size_t w = 0; w < kWords; ++w) {
            some |= _words[w];
        }
        return some == 0;
    }
    std::size_t count() const
    {
        std::size_t all = 0;
        for (std::size_t w = 0; w < kWords; ++w) {
            all += static_cast<std::size_t>(std::popcount(_words[w]));
        }
        return all;
    }
    /// Calls found(node) for each bit that is set, in ascending order.
    template <class Found>
    void forEach(const Found& found) const
    {
        for (std::size_t w = 0; w < kWords; ++w) {
            for (std::uint64_t bits = _words[w]; bits != 0; bits &= bits - 1) {
                found(static_cast<std::uint32_t>(w * 64) +
                      static_cast<std::uint32_t>(std::countr_zero(bits)));
            }
        }
    }

    friend constexpr NodeBits operator&(const NodeBits& a, const NodeBits& b)
    {
        return merged(a, b, [](std::uint64_t x, std::uint64_t y) { return x & y; });
    }
    friend constexpr NodeBits operator|(const NodeBits& a, const NodeBits& b)
    {
        return merged(a, b, [](std::uint64_t x, std::uint64_t y) { return x | y; });
    }
    friend constexpr NodeBits operator^(const NodeBits& a, const NodeBits& b)
    {
        return merged(a, b, [](std::uint64_t x, std::uint64_t y) { return x ^ y; });
    }
    friend constexpr bool operator==(const NodeBits&, const NodeBits&) = default;

    /// The nodes whose numbers along the axes wanted(i, j, k) says yes to.
    template <class Wanted>
    static constexpr NodeBits where(const Wanted& wanted)
    {
        NodeBits all;
        std::size_t node = 0;
        for (std::int32_t k = 0; k < kLeafNodes; ++k) {
            for (std::int32_t j = 0; j < kLeafNodes; ++j) {
                for (std::int32_t i = 0; i < kLeafNodes; ++i, ++node) {
                    if (wanted(i, j, k)) {
                        all.set(node);
                    }
                }
            }
        }
        return all;
    }

private:
    std::array<std::uint64_t, kWords + 1> _words{}; ///< the last one is 0

    template <class Merge>
    static constexpr NodeBits merged(const NodeBits& a, const NodeBits& b, const Merge& merge)
    {
        NodeBits all;
        for (std::size_t w = 0; w < kWords; ++w) {
            all._words[w] = merge(a._words[w], b._words[w]);
        }
        return all;
    }
};

/// The node along each axis at which a leaf is cut into its eight parts.
inline constexpr std::int32_t kMiddleNode = kLeafCells / 2;

/// Whether a node lies in a part of a leaf, on its faces included.
constexpr bool isInPart(std::size_t part, std::int32_t i, std::int32_t j, std::int32_t k)
{
    const auto isIn = [part](std::size_t axis, std::int32_t along) {
        return (part >> axis & 1) != 0 ? along >= kMiddleNode : along <= kMiddleNode;
    };
    return isIn(0, i) && isIn(1, j) && isIn(2, k);
}

/// The nodes at the lower corners of a leaf's cells.
inline constexpr NodeBits kLowerCorners = NodeBits::where([](std::int32_t i, std::int32_t j, std::int32_t k) {
    return i < kLeafCells && j < kLeafCells && k < kLeafCells;
});

/// Edges along an axis between nodes on two sides, a bit for the lower node of each.
inline NodeBits crossedAlong(const NodeBits& inside, std::size_t axis)
{
    static constexpr std::array<NodeBits, 3> kLowerNodes{
        NodeBits::where([](std::int32_t i, std::int32_t, std::int32_t) { return i < kLeafCells; }),
        NodeBits::where([](std::int32_t, std::int32_t j, std::int32_t) { return j < kLeafCells; }),
        NodeBits::where([](std::int32_t, std::int32_t, std::int32_t k) { return k < kLeafCells; })};
    return (inside ^ inside.after(NodeBits::kStride[axis])) & kLowerNodes[axis];
}

/// Numbers of a node along the axes, from its place.
inline const std::array<std::uint8_t, 3>& indexOfNode(std::uint32_t node)
{
    static constexpr auto kTable = [] {
        std::array<std::array<std::uint8_t, 3>, kNodesOfLeaf> all{};
        for (std::size_t n = 0; n < kNodesOfLeaf; ++n) {
            all[n] = {static_cast<std::uint8_t>(n % kLeafNodes),
                      static_cast<std::uint8_t>(n / kLeafNodes % kLeafNodes),
                      static_cast<std::uint8_t>(n / (kLeafNodes * kLeafNodes))};
        }
        return all;
    }();
    return kTable[node];
}

} // namespace zrk::surface

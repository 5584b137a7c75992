#pragma once

#include <QPointF>
#include <QSizeF>

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace zrkworkbench {

/// Places nodes in columns by how many nodes feed them in a row, so that wires lead from left to right.
/// Parts that don't hang together stand beneath each other, and many of them side by side. Within a column
/// nodes are ordered so that few wires cross, and each lies level with what it is linked with.
///
/// @param sizes  of the nodes, by id.
/// @param links  from a node to a node; those of unknown nodes are left out of account. No cycles.
/// @returns the upper left corner of each, on the raster of 16; the first column begins at 0.
///
/// Source of the order: Sugiyama, Tagawa, Toda, "Methods for visual understanding of hierarchical system
/// structures", IEEE Transactions on Systems, Man, and Cybernetics 11(2), 1981: its barycentre sweeps.
std::map<std::uint16_t, QPointF>
layoutNodes(const std::map<std::uint16_t, QSizeF>& sizes,
            const std::vector<std::pair<std::uint16_t, std::uint16_t>>& links);

} // namespace zrkworkbench

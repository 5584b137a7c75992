#pragma once

#include "core/values/export.h"
#include "host/graph_document.h"

#include <string>

namespace zrkmodel {

/// The graph of a document as an SVG 1.1 picture: a box for each node with its pins and with the values that
/// aren't a fresh node's, and a wire for each link in the colour of the tag that it carries. What feeds a
/// node stands left of it, a column for each step from the nodes that nothing feeds.
///
/// The same document gives the same bytes. Time grows little faster than the number of nodes and links.
///
/// Source of the layout: Sugiyama, Tagawa, Toda, "Methods for visual understanding of hierarchical system
/// structures", IEEE Transactions on Systems, Man, and Cybernetics 11(2), 1981: layers by the longest way,
/// lanes for wires that pass a layer, and some sweeps that sort each layer by the mean place of its
/// neighbours.
ZRK_API std::string graphPicture(const GraphDocument& document);

} // namespace zrkmodel

#pragma once

#include "core/values/fault.h"
#include "model/json.h"

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

namespace zrkmodel {

// Fragments of documents, as the clipboard has them: documents with some nodes, the links between these and
// the resources that they use. "outerLinks" are those from other nodes; "base" is the folder that paths start
// from.

/// The fragment of a document that has some of its nodes.
///
/// @param base  the folder of the document, a whole path.
ZRKJson fragmentOf(const ZRKJson& document, const std::set<std::uint16_t>& nodes, const std::string& base);

/// Reads a fragment, or a document. What its nodes, links and resources look like is checked as far as that
/// ids and pins are numbers and links stay within the fragment; a fault names what was found and a remedy,
/// and for a newer format both versions.
zrk::Result<ZRKJson> readFragment(const std::string& text);

/// Has the paths of a fragment start from a folder instead of its own base.
void rebasePaths(ZRKJson& fragment, const std::filesystem::path& folder);

/// Whether two entries of "resources" say the same but for the spelling of their uuid.
bool isSameResource(const ZRKJson& a, const ZRKJson& b);

/// Whether a member is a pair of small whole numbers, such as the end of a link.
bool isPinPair(const ZRKJson& link, const char* key);

/// Moves a node's entry on the canvas, if it has a position there.
void shiftPosition(ZRKJson& entry, double dx, double dy);

} // namespace zrkmodel

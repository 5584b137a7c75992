#pragma once

#include "core/values/fault.h"
#include "host/editing/edit_session.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace zrkworkbench {

enum class DroppedKind { Document, Picture, Volume, Mesh, Unknown };

/// Whether a name is that of a document; doesn't look at the file.
bool isDocumentName(const std::filesystem::path& path);
/// What a file, or a folder, is by its name: a folder is a volume of slices. Looks whether it is a folder.
DroppedKind kindOf(const std::filesystem::path& path);

/// A file that was read for a document, apart from it.
struct ReadFile {
    std::filesystem::path path;
    DroppedKind kind = DroppedKind::Unknown;
    /// A document of the node that shows it, with the resource that it needs; a fault for what can't be read.
    zrk::Result<zrkmodel::GraphDocument> part;
    zrkmodel::DocumentWarnings warnings{};
};

/// Reads a picture, a volume or a mesh. Takes long for large ones; on any thread.
///
/// @param document  name of the document that it is for; the file is named from its folder.
/// @param unit      of that document, such as "mm"; may be empty.
ReadFile readFile(const std::filesystem::path& path, const std::string& document, const std::string& unit,
                  const zrkmodel::LoadSettings& load);

/// Adds the nodes that show files, one beneath the other, in one step, and selects them. In a document
/// without nodes the bounds become those of what the first one shows, and that is the output.
///
/// @param files     each with a part.
/// @param position  of the first one.
/// @return the nodes, in the order of the files; a fault changes nothing.
zrk::Result<std::vector<std::uint16_t>> addFiles(zrkmodel::EditSession& session, std::vector<ReadFile> files,
                                                 std::array<double, 2> position);

} // namespace zrkworkbench

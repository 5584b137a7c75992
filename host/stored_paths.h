#pragma once

#include "model/json.h"

#include <filesystem>

namespace zrkmodel {

// The paths that documents store start from the folder of the document. When it moves, they are written so
// that they lead where they did. Folders are whole paths.

/// The shortest way to write a whole path from a folder. Links are followed where ".." would lead elsewhere.
std::string pathFrom(const std::filesystem::path& folder, const std::filesystem::path& path);

/// Has the paths that an entry of "nodes" or "resources" names start from another folder.
void rebaseEntry(ZRKJson& entry, const std::filesystem::path& from, const std::filesystem::path& to);

/// The same for a path, a list of paths, or what else "import" may be.
void rebaseImport(ZRKJson& value, const std::filesystem::path& from, const std::filesystem::path& to);

/// The same for all entries of a document.
void rebaseDocument(ZRKJson& document, const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace zrkmodel

#pragma once

#include "core/values/export.h"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace zrkmodel {

/// Where the paths lead that stand in a document: resources, meshes and imports.
class ZRK_API DocumentPaths {
public:
    /// @param folder      the document's, that relative paths start from.
    /// @param isConfined  refuse what lies outside of the folder, also by way of links.
    /// @param found       told of each path that is asked for; may be null.
    DocumentPaths(std::filesystem::path folder, bool isConfined = false,
                  std::vector<std::filesystem::path>* found = nullptr)
        : _folder(std::move(folder)), _isConfined(isConfined), _found(found)
    {}

    const std::filesystem::path& folder() const { return _folder; }

    /// Returns the path of a file, or of a folder of slices. Where paths are confined, one that leads out of
    /// the document's folder throws a FaultError, and so does a folder with a slice that does.
    /// @param place  where the path stands, for the message.
    ///
    /// Links are followed when this is asked. Who may change the folder's links afterwards, before the file
    /// is read, can lead it elsewhere: documents that aren't trusted lie in a folder of which only you may
    /// change the entries.
    std::filesystem::path find(const std::string& path, const std::string& place) const;

private:
    std::filesystem::path _folder;
    bool _isConfined;
    std::vector<std::filesystem::path>* _found;

    void refuseOutside(const std::filesystem::path& file, const std::string& path,
                       const std::string& place) const;
};

} // namespace zrkmodel

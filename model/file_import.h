#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// A component that takes data from files which its stored values don't hold: a mesh, the slices of a scan.
class ZRKFileImport {
public:
    virtual ~ZRKFileImport() = default;

    /// Does what the component's import button does with the files. What can't be read follows the
    /// component's own rule, and so does what evaluators that are built already compute with. A run under
    /// way isn't touched.
    /// @param monitor  told of the progress, may stop the import, which then changes nothing; may be null.
    /// @return empty when all went well, else what was found, where, and what would be right.
    virtual std::string importFiles(const std::vector<std::filesystem::path>& paths,
                                    zrk::ProgressMonitor* monitor) = 0;
};

} // namespace zrkmodel

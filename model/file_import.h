#pragma once

#include "core/values/fault.h"

#include <filesystem>
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
    /// @return a fault of the kind BadInput where something of the files was left out, which the remedy
    /// tells; Interrupted when the monitor stopped the import; FailedWork when the data are too large. Lack
    /// of memory may also be thrown.
    virtual zrk::Result<void> importFiles(const std::vector<std::filesystem::path>& paths,
                                          zrk::ProgressMonitor* monitor) = 0;
};

} // namespace zrkmodel

#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "model/file_import.h"
#include "model/json.h"

#include <string>
#include <vector>

namespace zrkmodel {

/// What stands under a node's "import".
struct ImportEntry {
    std::vector<std::string> paths; ///< one at least
    ZRKImportOptions options;       ///< without a unit
};

/// Reads a path, an array of paths, or an object with one of these as "path" and options beside it. A value
/// that isn't one of an option's is warned of, and the default is taken; members that aren't known are left
/// alone. Throws FaultError where there is no path.
/// @param place     of the entry, for messages.
/// @param warnings  appended to.
ZRK_API ImportEntry readImportEntry(const ZRKJson& entry, const std::string& place,
                                    std::vector<zrk::Fault>& warnings);

} // namespace zrkmodel

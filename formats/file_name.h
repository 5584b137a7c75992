#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zrk {

/// The ending of a file name from its last point on, in lower case; empty where there is none.
ZRK_API std::string extensionOf(const std::string& path);

/// The fault of a name whose extension stands for no format that can be written.
/// @param known  the extensions that would be right.
/// @param hint   what they are for, for the remedy.
Fault unknownExtension(const std::string& path, const std::vector<std::string_view>& known,
                       std::string_view hint);

/// Whether this build can write a format.
bool canWrite(std::string_view extension);

/// A format and the extension that stands for it.
template <class Format>
using NamedFormat = std::pair<std::string_view, Format>;

/// The format of a file's name, by its extension. Refuses any that this build can't write, with a list of
/// the others.
template <class Format>
Result<Format> formatOfName(const std::string& path, const std::vector<NamedFormat<Format>>& formats,
                            std::string_view hint)
{
    const std::string extension = extensionOf(path);
    std::vector<std::string_view> known;
    for (const auto& [name, format] : formats) {
        if (canWrite(name)) {
            if (name == extension) {
                return format;
            }
            known.push_back(name);
        }
    }
    return refused(unknownExtension(path, known, hint));
}

} // namespace zrk

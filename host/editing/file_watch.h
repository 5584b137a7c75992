#pragma once

#include "core/values/export.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace zrkmodel {

enum class FileState {
    Same,    ///< holds what it held when it was looked at, also if it was written anew
    Changed, ///< holds something else
    Missing,
};

/// Tells whether a file is what it was: by size and time, and where these differ by its content.
class ZRK_API FileWatch {
public:
    /// Takes the file as it is now for the known one. A file that isn't there is unknown.
    void look(const std::string& path);
    /// Same while no file is known.
    FileState state(const std::string& path);

private:
    struct Look {
        std::uintmax_t size;
        std::filesystem::file_time_type time;
        std::uint64_t content; ///< a hash
    };
    std::optional<Look> _known;
};

} // namespace zrkmodel

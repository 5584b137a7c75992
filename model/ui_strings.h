#pragma once

#include "core/values/export.h"

#include <string_view>

namespace zrkmodel {

/// The texts of all registered types by key.
struct ZRK_API ZRKUIStrings {
    /// Texts that describe a type to a user, and the key they go by.
    struct info_t {
        const char* key = ""; ///< e.g. "sphere_sdf"
        const char* title = "";
        const char* description = ""; ///< one sentence
        const char* category = "";    ///< the heading that lists show the type under
    };

    /// The texts under a key; empty ones for a key that no type brought along.
    static info_t find(std::string_view key);
};

} // namespace zrkmodel

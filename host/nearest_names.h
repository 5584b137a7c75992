#pragma once

#include "core/values/export.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zrkmodel {

/// Edits (insert, remove, replace) that turn a text into a beginning of another one, without regard to case:
/// a name is often written without its ending.
///
/// Source: Wagner, Fischer, "The string-to-string correction problem", Journal of the ACM 21(1), 1974.
ZRK_API std::size_t editDistance(std::string_view text, std::string_view name);

/// The known names that are nearest to a text, in quotation marks and separated by commas, at most `count`.
ZRK_API std::string nearestNames(std::string_view text, const std::vector<std::string>& known,
                                 std::size_t count = 3);

} // namespace zrkmodel

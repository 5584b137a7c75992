#pragma once

#include <string>
#include <string_view>

namespace zrk {

/// A text as it stands between quotation marks or tags of XML. Control characters, which XML 1.0 can't hold,
/// and what isn't UTF-8 are shown as `printable` does.
std::string xmlText(std::string_view text);

} // namespace zrk

#pragma once

#include <fmt/core.h>

#include <exception>
#include <string_view>
#include <utility>

namespace zrkcli {

/// Opens what is closed of the standard streams, so that nothing can be written there: otherwise the next
/// file that is opened would take the place of standard error, and messages would stand in it.
void openStandardStreams() noexcept;

/// Writes a text to standard error. Where that can't be written nothing happens: what was to be told is lost,
/// and what the work deserves isn't changed by it.
void tellText(std::string_view text) noexcept;

/// The same of a text that is put together first.
template <class... Parts>
void tell(fmt::format_string<Parts...> text, Parts&&... parts) noexcept
{
    try {
        tellText(fmt::format(text, std::forward<Parts>(parts)...));
    } catch (const std::exception&) {
        tellText("zrk: a message that needs more memory than there is\n");
    }
}

} // namespace zrkcli

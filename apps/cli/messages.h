#pragma once

#include <string_view>

namespace zrkcli {

/// Opens what is closed of the standard streams, on nothing: otherwise the next file that is opened would
/// take the place of standard error, and messages would stand in it.
void openStandardStreams() noexcept;

/// Writes a text to standard error. Where that can't be written nothing happens: what was to be told is lost,
/// and what the work deserves isn't changed by it.
void tell(std::string_view text) noexcept;

} // namespace zrkcli

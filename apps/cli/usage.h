#pragma once

#include "core/values/fault.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace zrkcli {

/// What is wrong with a command line that the parser refuses.
zrk::Fault usageFault(const CLI::App& app, const CLI::ParseError& error, int argc, char** argv);

/// `zrk` alone, `zrk help` and `zrk help COMMAND`, as --help says it; nothing for any other command line.
std::optional<std::string> helpText(const CLI::App& app, int argc, char** argv);

} // namespace zrkcli

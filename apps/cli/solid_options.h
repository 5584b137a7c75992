#pragma once

#include "apps/cli/options.h"
#include "host/solid.h"

#include <optional>
#include <string>

namespace zrkcli {

/// The options of every command that works on a solid: which part of space, and which values are inside.
struct SolidOptions : SamplingOptions {
    std::optional<std::string> bounds;
    std::optional<double> iso;
    bool isDensity = false;

    void addTo(CLI::App& command);
};

/// The solid that the options make of a command's output. Throws FaultError for an output that isn't scalar,
/// and for bounds or a value that can't be used.
zrkmodel::Solid solidOf(const SolidOptions& options, const Job& job);

/// The output that a command works on, for messages.
std::string placeOf(const Job& job);

} // namespace zrkcli

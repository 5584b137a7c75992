#pragma once

#include "apps/cli/options.h"
#include "core/engine/prepared_field.h"
#include "core/values/interval.h"
#include "host/graph_document.h"
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

/// What a solid is coloured by.
struct PaintOptions {
    std::string color;
    std::optional<std::string> range;

    void addTo(CLI::App& command);
};

struct Paint {
    std::optional<zrk::PreparedField> field{};    ///< of colours, of three components, or of values
    std::optional<zrk::Interval<double>> range{}; ///< of values, where one was given
};

/// The paint of the options; one without a field where they name none. Throws FaultError for an output that
/// is no paint, and for a range of what isn't values.
Paint paintOf(const PaintOptions& options, const zrkmodel::GraphDocument& document);

/// What a summary tells of the colours; nothing where there is no range.
std::string shownScale(const std::optional<zrk::Interval<double>>& range);

/// The solid that the options make of a command's output. Throws FaultError for an output that isn't scalar,
/// and for bounds or a value that can't be used.
zrkmodel::Solid solidOf(const SolidOptions& options, const Job& job);

/// The output that a command works on, for messages.
std::string placeOf(const Job& job);

} // namespace zrkcli

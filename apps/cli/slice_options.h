#pragma once

#include "apps/cli/options.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zrkcli {

/// The options of a slice. Without axis, place or range those of the document's "view" count.
struct SliceOptions : SamplingOptions {
    std::string file;
    std::optional<std::string> axis;
    std::optional<double> at;
    int size = 512;
    std::optional<std::string> range;
    std::optional<double> iso;
    bool isDensity = false;
    bool hasLegend = false;

    void addTo(CLI::App& command);
};

/// Throws FaultError for options that no document makes good.
void check(const SliceOptions& options);

/// Draws a slice of each output into its file, and tells what was drawn.
/// @param files  told of the files that the document names; may be null.
void drawSlices(const SliceOptions& options, std::vector<std::filesystem::path>* files = nullptr);

} // namespace zrkcli

#pragma once

#include "apps/cli/solid_options.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zrkcli {

/// The options of a shaded picture.
struct RenderOptions : SolidOptions {
    std::string file;
    std::string size = "1024x768";
    std::string from;
    bool isPerspective = false;
    std::vector<std::string> sections;
    PaintOptions paint;
    std::string background = "studio";
    int turntable = 0;
    bool fadesByWeight = false;
};

/// Draws the solid of an output into its file, and tells what was drawn.
/// @param files  told of the files that the document names; may be null.
void drawSolid(const RenderOptions& options, std::vector<std::filesystem::path>* files = nullptr);

} // namespace zrkcli

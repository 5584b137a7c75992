#pragma once

#include "core/values/fault.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <filesystem>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zrk {

/// Exactly `count` finite numbers with commas between them, blanks allowed around each; nothing for any
/// other text. A plus sign may stand before a number.
std::optional<std::vector<double>> parseNumbers(std::string_view text, std::size_t count);

/// Reads a list of positions: lines `x,y,z` of three numbers as by `parseNumbers`. Blank lines and lines that
/// begin with # are skipped. Refuses any other line, with its number.
///
/// @param place  the stream's name, for messages.
Result<std::vector<Tensor<3, double>>> readPoints(std::istream& stream, const std::string& place);

/// The same from a file.
Result<std::vector<Tensor<3, double>>> readPointsFile(const std::filesystem::path& path);

} // namespace zrk

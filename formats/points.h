#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/tensor.h"
#include "formats/input_file.h"
#include "formats/limits.h"

#include <cstddef>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zrk {

class ProgressMonitor;

/// Exactly `count` finite numbers with commas between them, blanks allowed around each; nothing for any
/// other text. A plus sign may stand before a number.
ZRK_API std::optional<std::vector<double>> parseNumbers(std::string_view text, std::size_t count);

/// Reads a list of positions: lines `x,y,z` of three numbers as by `parseNumbers`. Blank lines and lines that
/// begin with # are skipped. Refuses any other line, with its number.
///
/// @param place  the stream's name, for messages.
Result<std::vector<Tensor<3, double>>> readPoints(std::istream& stream, const std::string& place);

/// The same from a file or a stream that has been opened. The fault of one that couldn't be is passed on, and
/// so is that of a monitor, which may be null, that interrupts a wait.
///
/// @param most  positions; more are refused, with a fault of the kind FailedWork.
ZRK_API Result<std::vector<Tensor<3, double>>> readPointsFile(Result<InputFile> file,
                                                              const std::string& place,
                                                              std::size_t most = kMaxPoints,
                                                              ProgressMonitor* monitor = nullptr);

} // namespace zrk

#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/tensor.h"
#include "formats/input_file.h"
#include "formats/limits.h"

#include <cstddef>
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
/// @param file     a file or a stream that has been opened; the fault of one that couldn't be is passed on.
/// @param place    its name, for messages.
/// @param most     positions; more are refused, with a fault of the kind FailedWork.
/// @param monitor  interrupts a wait for a stream, which is a fault, too; may be null.
ZRK_API Result<std::vector<Tensor<3, double>>> readPoints(Result<InputFile> file, const std::string& place,
                                                          std::size_t most = kMaxPoints,
                                                          ProgressMonitor* monitor = nullptr);

} // namespace zrk

#pragma once

#include "core/values/image_channel.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace zrk {

/// Most values of an array that is read.
inline constexpr std::uint64_t kMaxNpyValues = std::uint64_t{1} << 31;

/// Reads a volume from a NumPy array file (.npy, format 1 to 3): three dimensions, the shape being (nz, ny,
/// nx) for extents nx, ny and nz, each at least 1, in C or Fortran order. Numbers of the types uint8, uint16,
/// float32 and float64, of either byte order.
///
/// Nothing for any other array or a damaged file; then `fault`, if there is one, gets "found X, expected Y".
/// The size is checked against the file's length before memory is taken. Safe from many threads at once.
///
/// Source: NumPy, "A simple file format for NumPy arrays", numpy.lib.format.
std::optional<ImageChannel<3>> readNpy(std::span<const std::uint8_t> bytes, std::string* fault = nullptr);

/// The same from a file.
std::optional<ImageChannel<3>> readNpyFile(const std::filesystem::path& path, std::string* fault = nullptr);

} // namespace zrk

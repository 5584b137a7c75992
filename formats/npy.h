#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/image_channel.h"
#include "formats/volume.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace zrk {

/// Reads a volume from a NumPy array file (.npy, format 1 to 3): three dimensions, the shape being (nz, ny,
/// nx) for extents nx, ny and nz, each at least 1, in C or Fortran order. Numbers of the types uint8, uint16,
/// float32 and float64, of either byte order.
///
/// Refuses any other array or a damaged file. The size is checked against the file's length before memory is
/// taken. Safe from many threads at once.
///
/// @param place  where the bytes come from, for messages.
///
/// Source: NumPy, "A simple file format for NumPy arrays", numpy.lib.format.
Result<ImageChannel<3>> readNpy(std::span<const std::uint8_t> bytes, const std::string& place);

/// The same from a file.
ZRK_API Result<ImageChannel<3>> readNpyFile(const std::filesystem::path& path);

/// What stands before the values in an array file.
struct NpyHead {
    std::string type; ///< such as "<f8"
    bool isFortranOrder = false;
    std::vector<std::uint64_t> shape; ///< extents beyond any limit aren't told exactly
    std::size_t bytes = 0;            ///< of the head
};

/// Reads what an array file begins with.
Result<NpyHead> readNpyHead(std::span<const std::uint8_t> bytes, const std::string& place);

/// What stands before the values in an array file of format 1.0: shape (nz, ny, nx), or (nz, ny, nx,
/// components). Holds no positions.
VolumeFrame npyFrame(const Volume& volume);

} // namespace zrk

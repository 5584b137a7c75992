#pragma once

#include "core/values/image_channel.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zrk {

class ProgressMonitor;

using Paths = std::vector<std::filesystem::path>;

/// Most voxels of a stack that is read.
inline constexpr std::uint64_t kMaxStackVoxels = std::uint64_t{1} << 31;

/// True for a file that is taken for a slice by its name: the extension is ".png" or ".PNG", not ".Png".
bool isSliceName(const std::filesystem::path& path);

/// A file and what is the matter with it: "found X, expected Y".
struct SliceFault {
    std::filesystem::path path;
    std::string finding;
};

/// What became of a reading.
enum class StackState { Complete, Stopped, Refused };

/// Slices of a scan as grey values of 8 bit, of which those that are fit are taken.
struct GreyStack {
    StackState state = StackState::Complete;
    Raster<1, 3, std::uint8_t> voxels; ///< slices along axis 2; empty without one
    std::vector<SliceFault> leftOut;   ///< in the order of the slices
};

/// Reads PNG files as slices in the byte-wise order of their paths, the first channel of each, of 16 bit the
/// upper 8. Files that are missing, aren't named as slices, can't be read or have other extents than the
/// first one are left out.
///
/// Decodes on all cores. @param monitor  may be null; when it interrupts, nothing is given.
/// Throws std::filesystem::filesystem_error, with the text "exists", when the state of a path can't be had
/// for another reason than that the file is missing.
GreyStack readGreyStack(Paths paths, ProgressMonitor* monitor);

/// Slices with all their channels in their own depth.
struct ChannelStack {
    StackState state = StackState::Complete;
    std::vector<ImageChannel<3>> channels; ///< slices along axis 2
    SliceFault fault;                      ///< when it is refused
};

/// Reads the slices in a folder, the files that are named as such, in the byte-wise order of their names. One
/// that can't be read or differs from the first in extents, depth or number of channels makes the whole
/// refused, and so does a folder without one. Decodes on all cores.
ChannelStack readStackFolder(const std::filesystem::path& folder, ProgressMonitor* monitor);

} // namespace zrk

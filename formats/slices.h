#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/image_channel.h"
#include "core/values/raster.h"
#include "formats/limits.h"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace zrk {

class ProgressMonitor;

using Paths = std::vector<std::filesystem::path>;

/// True for a file that is taken for a slice by its name: the extension is ".png" or ".PNG", not ".Png".
bool isSliceName(const std::filesystem::path& path);

/// Slices of a scan as grey values of 8 bit, of which those that are fit are taken.
struct GreyStack {
    Raster<1, 3, std::uint8_t> voxels; ///< slices along axis 2; empty without one
    std::vector<Fault> leftOut;        ///< the slices that aren't fit, in their order
};

/// Reads PNG files as slices in the byte-wise order of their paths, the first channel of each, of 16 bit the
/// upper 8. Files that are missing, aren't named as slices, can't be read or have other extents than the
/// first one are left out. Refuses slices that have more pixels together than `mostVoxels`, those that would
/// be left out for their extents included; then, and when the monitor interrupts, nothing is given.
///
/// Decodes on all cores; what comes of it is the same for any number of them.
/// @param monitor  may be null.
/// Throws std::filesystem::filesystem_error, with the text "exists", when the state of a path can't be had
/// for another reason than that the file is missing.
Result<GreyStack> readGreyStack(Paths paths, ProgressMonitor* monitor, std::uint64_t mostVoxels = kMaxVoxels);

/// Reads the slices in a folder, in the byte-wise order of their names, with all their channels in their own
/// depth, slices along axis 2. Slices are the files with the extension .png, those with .jpg or .jpeg, or
/// those with .tif or .tiff, in lower or upper case. Files of two of these kinds make the whole refused, and
/// so do one that can't be read or differs from the first in extents, depth or number of channels, a folder
/// without one, and more pixels together than `mostVoxels`. Decodes on all cores.
ZRK_API Result<std::vector<ImageChannel<3>>> readStackFolder(const std::filesystem::path& folder,
                                                             ProgressMonitor* monitor,
                                                             std::uint64_t mostVoxels = kMaxVoxels);

/// Reads the pages of a TIFF file in the same way, the first one being the first slice.
ZRK_API Result<std::vector<ImageChannel<3>>> readStackFile(const std::filesystem::path& path,
                                                           ProgressMonitor* monitor,
                                                           std::uint64_t mostVoxels = kMaxVoxels);

} // namespace zrk

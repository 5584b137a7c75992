#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "core/values/image_channel.h"
#include "formats/volume.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace zrk {

/// A volume that is read from a file from front to back, with room for few of its values at a time.
struct VolumeSource {
    Volume volume; ///< all that the file tells, without values; 1 apart where it tells no positions
    bool holdsWholeNumbers = false; ///< of 8 or 16 bits without a sign
    /// Reads the next values, in the order of Volume::values and as numbers of the file: 8 bit are 0 to 255.
    /// Those of whole nodes, and no more than are left. Refused where the file ends before.
    std::function<Result<void>(std::span<double> values)> read;
};

/// A volume that is in memory: 1, 3 or 4 channels with the same extents, nodes 1 apart. Refuses other numbers
/// of channels.
/// @param path  where they come from, for messages and the name.
ZRK_API Result<VolumeSource> volumeOf(std::vector<ImageChannel<3>> channels, const std::string& path);

/// Opens a volume in one of the formats that writeVolume() writes: NPY of three or four dimensions, NRRD
/// with its values in the same file, raw; VTK image data with its values appended raw; VDB. Of NPY, NRRD and
/// VTK numbers are of 8 or 16 bits without a sign, or floats of 32 or 64 bits, in NPY also of 16; of either
/// byte order. Components are 1, 3 or 4; axes lie along x, y and z. A VDB file holds one grid of numbers, or
/// one of vectors and perhaps one of opacities, as writeVdb() writes them; the volume is the box of its
/// active voxels.
///
/// Refused as BadInput where the file can't be read, is another one or is shorter than it says. Memory: a
/// fixed buffer; all of VDB and of NPY in Fortran order.
/// Source: NumPy, numpy.lib.format; teem.sourceforge.net/nrrd/format.html; VTK, "VTK XML Formats".
ZRK_API Result<VolumeSource> openVolume(const std::string& path);

/// The same of bytes, but for VDB; they must outlive the source.
/// @param format  of the bytes: Npy, Nrrd or Vti.
/// @param place   where they come from, for messages.
Result<VolumeSource> openVolume(std::span<const std::uint8_t> bytes, VolumeFormat format,
                                const std::string& place);

/// Has the nodes of a volume, whose extents are known, lie from `lower` on, so far apart. The last one is
/// chosen such that Volume::spacing() is this number again, where there is such a choice. Throws FaultError
/// for a spacing that isn't above 0.
void placeNodes(Volume& volume, const double (&lower)[3], const double (&spacing)[3],
                const std::string& place);

} // namespace zrk

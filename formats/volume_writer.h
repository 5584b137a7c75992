#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace zrk {

/// Samples of a field over a regular grid, the nodes on the faces of a box. Views its values.
struct Volume {
    std::int32_t dims[3];           ///< nodes along x, y, z; each at least 1
    int components;                 ///< 1 scalar, 3 vector, 4 colour with opacity
    double lower[3];                ///< position of the first node, model units
    double upper[3];                ///< position of the last node
    std::string name;               ///< what the values are, for formats that carry a name; UTF-8
    std::span<const double> values; ///< x fastest, the components of a node side by side
};

enum class VolumeFormat { Npy, Nrrd, Vti };

/// The format that a file name's extension stands for, without regard to case.
/// Throws HostError with status kBadInput for any other; the message lists those that can be written.
VolumeFormat volumeFormat(const std::string& path);

enum class WriteOutcome { Written, Interrupted };

/// Writes all values as they are, as 64-bit floats in little-endian order, NaN and infinity included.
///
/// - `.npy` version 1.0: shape (nz, ny, nx), or (nz, ny, nx, components). Holds no positions.
/// - `.nrrd` NRRD0005, raw: components first and fastest; positions by space origin and directions.
/// - `.vti` VTK image data, appended raw: point data; positions by origin and spacing.
///
/// Along an axis with one node or without extent the stated spacing is 1: readers refuse a zero.
///
/// @param keepGoing  called with the fraction done, 0 to 1, some times a second or more; false
///                   stops the work, and the file stays as it was. May be empty.
///
/// Throws HostError: status kBadInput as volumeFormat(), kFailedWork when the file can't be written;
/// in both cases a file that was there stays as it was. Memory: a fixed buffer.
/// Precondition: the number of values is that of dims and components. Debug builds assert it.
WriteOutcome writeVolume(const std::string& path, const Volume& volume,
                         const std::function<bool(double fraction)>& keepGoing = {});

} // namespace zrk

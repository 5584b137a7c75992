#pragma once

#include "core/engine/keep_going.h"
#include "core/values/fault.h"

#include <cstdint>
#include <span>
#include <string>

namespace zrk {

/// How the numbers of a volume are written. Float32 is the nearest float, the even one of two that are
/// equally near; what is beyond the largest float becomes infinite.
enum class NumberType { Float64, Float32 };

/// Samples of a field over a regular grid, the nodes on the faces of a box. Views its values.
struct Volume {
    std::int32_t dims[3];           ///< nodes along x, y, z; each at least 1
    int components;                 ///< 1 scalar, 3 vector, 4 colour with opacity
    double lower[3];                ///< position of the first node, model units
    double upper[3];                ///< position of the last node
    std::string name;               ///< what the values are, for formats that carry a name; UTF-8
    std::span<const double> values; ///< x fastest, the components of a node side by side
    bool isDensity = false;         ///< 0 to 1, for formats that tell what the values are
    NumberType type = NumberType::Float64;
    std::string unit = {}; ///< what a length of 1 stands for, such as "mm"; empty where that isn't known

    /// Distance between two nodes; 1 along an axis with one node or without extent, as readers refuse a zero.
    double spacing(int axis) const;
    /// The name with a blank for each control character: a field of a header ends with its line.
    std::string nameInOneLine() const;
    /// Bytes of all values in a file.
    std::uint64_t bytesInFile() const;
};

/// What stands around the values in a file; these are floats in little-endian order.
struct VolumeFrame {
    std::string head;
    std::string tail;
};

enum class VolumeFormat { Npy, Nrrd, Vti, Vdb };

/// The format that a file name's extension stands for, without regard to case. Refuses any other; the
/// message lists those that this build can write.
Result<VolumeFormat> volumeFormat(const std::string& path);

/// Writes all values in the volume's type of numbers, NaN and infinity included, in the format of the file
/// name (see npy.h, nrrd.h, vti.h, vdb.h). All but .npy carry the unit.
///
/// @param keepGoing  called with the fraction done, 0 to 1, some times a second or more; false
///                   stops the work. May be empty.
///
/// After a fault a file that was there stays as it was: BadInput as volumeFormat(), FailedWork when the file
/// can't be written, Interrupted when the work was stopped. Memory: a fixed buffer, for VDB as
/// told there.
/// Precondition: the number of values is that of dims and components. Debug builds assert it.
Result<void> writeVolume(const std::string& path, const Volume& volume, const KeepGoing& keepGoing = {});

} // namespace zrk

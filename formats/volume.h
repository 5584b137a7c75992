#pragma once

#include "core/engine/keep_going.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/atomic_file.h"
#include "formats/digest.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace zrk {

/// How the numbers of a volume are written. Float32 and Float16 (IEEE 754 binary16) are the nearest such
/// number, the even one of two that are equally near; what is beyond the largest one becomes infinite. UInt8
/// has 0 to 1 as 0 to 255, to the nearest whole number and the even one of two; below and beyond are 0 and
/// 255, and so is NaN 0.
enum class NumberType { Float64, Float32, Float16, UInt8 };

/// The number type of a name: float64, float32, float16 or uint8. Refuses any other.
ZRK_API Result<NumberType> numberType(const std::string& name);
std::size_t bytesOf(NumberType type);

/// Values in their type of number, as they stand in a file.
std::vector<std::uint8_t> encoded(std::span<const double> values, NumberType type);

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
    /// Bytes of all values in a file, by the extents.
    std::uint64_t bytesInFile() const;
};

/// What stands around the values in a file; these are floats in little-endian order.
struct VolumeFrame {
    std::string head;
    std::string tail;
    std::string end{}; ///< where there is one, the checksum of head and values stands between tail and end
};

class VdbVolume;

enum class VolumeFormat { Npy, Nrrd, Vti, Vdb };

/// The format that a file name's extension stands for, without regard to case. Refuses any other; the
/// message lists those that this build can write.
ZRK_API Result<VolumeFormat> volumeFormat(const std::string& path);

/// Refuses a type of numbers that the format of a file name doesn't have: Float16 is for .npy alone, and
/// UInt8 not for .vdb.
ZRK_API Result<void> checkNumberType(const std::string& path, NumberType type);

/// Writes a volume to a file while its values come, in the format of the file name; a .vdb file is held in
/// memory until they are there. The file appears whole, by commit(), or not at all (see AtomicFile).
class ZRK_API VolumeWriter {
public:
    /// Opens the file and writes what stands before the values; those of the volume itself aren't used.
    /// Refused where the format or the type of numbers is, where the file can't be written, and, with sizes,
    /// where it would be larger than what is free on its disk or, of .vdb, in memory.
    static Result<VolumeWriter> create(const std::string& path, const Volume& volume);
    /// The same of values that stand in a frame of their own; `bytes` are those of all values.
    static Result<VolumeWriter> create(const std::string& path, double bytes, NumberType type,
                                       VolumeFrame frame);

    ~VolumeWriter();
    VolumeWriter(VolumeWriter&&) noexcept;
    VolumeWriter& operator=(VolumeWriter&&) = delete;

    /// Appends rows of values, in the order of Volume::values. False when a write has failed: commit() tells
    /// why.
    bool write(std::span<const double> values);
    /// The same of bytes that are encoded already; not for .vdb.
    bool writeEncoded(const void* bytes, std::size_t size) { return put(bytes, size); }
    /// As the last call. Precondition: all values are there.
    Result<void> commit(const KeepGoing& keepGoing = {});

private:
    VolumeWriter(AtomicFile file, NumberType type, VolumeFrame frame);
    bool put(const void* bytes, std::size_t size);

    AtomicFile _file;
    NumberType _type;
    VolumeFrame _frame;
    std::unique_ptr<Digest> _checksum; ///< of what was put, or null
    std::unique_ptr<VdbVolume> _vdb;   ///< where all of it is gathered, or null
};

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
ZRK_API Result<void> writeVolume(const std::string& path, const Volume& volume,
                                 const KeepGoing& keepGoing = {});

} // namespace zrk

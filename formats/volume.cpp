#include "formats/volume.h"

#include "core/values/memory_budget.h"
#include "core/values/stop.h"
#include "formats/file_name.h"
#include "formats/npy.h"
#include "formats/nrrd.h"
#include "formats/vdb.h"
#include "formats/vti.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstring>
#include <optional>

namespace zrk {

namespace {

static_assert(std::endian::native == std::endian::little, "values are written as they lie in memory");

constexpr std::size_t kChunkValues = 1 << 17; // 1 MiB

VolumeFrame frameFor(VolumeFormat format, const Volume& volume)
{
    switch (format) {
    case VolumeFormat::Nrrd:
        return nrrdFrame(volume);
    case VolumeFormat::Vti:
        return vtiFrame(volume);
    default:
        return npyFrame(volume);
    }
}

/// The bits of the binary16 nearest to a value, the even one of two that are equally near.
std::uint16_t halfBits(double value)
{
    constexpr int kLeastExponent = -14; // of numbers with all digits
    constexpr int kDigits = 10;         // behind the point
    constexpr std::uint16_t kInfinity = 0x7c00;
    const auto sign = static_cast<std::uint16_t>(std::signbit(value) ? 0x8000 : 0);
    const double size = std::abs(value);
    if (std::isnan(value)) {
        return static_cast<std::uint16_t>(sign | kInfinity | 0x200);
    }
    if (size >= 65520) { // half way from the largest number to the next power of two
        return static_cast<std::uint16_t>(sign | kInfinity);
    }
    const int exponent = size > 0 ? std::max(std::ilogb(size), kLeastExponent) : kLeastExponent;
    // Digits carried into the exponent make the next power of two of it, as they should.
    const auto digits = static_cast<int>(std::nearbyint(std::ldexp(size, kDigits - exponent)));
    const int bits = ((exponent - kLeastExponent) << kDigits) + digits;
    return static_cast<std::uint16_t>(sign | bits);
}

std::uint8_t byteOf(double value)
{
    return std::isnan(value) ? std::uint8_t{0}
                             : static_cast<std::uint8_t>(std::nearbyint(std::clamp(value, 0.0, 1.0) * 255.0));
}

/// Values as numbers of a type, by a function for each.
template <class Number, class Convert>
std::vector<std::uint8_t> converted(std::span<const double> values, Convert convert)
{
    std::vector<std::uint8_t> bytes(values.size() * sizeof(Number));
    std::uint8_t* out = bytes.data();
    for (const double value : values) {
        const Number number = convert(value);
        std::memcpy(out, &number, sizeof number);
        out += sizeof number;
    }
    return bytes;
}

/// Refuses a file that is larger than what is free on its disk.
Result<void> checkRoom(const std::string& path, double bytes)
{
    const std::optional<double> room = freeOnDiskOf(path);
    if (!room || bytes <= *room) {
        return {};
    }
    return refused(
        {path, fmt::format("a volume of {}", shownBytes(bytes)),
         fmt::format("at most the {} that are free on its disk", shownBytes(*room)),
         "ask for a lower resolution or a smaller type of numbers, free some space, or write to another "
         "disk",
         FaultKind::FailedWork});
}

} // namespace

double Volume::spacing(int axis) const
{
    const double extent = upper[axis] - lower[axis];
    return dims[axis] > 1 && extent != 0 ? extent / (dims[axis] - 1) : 1.0;
}

std::string Volume::nameInOneLine() const
{
    std::string line = name;
    std::replace_if(
        line.begin(), line.end(), [](unsigned char c) { return c < ' '; }, ' ');
    return line;
}

std::uint64_t Volume::bytesInFile() const
{
    return std::uint64_t{bytesOf(type)} * static_cast<std::uint64_t>(dims[0]) *
           static_cast<std::uint64_t>(dims[1]) * static_cast<std::uint64_t>(dims[2]) *
           static_cast<std::uint64_t>(components);
}

namespace {

struct NamedNumberType {
    const char* name;
    NumberType type;
    std::size_t bytes;
};
constexpr NamedNumberType kNumberTypes[] = {{"float64", NumberType::Float64, 8},
                                            {"float32", NumberType::Float32, 4},
                                            {"float16", NumberType::Float16, 2},
                                            {"uint8", NumberType::UInt8, 1}};

} // namespace

Result<NumberType> numberType(const std::string& name)
{
    for (const NamedNumberType& one : kNumberTypes) {
        if (name == one.name) {
            return one.type;
        }
    }
    return refused(
        {"type of numbers", quotation(name), "float64, float32, float16 or uint8", "write one of them"});
}

std::size_t bytesOf(NumberType type) { return kNumberTypes[static_cast<std::size_t>(type)].bytes; }

std::vector<std::uint8_t> encoded(std::span<const double> values, NumberType type)
{
    switch (type) {
    case NumberType::Float64:
        break;
    case NumberType::Float32:
        return converted<float>(values, [](double value) { return static_cast<float>(value); });
    case NumberType::Float16:
        return converted<std::uint16_t>(values, halfBits);
    case NumberType::UInt8:
        return converted<std::uint8_t>(values, byteOf);
    }
    return converted<double>(values, [](double value) { return value; });
}

Result<VolumeFormat> volumeFormat(const std::string& path)
{
    static const std::vector<NamedFormat<VolumeFormat>> kFormats = {{".npy", VolumeFormat::Npy},
                                                                    {".nrrd", VolumeFormat::Nrrd},
                                                                    {".vti", VolumeFormat::Vti},
                                                                    {".vdb", VolumeFormat::Vdb}};
    return formatOfName(path, kFormats,
                        ".npy for NumPy, .nrrd for 3D Slicer and ITK, .vti for ParaView and VTK");
}

Result<void> checkNumberType(const std::string& path, NumberType type)
{
    return volumeFormat(path).and_then([&](VolumeFormat format) -> Result<void> {
        const bool isGood = type == NumberType::Float16 ? format == VolumeFormat::Npy
                            : type == NumberType::UInt8 ? format != VolumeFormat::Vdb
                                                        : true;
        const char* name = kNumberTypes[static_cast<std::size_t>(type)].name;
        return isGood
                   ? Result<void>()
                   : refused({path, fmt::format("numbers of the type {}", name), "a type that the format has",
                              type == NumberType::Float16 ? "write .npy, or float32" : "write float32"});
    });
}

Result<VolumeWriter> VolumeWriter::create(const std::string& path, const Volume& volume)
{
    return checkNumberType(path, volume.type).and_then([&] {
        const double values =
            static_cast<double>(volume.dims[0]) * volume.dims[1] * volume.dims[2] * volume.components;
        const VolumeFormat format = *volumeFormat(path);
        if (format != VolumeFormat::Vdb) {
            return create(path, values * static_cast<double>(bytesOf(volume.type)), volume.type,
                          frameFor(format, volume));
        }
        return attempt(path, [&] {
            const auto& n = volume.dims;
            checkMemory(
                values * static_cast<double>(bytesOf(volume.type)), path,
                fmt::format("a grid of {} x {} x {} nodes, which .vdb holds in memory", n[0], n[1], n[2]),
                "ask for a lower resolution or --type float32, or write .vti");
            return create(path, 0, volume.type, {}).and_then([&](VolumeWriter writer) {
                return beginVdb(volume).map([&](std::unique_ptr<VdbVolume> vdb) {
                    writer._vdb = std::move(vdb);
                    return std::move(writer);
                });
            });
        });
    });
}

Result<VolumeWriter> VolumeWriter::create(const std::string& path, double bytes, NumberType type,
                                          VolumeFrame frame)
{
    Result<AtomicFile> file = AtomicFile::create(path);
    if (!file) {
        return refused(file.error());
    }
    if (const Result<void> room = checkRoom(path, bytes); !room) {
        return refused(room.error());
    }
    VolumeWriter writer(std::move(*file), type, std::move(frame));
    writer.put(writer._frame.head.data(), writer._frame.head.size());
    return writer;
}

bool VolumeWriter::put(const void* bytes, std::size_t size)
{
    if (_checksum) {
        _checksum->add(bytes, size);
    }
    return _file.write(bytes, size);
}

bool VolumeWriter::write(std::span<const double> values)
{
    if (_vdb) {
        _vdb->add(values);
        return true;
    }
    bool isWritten = true;
    for (std::size_t done = 0; isWritten && done < values.size(); done += kChunkValues) {
        stopIfAsked();
        const auto chunk = values.subspan(done, std::min(kChunkValues, values.size() - done));
        if (_type == NumberType::Float64) {
            isWritten = put(chunk.data(), chunk.size_bytes());
        } else {
            const std::vector<std::uint8_t> bytes = encoded(chunk, _type);
            isWritten = put(bytes.data(), bytes.size());
        }
    }
    return isWritten;
}

VolumeWriter::VolumeWriter(AtomicFile file, NumberType type, VolumeFrame frame)
    : _file(std::move(file)),
      _type(type),
      _frame(std::move(frame)),
      _checksum(_frame.end.empty() ? nullptr : std::make_unique<Digest>())
{}
VolumeWriter::~VolumeWriter() = default;
VolumeWriter::VolumeWriter(VolumeWriter&&) noexcept = default;

Result<void> VolumeWriter::commit(const KeepGoing& keepGoing)
{
    if (_vdb) {
        const auto sink = [this](const void* bytes, std::size_t size) { return _file.write(bytes, size); };
        if (const Result<void> written = _vdb->write(sink, keepGoing); !written) {
            return written;
        }
    }
    const std::string end = _frame.tail + (_checksum ? _checksum->hex() + _frame.end : "");
    _file.write(end.data(), end.size());
    return _file.commit();
}

namespace {

Result<void> writePieces(const std::string& path, const Volume& volume, const KeepGoing& keepGoing)
{
    return VolumeWriter::create(path, volume).and_then([&](VolumeWriter writer) -> Result<void> {
        const std::span<const double> values = volume.values;
        const std::size_t row =
            static_cast<std::size_t>(volume.dims[0]) * static_cast<std::size_t>(volume.components);
        const std::size_t piece = std::max<std::size_t>(1, kChunkValues / row) * row;
        bool isWritten = true;
        for (std::size_t done = 0; isWritten && done < values.size(); done += piece) {
            if (keepGoing && !keepGoing(static_cast<double>(done) / static_cast<double>(values.size()))) {
                return refused(interruptedAt(path));
            }
            isWritten = writer.write(values.subspan(done, std::min(piece, values.size() - done)));
        }
        if (isWritten && keepGoing && !keepGoing(1.0)) {
            return refused(interruptedAt(path));
        }
        return writer.commit(keepGoing);
    });
}

} // namespace

Result<void> writeVolume(const std::string& path, const Volume& volume, const KeepGoing& keepGoing)
{
    assert(volume.values.size() ==
           static_cast<std::size_t>(volume.dims[0]) * static_cast<std::size_t>(volume.dims[1]) *
               static_cast<std::size_t>(volume.dims[2]) * static_cast<std::size_t>(volume.components));
    return writePieces(path, volume, keepGoing);
}

} // namespace zrk

#include "formats/volume.h"

#include "formats/atomic_file.h"
#include "formats/file_name.h"
#include "formats/npy.h"
#include "formats/nrrd.h"
#include "formats/vdb.h"
#include "formats/vti.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <vector>

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

Result<void> writeTo(AtomicFile& file, const std::string& path, const VolumeFrame& frame,
                     const Volume& volume, const KeepGoing& keepGoing)
{
    const std::span<const double> values = volume.values;
    std::vector<float> rounded;
    bool isWritten = file.write(frame.head.data(), frame.head.size());
    for (std::size_t done = 0; isWritten && done < values.size(); done += kChunkValues) {
        if (keepGoing && !keepGoing(static_cast<double>(done) / static_cast<double>(values.size()))) {
            return refused(interruptedAt(path));
        }
        const std::span<const double> chunk =
            values.subspan(done, std::min(kChunkValues, values.size() - done));
        if (volume.type == NumberType::Float32) {
            rounded.assign(chunk.begin(), chunk.end());
            isWritten = file.write(rounded.data(), rounded.size() * sizeof(float));
        } else {
            isWritten = file.write(chunk.data(), chunk.size_bytes());
        }
    }
    isWritten = file.write(frame.tail.data(), frame.tail.size());
    if (isWritten && keepGoing && !keepGoing(1.0)) {
        return refused(interruptedAt(path));
    }
    return file.commit();
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
    return values.size() * (type == NumberType::Float32 ? sizeof(float) : sizeof(double));
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

Result<void> writeVolume(const std::string& path, const Volume& volume, const KeepGoing& keepGoing)
{
    assert(volume.values.size() ==
           static_cast<std::size_t>(volume.dims[0]) * static_cast<std::size_t>(volume.dims[1]) *
               static_cast<std::size_t>(volume.dims[2]) * static_cast<std::size_t>(volume.components));
    return volumeFormat(path).and_then([&](VolumeFormat format) {
        return AtomicFile::create(path).and_then([&](AtomicFile file) {
            if (format != VolumeFormat::Vdb) {
                return writeTo(file, path, frameFor(format, volume), volume, keepGoing);
            }
            const auto sink = [&file](const void* bytes, std::size_t size) {
                return file.write(bytes, size);
            };
            return writeVdb(volume, sink, keepGoing).and_then([&] { return file.commit(); });
        });
    });
}

} // namespace zrk

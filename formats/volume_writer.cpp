#include "formats/volume_writer.h"

#include "formats/atomic_file.h"
#include "formats/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cassert>
#include <cctype>
#include <filesystem>

namespace zrk {
namespace {

static_assert(std::endian::native == std::endian::little, "values are written as they lie in memory");

constexpr std::size_t kChunkValues = 1 << 17; // 1 MiB

// A file is a head, the values and a tail, in every format.
struct Frame {
    std::string head;
    std::string tail;
};

double spacing(const Volume& volume, int axis)
{
    const double extent = volume.upper[axis] - volume.lower[axis];
    return volume.dims[axis] > 1 && extent != 0 ? extent / (volume.dims[axis] - 1) : 1.0;
}

Frame npyFrame(const Volume& volume)
{
    std::string description = fmt::format(
        "{{'descr': '<f8', 'fortran_order': False, 'shape': ({}, {}, {}{}), }}", volume.dims[2],
        volume.dims[1], volume.dims[0], volume.components > 1 ? fmt::format(", {}", volume.components) : "");
    // Magic, version and length take 10 bytes; the data begin at a multiple of 64.
    const std::size_t size = (10 + description.size() + 1 + 63) / 64 * 64 - 10;
    description.resize(size - 1, ' ');
    std::string head("\x93NUMPY\x01\x00", 8);
    head += static_cast<char>(size & 0xff);
    head += static_cast<char>(size >> 8);
    return {head + description + '\n', ""};
}

// A field of the header ends with its line.
std::string oneLine(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' '; }, ' ');
    return text;
}

Frame nrrdFrame(const Volume& volume)
{
    const bool plain = volume.components == 1;
    std::string head = "NRRD0005\n";
    if (!volume.name.empty()) {
        head += fmt::format("content: {}\n", oneLine(volume.name));
    }
    head += fmt::format("type: double\ndimension: {}\nspace dimension: 3\n", plain ? 3 : 4);
    head += fmt::format("sizes: {}{} {} {}\n", plain ? "" : fmt::format("{} ", volume.components),
                        volume.dims[0], volume.dims[1], volume.dims[2]);
    head += fmt::format("space directions: {}({},0,0) (0,{},0) (0,0,{})\n", plain ? "" : "none ",
                        spacing(volume, 0), spacing(volume, 1), spacing(volume, 2));
    head += fmt::format("kinds: {}domain domain domain\n", plain                    ? ""
                                                           : volume.components == 3 ? "vector "
                                                                                    : "RGBA-color ");
    head += "endian: little\nencoding: raw\n";
    head += fmt::format("space origin: ({},{},{})\n\n", volume.lower[0], volume.lower[1], volume.lower[2]);
    return {head, ""};
}

std::string xmlAttribute(const std::string& text)
{
    std::string escaped;
    for (const char c : oneLine(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

Frame vtiFrame(const Volume& volume)
{
    const std::string name = volume.name.empty() ? "values" : xmlAttribute(volume.name);
    const std::string extent =
        fmt::format("0 {} 0 {} 0 {}", volume.dims[0] - 1, volume.dims[1] - 1, volume.dims[2] - 1);
    const char* role = volume.components == 3 ? "Vectors" : "Scalars";
    std::string head = "<?xml version=\"1.0\"?>\n"
                       "<VTKFile type=\"ImageData\" version=\"1.0\" byte_order=\"LittleEndian\" "
                       "header_type=\"UInt64\">\n";
    head += fmt::format("  <ImageData WholeExtent=\"{}\" Origin=\"{} {} {}\" Spacing=\"{} {} {}\">\n", extent,
                        volume.lower[0], volume.lower[1], volume.lower[2], spacing(volume, 0),
                        spacing(volume, 1), spacing(volume, 2));
    head += fmt::format("    <Piece Extent=\"{}\">\n      <PointData {}=\"{}\">\n", extent, role, name);
    head += fmt::format("        <DataArray type=\"Float64\" Name=\"{}\" NumberOfComponents=\"{}\" "
                        "format=\"appended\" offset=\"0\"/>\n",
                        name, volume.components);
    head += "      </PointData>\n    </Piece>\n  </ImageData>\n  <AppendedData encoding=\"raw\">\n   _";
    // The block begins with its length in bytes.
    const std::uint64_t bytes = volume.values.size_bytes();
    head.append(reinterpret_cast<const char*>(&bytes), sizeof bytes);
    return {head, "\n  </AppendedData>\n</VTKFile>\n"};
}

Frame frameFor(VolumeFormat format, const Volume& volume)
{
    switch (format) {
    case VolumeFormat::Nrrd:
        return nrrdFrame(volume);
    case VolumeFormat::Vti:
        return vtiFrame(volume);
    case VolumeFormat::Npy:
        break;
    }
    return npyFrame(volume);
}

} // namespace

VolumeFormat volumeFormat(const std::string& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".npy") {
        return VolumeFormat::Npy;
    }
    if (extension == ".nrrd") {
        return VolumeFormat::Nrrd;
    }
    if (extension == ".vti") {
        return VolumeFormat::Vti;
    }
    const std::string found = extension.empty()     ? "found no extension"
                              : extension == ".vdb" ? "found .vdb, which this build can't write"
                                                    : "found the extension " + extension;
    throw hostError(HostError::kBadInput, path.empty() ? "output" : path,
                    found + ", expected .npy, .nrrd or .vti",
                    "name the file for the format: .npy for NumPy, .nrrd for 3D Slicer and ITK, .vti for "
                    "ParaView and VTK");
}

WriteOutcome writeVolume(const std::string& path, const Volume& volume,
                         const std::function<bool(double fraction)>& keepGoing)
{
    const std::span<const double> values = volume.values;
    assert(values.size() ==
           static_cast<std::size_t>(volume.dims[0]) * static_cast<std::size_t>(volume.dims[1]) *
               static_cast<std::size_t>(volume.dims[2]) * static_cast<std::size_t>(volume.components));
    const Frame frame = frameFor(volumeFormat(path), volume);
    AtomicFile file(path);
    file.write(frame.head.data(), frame.head.size());
    for (std::size_t done = 0; done < values.size(); done += kChunkValues) {
        if (keepGoing && !keepGoing(static_cast<double>(done) / static_cast<double>(values.size()))) {
            return WriteOutcome::Interrupted;
        }
        const std::span<const double> chunk =
            values.subspan(done, std::min(kChunkValues, values.size() - done));
        file.write(chunk.data(), chunk.size_bytes());
    }
    file.write(frame.tail.data(), frame.tail.size());
    if (keepGoing && !keepGoing(1.0)) {
        return WriteOutcome::Interrupted;
    }
    file.commit();
    return WriteOutcome::Written;
}

} // namespace zrk

#include "formats/vti.h"

#include "formats/xml_text.h"

#include <fmt/format.h>

#include <cstdint>
#include <string>

namespace zrk {

namespace {

/// The unit as a text that readers show beside the data: the codes of its characters and a zero.
std::string fieldData(const std::string& unit)
{
    if (unit.empty()) {
        return "";
    }
    std::string codes;
    for (const char c : unit) {
        codes += fmt::format("{} ", static_cast<unsigned char>(c));
    }
    return fmt::format("    <FieldData>\n      <DataArray type=\"String\" Name=\"unit\" NumberOfTuples=\"1\" "
                       "format=\"ascii\">\n        {}0\n      </DataArray>\n    </FieldData>\n",
                       codes);
}

} // namespace

VtiNames vtiNames(const Volume& volume)
{
    return {volume.name.empty() ? "values" : xmlText(volume.nameInOneLine()),
            volume.components == 3 ? "Vectors" : "Scalars",
            volume.type == NumberType::Float32 ? "Float32"
            : volume.type == NumberType::UInt8 ? "UInt8"
                                               : "Float64"};
}

VolumeFrame vtiFrame(const Volume& volume) { return vtiFrame(volume, 0, volume.dims[2] - 1, ""); }

VolumeFrame vtiFrame(const Volume& volume, std::int32_t first, std::int32_t last, const std::string& comment)
{
    const auto [name, role, type] = vtiNames(volume);
    const std::string extent =
        fmt::format("0 {} 0 {} {} {}", volume.dims[0] - 1, volume.dims[1] - 1, first, last);
    std::string head = "<?xml version=\"1.0\"?>\n" + comment +
                       "<VTKFile type=\"ImageData\" version=\"1.0\" byte_order=\"LittleEndian\" "
                       "header_type=\"UInt64\">\n";
    head += fmt::format("  <ImageData WholeExtent=\"{}\" Origin=\"{} {} {}\" Spacing=\"{} {} {}\">\n", extent,
                        volume.lower[0], volume.lower[1], volume.lower[2], volume.spacing(0),
                        volume.spacing(1), volume.spacing(2));
    head += fieldData(volume.unit);
    head += fmt::format("    <Piece Extent=\"{}\">\n      <PointData {}=\"{}\">\n", extent, role, name);
    head += fmt::format("        <DataArray type=\"{}\" Name=\"{}\" NumberOfComponents=\"{}\" "
                        "format=\"appended\" offset=\"0\"/>\n",
                        type, name, volume.components);
    head += "      </PointData>\n    </Piece>\n  </ImageData>\n  <AppendedData encoding=\"raw\">\n   _";
    // The block begins with its length in bytes.
    Volume piece = volume;
    piece.dims[2] = last - first + 1;
    const std::uint64_t bytes = piece.bytesInFile();
    head.append(reinterpret_cast<const char*>(&bytes), sizeof bytes);
    return {head, "\n  </AppendedData>\n</VTKFile>\n"};
}

} // namespace zrk

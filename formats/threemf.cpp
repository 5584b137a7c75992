#include "formats/threemf.h"

#include "formats/xml_text.h"
#include "formats/zip_writer.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <bit>
#include <iterator>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zrk {

namespace {

constexpr std::string_view kContentTypes =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">\n"
    " <Default Extension=\"rels\" "
    "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>\n"
    " <Default Extension=\"model\" ContentType=\"application/vnd.ms-package.3dmanufacturing-3dmodel+xml\"/>\n"
    "</Types>\n";

constexpr std::string_view kRelationships =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">\n"
    " <Relationship Id=\"rel0\" Target=\"/3D/3dmodel.model\" "
    "Type=\"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel\"/>\n"
    "</Relationships>\n";

/// Shorter beams are none.
constexpr double kLeastBeam = 1e-9;

std::string_view unitName(LengthUnit unit)
{
    switch (unit) {
    case LengthUnit::Meter:
        return "meter";
    case LengthUnit::Centimeter:
        return "centimeter";
    case LengthUnit::Micron:
        return "micron";
    case LengthUnit::Inch:
        return "inch";
    case LengthUnit::Foot:
        return "foot";
    case LengthUnit::Millimeter:
        break;
    }
    return "millimeter";
}

/// The colours of a part, each once, in the order in which vertices have them.
struct Palette {
    std::vector<VertexColor> colors;
    std::vector<std::uint32_t> ofVertex;

    explicit Palette(std::span<const VertexColor> all)
    {
        std::unordered_map<std::uint32_t, std::uint32_t> places;
        ofVertex.reserve(all.size());
        for (const VertexColor& color : all) {
            const auto [place, isNew] = places.emplace(std::bit_cast<std::uint32_t>(color),
                                                       static_cast<std::uint32_t>(colors.size()));
            if (isNew) {
                colors.push_back(color);
            }
            ofVertex.push_back(place->second);
        }
    }
};

/// The part 3D/3dmodel.model of the package.
class ModelWriter {
public:
    ModelWriter(const Part& part, PieceWriter& out)
        : _part(part), _out(out), _to(out.buffer()), _palette(part.colors)
    {}

    void write()
    {
        writeHead();
        const bool isWritten = writeColors() && writeVertices() && writeTriangles() && writeBeams();
        if (isWritten) {
            fmt::format_to(_to, "   </mesh>\n  </object>\n </resources>\n"
                                " <build>\n  <item objectid=\"2\"/>\n </build>\n</model>\n");
        }
    }

private:
    const Part& _part;
    PieceWriter& _out;
    fmt::appender _to;
    Palette _palette;

    void writeHead()
    {
        fmt::format_to(_to,
                       "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<model unit=\"{}\" xml:lang=\"en-US\" "
                       "xmlns=\"http://schemas.microsoft.com/3dmanufacturing/core/2015/02\"",
                       unitName(_part.unit.value_or(LengthUnit::Millimeter)));
        if (!_part.colors.empty()) {
            fmt::format_to(_to, " xmlns:m=\"http://schemas.microsoft.com/3dmanufacturing/material/2015/02\"");
        }
        if (_part.beams) {
            fmt::format_to(_to,
                           " xmlns:b=\"http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02\" "
                           "requiredextensions=\"b\"");
        }
        fmt::format_to(_to, ">\n");
        if (!_part.title.empty()) {
            fmt::format_to(_to, " <metadata name=\"Title\">{}</metadata>\n", xmlText(_part.title));
        }
        fmt::format_to(_to, " <metadata name=\"Application\">zrk</metadata>\n <resources>\n");
    }

    bool writeColors()
    {
        bool goesOn = true;
        if (!_palette.colors.empty()) {
            fmt::format_to(_to, "  <m:colorgroup id=\"1\">\n");
            for (std::size_t i = 0; goesOn && i < _palette.colors.size(); ++i) {
                const VertexColor& c = _palette.colors[i];
                fmt::format_to(_to, "   <m:color color=\"#{:02X}{:02X}{:02X}{:02X}\"/>\n", c[0], c[1], c[2],
                               c[3]);
                goesOn = _out.step();
            }
            fmt::format_to(_to, "  </m:colorgroup>\n");
        }
        fmt::format_to(_to, "  <object id=\"2\" type=\"model\"{}>\n   <mesh>\n",
                       _palette.colors.empty() ? "" : " pid=\"1\" pindex=\"0\"");
        return goesOn;
    }

    bool writeVertex(const Tensor<3, double>& p)
    {
        fmt::format_to(_to, FMT_COMPILE("     <vertex x=\"{}\" y=\"{}\" z=\"{}\"/>\n"), p[0], p[1], p[2]);
        return _out.step();
    }

    bool writeVertices()
    {
        fmt::format_to(_to, "    <vertices>\n");
        bool goesOn = true;
        for (std::size_t i = 0; goesOn && i < _part.mesh.vertices.size(); ++i) {
            goesOn = writeVertex(_part.mesh.vertices[i]);
        }
        for (std::size_t i = 0; goesOn && _part.beams && i < _part.beams->nodes.size(); ++i) {
            goesOn = writeVertex(_part.beams->nodes[i]);
        }
        fmt::format_to(_to, "    </vertices>\n");
        return goesOn;
    }

    bool writeTriangles()
    {
        fmt::format_to(_to, "    <triangles>\n");
        bool goesOn = true;
        for (std::size_t i = 0; goesOn && i < _part.mesh.triangles.size(); ++i) {
            const auto& t = _part.mesh.triangles[i];
            fmt::format_to(_to, FMT_COMPILE("     <triangle v1=\"{}\" v2=\"{}\" v3=\"{}\""), t[0], t[1],
                           t[2]);
            if (!_palette.colors.empty()) {
                const auto& color = _palette.ofVertex;
                fmt::format_to(_to, FMT_COMPILE(" pid=\"1\" p1=\"{}\" p2=\"{}\" p3=\"{}\""), color[t[0]],
                               color[t[1]], color[t[2]]);
            }
            fmt::format_to(_to, "/>\n");
            goesOn = _out.step();
        }
        fmt::format_to(_to, "    </triangles>\n");
        return goesOn;
    }

    bool writeBeams()
    {
        if (!_part.beams) {
            return true;
        }
        const PartBeams& beams = *_part.beams;
        const std::uint64_t first = _part.mesh.vertices.size();
        fmt::format_to(_to,
                       "    <b:beamlattice radius=\"{}\" minlength=\"{}\" cap=\"sphere\">\n     <b:beams>\n",
                       beams.radius, kLeastBeam * beams.radius);
        bool goesOn = true;
        for (std::size_t i = 0; goesOn && i < beams.beams.size(); ++i) {
            fmt::format_to(_to, "      <b:beam v1=\"{}\" v2=\"{}\"/>\n", first + beams.beams[i][0],
                           first + beams.beams[i][1]);
            goesOn = _out.step();
        }
        fmt::format_to(_to, "     </b:beams>\n    </b:beamlattice>\n");
        return goesOn;
    }
};

void writeWhole(ZipWriter& zip, const char* name, std::string_view content)
{
    zip.begin(name);
    zip.write(content.data(), content.size());
}

} // namespace

Result<void> writeThreeMf(const Part& part, const ByteSink& sink, ProgressMonitor* monitor)
{
    const std::size_t vertices = part.mesh.vertices.size() + (part.beams ? part.beams->nodes.size() : 0);
    if (vertices > std::numeric_limits<std::int32_t>::max()) {
        return refused({"3MF", fmt::format("{} vertices", vertices), "at most 2147483647",
                        "ask for a lower resolution", FaultKind::FailedWork});
    }
    ZipWriter zip(sink, part.threads);
    writeWhole(zip, "[Content_Types].xml", kContentTypes);
    writeWhole(zip, "_rels/.rels", kRelationships);
    zip.begin("3D/3dmodel.model");
    PieceWriter out([&zip](const void* bytes, std::size_t size) { return zip.write(bytes, size); }, monitor,
                    vertices + part.mesh.triangles.size());
    ModelWriter(part, out).write();
    const Result<void> finished = out.finish();
    if (finished) {
        zip.finish();
    }
    if (zip.isTooLarge()) {
        return refused({"3MF", "a package beyond 4 GiB", "at most 4 GiB",
                        "ask for a lower resolution, or write .ply", FaultKind::FailedWork});
    }
    return finished;
}

} // namespace zrk

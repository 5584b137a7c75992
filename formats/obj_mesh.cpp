#include "formats/obj_mesh.h"

#include "core/values/stop.h"
#include "formats/limits.h"
#include "formats/line_reader.h"
#include "formats/mesh_builder.h"
#include "formats/text_words.h"

#include <fmt/compile.h>
#include <fmt/format.h>

#include <iterator>
#include <optional>
#include <string_view>

namespace zrk {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF"; ///< as some editors put it before UTF-8

/// The vertex that a corner such as "7", "7/1/2" or "-1//3" names, from 0. Nothing for any other word.
std::optional<std::int64_t> vertexOf(std::string_view corner, std::size_t vertexCount)
{
    const auto index = wholeNumber<std::int64_t>(corner.substr(0, corner.find('/')));
    if (!index) {
        return std::nullopt;
    }
    return *index < 0 ? static_cast<std::int64_t>(vertexCount) + *index : *index - 1;
}

bool readVertex(std::string_view rest, MeshBuilder& builder)
{
    Tensor<3, double> p{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::optional<double> number = finiteNumber(takeWord(rest));
        if (!number) {
            return false;
        }
        p[axis] = *number;
    }
    return builder.addVertex(p);
}

bool readFace(std::string_view rest, MeshBuilder& builder)
{
    for (std::string_view corner = takeWord(rest); !corner.empty(); corner = takeWord(rest)) {
        const std::optional<std::int64_t> vertex = vertexOf(corner, builder.vertexCount());
        if (!vertex || !builder.addCorner(*vertex)) {
            return false;
        }
    }
    builder.endFace();
    return true;
}

} // namespace

Result<void> writeObj(const Part& part, const ByteSink& sink, ProgressMonitor* monitor)
{
    const MeshView& mesh = part.mesh;
    PieceWriter out(sink, monitor, mesh.vertices.size() + mesh.triangles.size());
    const auto to = std::back_inserter(out.buffer());
    fmt::format_to(to, "# written by zrk\n");
    if (part.unit) {
        fmt::format_to(to, "# unit {}\n", nameOf(*part.unit));
    }
    bool goesOn = true;
    for (std::size_t i = 0; goesOn && i < mesh.vertices.size(); ++i) {
        const Tensor<3, double>& p = mesh.vertices[i];
        fmt::format_to(to, FMT_COMPILE("v {} {} {}"), p[0], p[1], p[2]);
        if (!part.colors.empty()) {
            const VertexColor& c = part.colors[i];
            fmt::format_to(to, " {:.4f} {:.4f} {:.4f}", c[0] / 255.0, c[1] / 255.0, c[2] / 255.0);
        }
        out.buffer().push_back('\n');
        goesOn = out.step();
    }
    for (std::size_t i = 0; goesOn && i < mesh.triangles.size(); ++i) {
        const auto& t = mesh.triangles[i];
        fmt::format_to(to, FMT_COMPILE("f {} {} {}\n"), std::uint64_t{t[0]} + 1, std::uint64_t{t[1]} + 1,
                       std::uint64_t{t[2]} + 1);
        goesOn = out.step();
    }
    return out.finish();
}

Result<FileMesh> readObjMesh(const std::filesystem::path& path)
{
    return attempt(path.string(), [&]() -> Result<FileMesh> {
        LineReader lines(path, kMaxMeshFileBytes);
        MeshBuilder builder;
        StopLookout lookout;
        while (lines.next()) {
            lookout.step();
            std::string_view rest = lines.line();
            if (lines.number() == 1 && rest.starts_with(kByteOrderMark)) {
                rest.remove_prefix(kByteOrderMark.size());
            }
            const std::string_view word = takeWord(rest);
            const bool isGood = word == "v"   ? lines.isWhole() && readVertex(rest, builder)
                                : word == "f" ? lines.isWhole() && readFace(rest, builder)
                                              : true;
            if (!isGood) {
                return refused({fmt::format("{}, line {}", path.string(), lines.number()),
                                quotation(lines.line()),
                                "a vertex of three finite coordinates, or a face of whole numbers",
                                "export the mesh anew"});
            }
        }
        if (lines.fault()) {
            return refused(*lines.fault());
        }
        return builder.mesh(path.string());
    });
}

} // namespace zrk

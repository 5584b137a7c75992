#include "formats/stl.h"

#include "core/values/stop.h"
#include "core/values/vector3.h"
#include "formats/file_bytes.h"
#include "formats/limits.h"
#include "formats/mesh_builder.h"
#include "formats/text_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace zrk {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie in memory");

using Point = Tensor<3, double>;
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderBytes = 80;
constexpr std::size_t kHeadBytes = kHeaderBytes + sizeof(std::uint32_t);
constexpr std::size_t kTriangleBytes = 50;
constexpr const char* kExport = "export the mesh anew";

/// What the file holds of a triangle: the normal, the corners, and two bytes without a meaning.
std::array<std::uint8_t, kTriangleBytes> recordOf(const Point& a, const Point& b, const Point& c)
{
    const Point normal = cross(b - a, c - a);
    const double size = length(normal);
    const Point unit = size > 0 && std::isfinite(size) ? normal * (1 / size) : Point{};
    std::array<float, 12> numbers;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        numbers[axis] = static_cast<float>(unit[axis]);
        numbers[3 + axis] = static_cast<float>(a[axis]);
        numbers[6 + axis] = static_cast<float>(b[axis]);
        numbers[9 + axis] = static_cast<float>(c[axis]);
    }
    std::array<std::uint8_t, kTriangleBytes> record{};
    std::memcpy(record.data(), numbers.data(), sizeof numbers);
    return record;
}

/// Whether a position is beyond the range of float.
bool isTooFar(const Point& p)
{
    const auto isBeyond = [](double x) { return !(std::abs(x) <= std::numeric_limits<float>::max()); };
    return isBeyond(p[0]) || isBeyond(p[1]) || isBeyond(p[2]);
}

std::uint32_t claimedTriangles(Bytes bytes)
{
    std::uint32_t count = 0;
    std::memcpy(&count, bytes.data() + kHeaderBytes, sizeof count);
    return count;
}

tl::unexpected<Fault> tooManyTriangles(const std::string& place)
{
    return refused({place, "more triangles than the limit", fmt::format("at most {}", kMaxMeshNumbers / 3),
                    "divide the mesh", FaultKind::FailedWork});
}

tl::unexpected<Fault> badCorner(const std::string& place, const std::string& found)
{
    return refused({place, found, "three finite coordinates", kExport});
}

Result<FileMesh> readBinary(Bytes bytes, const std::string& place)
{
    const std::uint32_t count = claimedTriangles(bytes);
    if (count > kMaxMeshNumbers / 3) {
        return tooManyTriangles(place);
    }
    MeshBuilder builder;
    StopLookout lookout;
    for (std::uint32_t i = 0; i < count; ++i) {
        lookout.step();
        const std::uint8_t* corners = bytes.data() + kHeadBytes + i * kTriangleBytes + 3 * sizeof(float);
        for (std::size_t corner = 0; corner < 3; ++corner) {
            std::array<float, 3> p;
            std::memcpy(p.data(), corners + corner * sizeof p, sizeof p);
            const std::uint32_t vertex = builder.findOrAddVertex({p[0], p[1], p[2]});
            if (vertex == MeshBuilder::kNone) {
                return badCorner(place, fmt::format("a corner of triangle {} that isn't finite", i));
            }
            builder.addCorner(vertex);
        }
        builder.endFace();
    }
    return builder.mesh(place);
}

bool equalsIgnoringCase(std::string_view word, std::string_view lower)
{
    return std::equal(word.begin(), word.end(), lower.begin(), lower.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b; });
}

/// The text form, line by line: corners are the lines "vertex x y z", a facet ends with "endfacet".
class TextReader {
public:
    TextReader(Bytes bytes, const std::string& place)
        : _rest(reinterpret_cast<const char*>(bytes.data()), bytes.size()), _place(place)
    {}

    Result<FileMesh> read()
    {
        Result<void> line;
        StopLookout lookout;
        while (line && !_rest.empty()) {
            lookout.step();
            line = readLine();
        }
        if (!line) {
            return refused(line.error());
        }
        if (!_hasEnd || _corners != 0) {
            return refused(
                {_place, "a text STL file that ends before \"endsolid\"", "a whole file", kExport});
        }
        return _builder.mesh(_place);
    }

private:
    std::string_view _rest;
    const std::string& _place;
    MeshBuilder _builder;
    std::size_t _line = 0;
    std::size_t _corners = 0;
    bool _hasEnd = false;

    std::string place() const { return fmt::format("{}, line {}", _place, _line); }

    Result<void> readLine()
    {
        const std::size_t end = std::min(_rest.find('\n'), _rest.size());
        std::string_view line = _rest.substr(0, end);
        const std::string_view whole = line;
        _rest.remove_prefix(std::min(end + 1, _rest.size()));
        ++_line;
        const std::string_view word = takeWord(line);
        if (equalsIgnoringCase(word, "vertex")) {
            return readCorner(line, whole);
        }
        if (equalsIgnoringCase(word, "endfacet")) {
            return endFacet();
        }
        _hasEnd = equalsIgnoringCase(word, "endsolid") || (_hasEnd && word.empty());
        constexpr std::string_view kOthers[] = {"", "solid", "facet", "outer", "endloop", "endsolid"};
        if (std::none_of(std::begin(kOthers), std::end(kOthers),
                         [&](std::string_view other) { return equalsIgnoringCase(word, other); })) {
            return refused({place(), quotation(whole),
                            "solid, facet, outer, vertex, endloop, endfacet or endsolid as the first word",
                            kExport});
        }
        return {};
    }

    Result<void> readCorner(std::string_view rest, std::string_view whole)
    {
        Point p{};
        bool isGood = true;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::optional<double> number = finiteNumber(takeWord(rest));
            isGood = isGood && number;
            p[axis] = number.value_or(0);
        }
        if (!isGood || !takeWord(rest).empty()) {
            return badCorner(place(), quotation(whole));
        }
        if (++_corners > 3) {
            return refused({place(), "a fourth corner", "facets of three", kExport});
        }
        const std::uint32_t vertex = _builder.findOrAddVertex(p);
        return vertex != MeshBuilder::kNone && _builder.addCorner(vertex) ? Result<void>()
                                                                          : tooManyTriangles(_place);
    }

    Result<void> endFacet()
    {
        if (_corners != 3) {
            return refused({place(), fmt::format("a facet of {} corners", _corners), "three", kExport});
        }
        _corners = 0;
        _builder.endFace();
        return {};
    }
};

} // namespace

Result<void> writeStl(const Part& part, const ByteSink& sink, ProgressMonitor* monitor)
{
    const MeshView& mesh = part.mesh;
    if (mesh.triangles.size() > std::numeric_limits<std::uint32_t>::max()) {
        return refused({"STL", fmt::format("{} triangles", mesh.triangles.size()), "at most 4294967295",
                        "ask for a lower resolution, or write .ply", FaultKind::FailedWork});
    }
    PieceWriter out(sink, monitor, mesh.triangles.size());
    // Some readers take a file that begins with "solid" for text.
    std::string header = "zrk binary STL" + (part.unit ? fmt::format(", unit {}", nameOf(*part.unit)) : "");
    header.resize(kHeaderBytes, ' ');
    out.append(header.data(), header.size());
    out.appendValue(static_cast<std::uint32_t>(mesh.triangles.size()));
    for (const auto& triangle : mesh.triangles) {
        const Point& a = mesh.vertices[triangle[0]];
        const Point& b = mesh.vertices[triangle[1]];
        const Point& c = mesh.vertices[triangle[2]];
        for (const Point* p : {&a, &b, &c}) {
            if (isTooFar(*p)) {
                return refused({"STL", fmt::format("a vertex at {:g}, {:g}, {:g}", (*p)[0], (*p)[1], (*p)[2]),
                                "coordinates up to 3.4e38, as its numbers are 32-bit floats",
                                "write .ply or .obj", FaultKind::FailedWork});
            }
        }
        out.appendValue(recordOf(a, b, c));
        if (!out.step()) {
            break;
        }
    }
    return out.finish();
}

Result<FileMesh> readStl(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&]() -> Result<FileMesh> {
        const bool isLong = bytes.size() >= kHeadBytes;
        const std::uint64_t wanted =
            isLong ? kHeadBytes + std::uint64_t{kTriangleBytes} * claimedTriangles(bytes) : 0;
        std::string_view beginning(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        const bool isText = equalsIgnoringCase(takeWord(beginning), "solid");
        if (isText && wanted != bytes.size()) {
            return TextReader(bytes, place).read();
        }
        if (!isLong || wanted > bytes.size()) {
            return refused({place,
                            isLong ? fmt::format("{} bytes, while its {} triangles take {}", bytes.size(),
                                                 claimedTriangles(bytes), wanted)
                                   : fmt::format("{} bytes", bytes.size()),
                            "a whole STL file", kExport});
        }
        return readBinary(bytes, place);
    });
}

Result<FileMesh> readStlFile(const std::filesystem::path& path)
{
    return readFileBytes(path, kMaxMeshFileBytes).and_then([&](const std::vector<std::uint8_t>& bytes) {
        return readStl(bytes, path.string());
    });
}

} // namespace zrk

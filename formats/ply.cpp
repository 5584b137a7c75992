#include "formats/ply.h"

#include "core/values/stop.h"
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
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace zrk {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers are written as they lie in memory");

enum class Encoding { Text, Little, Big };
enum class Number { Int8, Uint8, Int16, Uint16, Int32, Uint32, Float32, Float64 };

struct NamedNumber {
    std::string_view names[2];
    Number number;
    std::size_t bytes;
};

constexpr NamedNumber kNumbers[] = {
    {{"char", "int8"}, Number::Int8, 1},        {{"uchar", "uint8"}, Number::Uint8, 1},
    {{"short", "int16"}, Number::Int16, 2},     {{"ushort", "uint16"}, Number::Uint16, 2},
    {{"int", "int32"}, Number::Int32, 4},       {{"uint", "uint32"}, Number::Uint32, 4},
    {{"float", "float32"}, Number::Float32, 4}, {{"double", "float64"}, Number::Float64, 8},
};

const NamedNumber* numberNamed(std::string_view name)
{
    const auto* known = std::find_if(std::begin(kNumbers), std::end(kNumbers), [&](const NamedNumber& n) {
        return n.names[0] == name || n.names[1] == name;
    });
    return known == std::end(kNumbers) ? nullptr : known;
}

struct Property {
    std::string name;
    const NamedNumber* number = nullptr;
    const NamedNumber* listLength = nullptr; ///< null for a single number
};

struct Element {
    std::string name;
    std::uint64_t count = 0;
    std::vector<Property> properties;

    std::optional<std::size_t> find(std::initializer_list<std::string_view> names) const
    {
        const auto found = std::find_if(properties.begin(), properties.end(), [&](const Property& p) {
            return std::find(names.begin(), names.end(), p.name) != names.end();
        });
        return found == properties.end()
                   ? std::nullopt
                   : std::optional(static_cast<std::size_t>(found - properties.begin()));
    }
};

struct Header {
    Encoding encoding = Encoding::Text;
    std::vector<Element> elements;
};

template <class T>
double numberAt(const char* bytes, bool isTurned)
{
    std::array<char, sizeof(T)> own;
    std::memcpy(own.data(), bytes, own.size());
    if (isTurned) {
        std::reverse(own.begin(), own.end());
    }
    return static_cast<double>(std::bit_cast<T>(own));
}

class PlyReader {
public:
    PlyReader(std::span<const std::uint8_t> bytes, const std::string& place)
        : _rest(reinterpret_cast<const char*>(bytes.data()), bytes.size()), _place(place)
    {}

    Result<FileMesh> read()
    {
        Result<void> done = readHeader();
        for (std::size_t i = 0; done && i < _header.elements.size(); ++i) {
            done = readElement(_header.elements[i]);
        }
        return done ? _builder.mesh(_place) : refused(done.error());
    }

private:
    std::string_view _rest;
    const std::string& _place;
    Header _header;
    MeshBuilder _builder;

    tl::unexpected<Fault> refuse(std::string found, std::string expected) const
    {
        return refused({_place, std::move(found), std::move(expected), "export the mesh anew"});
    }

    /// The next line of the header; nothing where the file ends without one.
    std::optional<std::string_view> takeLine()
    {
        const std::size_t end = _rest.find('\n');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string_view line = _rest.substr(0, end);
        _rest.remove_prefix(end + 1);
        return line;
    }

    Result<void> readHeader()
    {
        std::optional<std::string_view> line = takeLine();
        if (!line || takeWord(*line) != "ply") {
            return refuse("something else", "a PLY file, which begins with the line \"ply\"");
        }
        for (line = takeLine(); line; line = takeLine()) {
            const std::string_view whole = *line;
            const std::string_view word = takeWord(*line);
            if (word == "end_header") {
                return {};
            }
            const bool isKnown = word == "comment" || word == "obj_info" ||
                                 (word == "format" && readFormat(*line)) ||
                                 (word == "element" && readElementLine(*line)) ||
                                 (word == "property" && readPropertyLine(*line));
            if (!isKnown) {
                return refuse("the line " + quotation(whole) + " in the header",
                              "format, comment, element or property as PLY 1.0 has them");
            }
        }
        return refuse("a header without \"end_header\"", "a whole file");
    }

    bool readFormat(std::string_view rest)
    {
        constexpr std::pair<std::string_view, Encoding> kEncodings[] = {
            {"ascii", Encoding::Text},
            {"binary_little_endian", Encoding::Little},
            {"binary_big_endian", Encoding::Big}};
        const std::string_view name = takeWord(rest);
        const auto* known = std::find_if(std::begin(kEncodings), std::end(kEncodings),
                                         [&](const auto& encoding) { return encoding.first == name; });
        if (known == std::end(kEncodings) || takeWord(rest) != "1.0") {
            return false;
        }
        _header.encoding = known->second;
        return true;
    }

    bool readElementLine(std::string_view rest)
    {
        Element element;
        element.name = takeWord(rest);
        const auto count = wholeNumber<decltype(element.count)>(takeWord(rest));
        element.count = count.value_or(0);
        _header.elements.push_back(std::move(element));
        return count.has_value();
    }

    bool readPropertyLine(std::string_view rest)
    {
        Property property;
        std::string_view type = takeWord(rest);
        if (type == "list") {
            property.listLength = numberNamed(takeWord(rest));
            if (!property.listLength) {
                return false;
            }
            type = takeWord(rest);
        }
        property.number = numberNamed(type);
        property.name = takeWord(rest);
        if (!property.number || property.name.empty() || _header.elements.empty()) {
            return false;
        }
        _header.elements.back().properties.push_back(std::move(property));
        return true;
    }

    Result<void> readElement(const Element& element)
    {
        if (element.properties.empty()) {
            return {}; // takes no bytes, however many there are
        }
        std::uint64_t least = 0; // bytes that one takes
        for (const Property& property : element.properties) {
            const NamedNumber* first = property.listLength ? property.listLength : property.number;
            least += _header.encoding == Encoding::Text ? 1 : first->bytes;
        }
        if (element.count > _rest.size() / least) {
            return refuse(fmt::format("{} more bytes", _rest.size()),
                          fmt::format("{} times {}, each of {} bytes or more", element.count,
                                      quotation(element.name), least));
        }
        if (element.name == "vertex") {
            return readVertices(element);
        }
        if (element.name == "face") {
            return readFaces(element);
        }
        const std::vector<bool> none(element.properties.size(), false);
        return readItems(
            element, none, [](std::size_t, double) { return true; }, [] { return true; });
    }

    Result<void> readVertices(const Element& element)
    {
        std::vector<bool> isWanted(element.properties.size(), false);
        std::size_t places[3];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            constexpr std::string_view kNames[] = {"x", "y", "z"};
            const auto place = element.find({kNames[axis]});
            if (!place || element.properties[*place].listLength) {
                return refuse("vertices without " + std::string(kNames[axis]), "x, y and z");
            }
            places[axis] = *place;
            isWanted[*place] = true;
        }
        Tensor<3, double> p{};
        return readItems(
            element, isWanted,
            [&](std::size_t property, double value) {
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    p[axis] = places[axis] == property ? value : p[axis];
                }
                return true;
            },
            [&] { return _builder.addVertex(p); });
    }

    Result<void> readFaces(const Element& element)
    {
        std::vector<bool> isWanted(element.properties.size(), false);
        const auto corners = element.find({"vertex_indices", "vertex_index"});
        if (!corners || !element.properties[*corners].listLength) {
            return refuse("faces without a list vertex_indices", "one");
        }
        isWanted[*corners] = true;
        return readItems(
            element, isWanted,
            [&](std::size_t, double value) {
                const std::optional<std::int64_t> index = whole(value);
                return index && _builder.addCorner(*index);
            },
            [&] {
                _builder.endFace();
                return true;
            });
    }

    static std::optional<std::int64_t> whole(double value)
    {
        constexpr double kMost = 9007199254740992.0; // 2^53
        return std::abs(value) < kMost && value == std::floor(value)
                   ? std::optional(static_cast<std::int64_t>(value))
                   : std::nullopt;
    }

    /// Hands take(property, value) each number of the wanted properties, and calls end() after each item.
    /// Both return false for what can't be taken.
    template <class Take, class End>
    Result<void> readItems(const Element& element, const std::vector<bool>& isWanted, const Take& take,
                           const End& end)
    {
        StopLookout lookout;
        for (std::uint64_t item = 0; item < element.count; ++item) {
            lookout.step();
            bool isGood = true;
            for (std::size_t i = 0; isGood && i < element.properties.size(); ++i) {
                isGood = readProperty(element.properties[i], isWanted[i],
                                      [&](double value) { return take(i, value); });
            }
            if (!isGood || !end()) {
                return refuse(
                    fmt::format("{} {} that can't be read, counted from 0", quotation(element.name), item),
                    fmt::format("the finite numbers that its properties ask for, and at most {} "
                                "coordinates and corners",
                                kMaxMeshNumbers));
            }
        }
        return {};
    }

    template <class Take>
    bool readProperty(const Property& property, bool isWanted, const Take& take)
    {
        std::int64_t count = 1;
        if (property.listLength) {
            const std::optional<double> length = takeNumber(*property.listLength, true);
            const std::optional<std::int64_t> wholeLength = length ? whole(*length) : std::nullopt;
            if (!wholeLength || *wholeLength < 0) {
                return false;
            }
            count = *wholeLength;
        }
        StopLookout lookout;
        for (; count > 0; --count) {
            lookout.step();
            const std::optional<double> value = takeNumber(*property.number, isWanted);
            if (!value || (isWanted && !take(*value))) {
                return false;
            }
        }
        return true;
    }

    /// The next number; what isn't wanted may be any word of a text. Nothing at the end of the file.
    std::optional<double> takeNumber(const NamedNumber& number, bool isWanted)
    {
        if (_header.encoding == Encoding::Text) {
            const std::string_view word = takeWord(_rest);
            return isWanted || word.empty() ? finiteNumber(word) : std::optional(0.0);
        }
        if (_rest.size() < number.bytes) {
            return std::nullopt;
        }
        const char* bytes = _rest.data();
        _rest.remove_prefix(number.bytes);
        return decoded(number.number, bytes);
    }

    double decoded(Number number, const char* bytes) const
    {
        const bool isTurned = _header.encoding == Encoding::Big;
        switch (number) {
        case Number::Int8:
            return numberAt<std::int8_t>(bytes, isTurned);
        case Number::Uint8:
            return numberAt<std::uint8_t>(bytes, isTurned);
        case Number::Int16:
            return numberAt<std::int16_t>(bytes, isTurned);
        case Number::Uint16:
            return numberAt<std::uint16_t>(bytes, isTurned);
        case Number::Int32:
            return numberAt<std::int32_t>(bytes, isTurned);
        case Number::Uint32:
            return numberAt<std::uint32_t>(bytes, isTurned);
        case Number::Float32:
            return numberAt<float>(bytes, isTurned);
        case Number::Float64:
            break;
        }
        return numberAt<double>(bytes, isTurned);
    }
};

std::string plyHeader(const Part& part)
{
    std::string header = "ply\nformat binary_little_endian 1.0\ncomment written by zrk\n";
    if (part.unit) {
        header += fmt::format("comment unit {}\n", nameOf(*part.unit));
    }
    header += fmt::format("element vertex {}\nproperty double x\nproperty double y\nproperty double z\n",
                          part.mesh.vertices.size());
    if (!part.colors.empty()) {
        header += "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty uchar alpha\n";
    }
    return header + fmt::format("element face {}\nproperty list uchar int vertex_indices\nend_header\n",
                                part.mesh.triangles.size());
}

} // namespace

Result<void> writePly(const Part& part, const ByteSink& sink, ProgressMonitor* monitor)
{
    const MeshView& mesh = part.mesh;
    if (mesh.vertices.size() > std::numeric_limits<std::int32_t>::max()) {
        return refused({"PLY", fmt::format("{} vertices", mesh.vertices.size()), "at most 2147483647",
                        "ask for a lower resolution, or write .obj", FaultKind::FailedWork});
    }
    PieceWriter out(sink, monitor, mesh.vertices.size() + mesh.triangles.size());
    const std::string header = plyHeader(part);
    out.append(header.data(), header.size());
    bool goesOn = true;
    for (std::size_t i = 0; goesOn && i < mesh.vertices.size(); ++i) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            out.appendValue(mesh.vertices[i][axis]);
        }
        if (!part.colors.empty()) {
            out.appendValue(part.colors[i]);
        }
        goesOn = out.step();
    }
    for (std::size_t i = 0; goesOn && i < mesh.triangles.size(); ++i) {
        out.appendValue(std::uint8_t{3});
        out.appendValue(mesh.triangles[i]);
        goesOn = out.step();
    }
    return out.finish();
}

Result<FileMesh> readPly(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&] { return PlyReader(bytes, place).read(); });
}

Result<FileMesh> readPlyFile(const std::filesystem::path& path)
{
    return readFileBytes(path, kMaxMeshFileBytes).and_then([&](const std::vector<std::uint8_t>& bytes) {
        return readPly(bytes, path.string());
    });
}

} // namespace zrk

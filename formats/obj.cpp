#include "formats/obj.h"

#include "core/values/stop.h"
#include "formats/limits.h"
#include "formats/line_reader.h"
#include "formats/text_words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>
#include <utility>

namespace zrk {

namespace {

constexpr const char* kDivide = "divide the mesh";
constexpr std::string_view kSkippedWords[] = {"vt", "vn", "o", "g", "s", "mtllib", "usemtl"};

/// What `std::istream` extracts from the text, one value after the other.
template <class T>
void extract(std::string_view text, T* values, std::size_t count)
{
    std::istringstream stream{std::string(text)};
    stream.imbue(std::locale::classic());
    for (std::size_t i = 0; i < count; ++i) {
        stream >> values[i];
    }
}

/// Takes a number of digits, at most one point and no exponent, few enough that one correctly rounded
/// division gives its value. False, and the text stays, for any other form or where more follows than a
/// blank.
bool takeShortNumber(std::string_view& text, double& number)
{
    constexpr double kPowers[] = {1e0, 1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7, 1e8,
                                  1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16};
    constexpr std::ptrdiff_t kMaxDigits = 15; // below 2^53
    const char* c = text.data();
    const char* const end = c + text.size();
    const bool isNegative = c != end && *c == '-';
    c += isNegative;
    const char* const first = c;
    std::uint64_t digits = 0;
    // More digits than fit may wrap around here; they are refused below.
    for (; c != end && isDigit(*c); ++c) {
        digits = 10 * digits + static_cast<std::uint64_t>(*c - '0');
    }
    std::ptrdiff_t digitCount = c - first;
    std::ptrdiff_t decimals = 0;
    if (c != end && *c == '.') {
        const char* const point = c++;
        for (; c != end && isDigit(*c); ++c) {
            digits = 10 * digits + static_cast<std::uint64_t>(*c - '0');
        }
        decimals = c - point - 1;
        digitCount += decimals;
    }
    if (digitCount == 0 || digitCount > kMaxDigits || (c != end && !isBlank(*c))) {
        return false;
    }
    const double size = static_cast<double>(digits) / kPowers[decimals];
    number = isNegative ? -size : size;
    text.remove_prefix(static_cast<std::size_t>(c - text.data()));
    return true;
}

/// Takes a number in the common form of streams and `from_chars`. False, and the text stays, where they could
/// differ.
bool takeNumber(std::string_view& text, double& number)
{
    const char* const end = text.data() + text.size();
    const std::size_t sign = !text.empty() && text[0] == '-';
    if (text.size() == sign || (!isDigit(text[sign]) && text[sign] != '.')) {
        return false; // "inf", "nan", a plus sign
    }
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || (stop != end && !isBlank(*stop))) {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return true;
}

/// The three coordinates behind the word "v".
std::array<double, 3> coordinatesOf(std::string_view text)
{
    std::array<double, 3> coordinates{};
    for (std::size_t i = 0; i < 3; ++i) {
        skipBlanks(text);
        if (!takeShortNumber(text, coordinates[i]) && !takeNumber(text, coordinates[i])) {
            extract(text, &coordinates[i], 3 - i);
            break;
        }
    }
    return coordinates;
}

/// Takes a corner such as "7", "7/1" or "7//3" from a text that begins with one: its vertex index, from 0.
int takeCorner(std::string_view& text)
{
    constexpr std::size_t kSafeDigits = 9;
    std::size_t i = 0;
    int index = 0;
    for (; i < text.size() && i < kSafeDigits && isDigit(text[i]); ++i) {
        index = 10 * index + (text[i] - '0');
    }
    if (i > 0 && (i == text.size() || text[i] == '/' || isBlank(text[i]))) {
        while (i < text.size() && !isBlank(text[i])) {
            ++i;
        }
        text.remove_prefix(i);
    } else {
        const std::string_view word = takeWord(text);
        index = 0;
        extract(word.substr(0, word.find('/')), &index, 1);
    }
    return index == std::numeric_limits<int>::min() ? index : index - 1;
}

/// An index with the line it stands in.
struct PlacedIndex {
    int index = 0;
    std::int64_t line = 0;
};

class ObjParser {
public:
    explicit ObjParser(const std::filesystem::path& path)
        : _name(path.string()), _lines(path, kMaxMeshFileBytes)
    {}

    WavefrontObj read()
    {
        while (_lines.next() && readLine()) {
            _lookout.step();
        }
        if (_lines.fault()) {
            _obj.fault = *_lines.fault();
        }
        _obj.vertexCount = static_cast<int>(_obj.vertices.size() / 3);
        _obj.triangleCount = static_cast<int>(_obj.indices.size() / 3);
        tellIndexFault();
        return std::move(_obj);
    }

private:
    std::string _name;
    LineReader _lines;
    StopLookout _lookout;
    WavefrontObj _obj;
    PlacedIndex _lowest{std::numeric_limits<int>::max()};
    PlacedIndex _highest{std::numeric_limits<int>::min()};
    PlacedIndex _corners[3]; ///< of the triangle that isn't complete yet

    /// False when the line ends the reading.
    bool readLine()
    {
        std::string_view rest = _lines.line();
        const std::string_view word = takeWord(rest);
        if (word == "v" && _lines.isWhole()) {
            return readVertex(rest);
        }
        if (word == "f" && _lines.isWhole()) {
            return readFace(rest);
        }
        if ((word.empty() && _lines.isWhole()) || word.starts_with('#') ||
            std::find(std::begin(kSkippedWords), std::end(kSkippedWords), word) != std::end(kSkippedWords)) {
            return true;
        }
        if (!_lines.isWhole()) {
            return refuse("lines of at most " + std::to_string(kMaxLineBytes >> 20) + " MiB",
                          "divide the line");
        }
        return refuse("v, f, vt, vn, o, g, s, mtllib, usemtl or # as the first word",
                      "remove the line, or begin it with #");
    }

    bool readVertex(std::string_view rest)
    {
        if (_obj.vertices.size() > kMaxMeshNumbers - 3) {
            return refuse("at most " + std::to_string(kMaxMeshNumbers / 3) + " vertices", kDivide);
        }
        const std::array<double, 3> vertex = coordinatesOf(rest);
        _obj.vertices.insert(_obj.vertices.end(), vertex.begin(), vertex.end());
        return true;
    }

    bool readFace(std::string_view rest)
    {
        const std::size_t before = _obj.indices.size();
        const bool goesOn = readCorners(rest);
        noteFace(_obj.indices.size() - before);
        return goesOn;
    }

    void noteFace(std::size_t corners)
    {
        _obj.polygonCount += corners > 3;
        _obj.shortFaceCount += corners == 1 || corners == 2;
        if (_obj.firstPolygonLine == 0 && corners != 0 && corners != 3) {
            _obj.firstPolygonLine = _lines.number();
        }
    }

    bool readCorners(std::string_view rest)
    {
        for (skipBlanks(rest); !rest.empty(); skipBlanks(rest)) {
            _lookout.step();
            if (_obj.indices.size() == kMaxMeshNumbers) {
                return refuse("at most " + std::to_string(kMaxMeshNumbers) + " corners of faces", kDivide);
            }
            const int index = takeCorner(rest);
            _corners[_obj.indices.size() % 3] = {index, _lines.number()};
            _obj.indices.push_back(index);
            if (_obj.indices.size() % 3 == 0) {
                noteTriangle();
            }
        }
        return true;
    }

    void noteTriangle()
    {
        for (const PlacedIndex& corner : _corners) {
            _lowest = corner.index < _lowest.index ? corner : _lowest;
            _highest = corner.index > _highest.index ? corner : _highest;
        }
    }

    std::string place(std::int64_t line) const { return _name + ", line " + std::to_string(line); }

    bool refuse(const std::string& expected, const std::string& remedy)
    {
        _obj.offendingLine = _lines.line();
        _obj.fault = {place(_lines.number()), quotation(_lines.line()), expected,
                      remedy + "; the rest of the file is left out"};
        return false;
    }

    void tellIndexFault()
    {
        const PlacedIndex& worst = _lowest.index < 0 ? _lowest : _highest;
        if (_obj.triangleCount == 0 || (worst.index >= 0 && worst.index < _obj.vertexCount)) {
            return;
        }
        _obj.indexFault = {place(worst.line),
                           "a face with the vertex " + std::to_string(std::int64_t{worst.index} + 1),
                           "1 to " + std::to_string(_obj.vertexCount) + ", the vertices of the file",
                           "count the vertices of the whole file from 1, or export the mesh anew"};
    }
};

} // namespace

WavefrontObj parseWavefrontObj(const std::filesystem::path& path) { return ObjParser(path).read(); }

WavefrontObj readWavefrontObj(const std::filesystem::path& path)
{
    WavefrontObj obj = parseWavefrontObj(path);
    if (obj.offendingLine) {
        std::cout << "Error: does not appear to be a valid Wavefront OBJ file!\n"
                  << "(Offending line: " << *obj.offendingLine << ")" << std::endl;
    }
    return obj;
}

void readWavefrontObj(const std::string& path, int& vertexCount, std::vector<double>& vertices,
                      int& triangleCount, std::vector<int>& indices)
{
    WavefrontObj obj = readWavefrontObj(std::filesystem::path(path));
    vertexCount = obj.vertexCount;
    vertices = std::move(obj.vertices);
    triangleCount = obj.triangleCount;
    indices = std::move(obj.indices);
}

bool fitVerticesToBox(int vertexCount, std::vector<double>& vertices, const BBox<double>& box)
{
    if (vertices.empty()) {
        return false;
    }
    const std::size_t count =
        std::min(static_cast<std::size_t>(std::max(vertexCount, 0)), vertices.size() / 3);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double low = 0;
        double high = 0;
        StopLookout lookout;
        for (std::size_t i = 0; i < count; ++i) {
            lookout.step();
            low = std::min(low, vertices[3 * i + axis]);
            high = std::max(high, vertices[3 * i + axis]);
        }
        const double size = high - low;
        const double scale = (box.max[axis] - box.min[axis]) / size;
        const double shift = (box.min[axis] + box.max[axis]) * 0.5 - (low + high) * 0.5 * scale;
        for (std::size_t i = 0; i < count; ++i) {
            lookout.step();
            vertices[3 * i + axis] = vertices[3 * i + axis] * scale + shift;
        }
    }
    return true;
}

bool fitVerticesUniformly(std::vector<double>& vertices, const BBox<double>& box)
{
    if (vertices.empty()) {
        return false;
    }
    Tensor<3, double> low{vertices[0], vertices[1], vertices[2]};
    Tensor<3, double> high = low;
    StopLookout lookout;
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        lookout.step();
        low[i % 3] = std::min(low[i % 3], vertices[i]);
        high[i % 3] = std::max(high[i % 3], vertices[i]);
    }
    double scale = std::numeric_limits<double>::infinity();
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (high[axis] > low[axis]) {
            scale = std::min(scale, (box.max[axis] - box.min[axis]) / (high[axis] - low[axis]));
        }
    }
    scale = std::isfinite(scale) ? scale : 1.0;
    for (std::size_t i = 0; i < vertices.size(); ++i) {
        lookout.step();
        const std::size_t axis = i % 3;
        const double middle = low[axis] + (high[axis] - low[axis]) * 0.5;
        vertices[i] = (vertices[i] - middle) * scale + (box.min[axis] + box.max[axis]) * 0.5;
    }
    return true;
}

} // namespace zrk

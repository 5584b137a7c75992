#include "formats/volume_source.h"

#include "core/values/stop.h"
#include "formats/input_file.h"
#include "formats/npy.h"
#include "formats/part.h"
#include "formats/points.h"
#include "formats/text_words.h"
#include "formats/vdb.h"
#include "formats/xml_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace zrk {

namespace {

/// In which a head must end.
constexpr std::size_t kSourceHeadBytes = std::size_t{1} << 16;

/// How the numbers lie in a file.
struct NumberLayout {
    bool isFloat;
    std::size_t bytes;
    bool isSwapped; ///< the byte of the greatest weight first
};

/// What the head of a file tells, and where the values begin.
struct VolumeHead {
    Volume volume;
    bool hasPositions;
    NumberLayout numbers;
    std::uint64_t begin;
    bool isFortranOrder;
};

[[noreturn]] void refuseHead(const std::string& place, std::string found, std::string expected)
{
    throw FaultError(
        {place, std::move(found), std::move(expected),
         "write it with zrk, with numpy.save, as NRRD with raw encoding, or as VTK image data with raw "
         "appended values"});
}

/// The bytes of a file from front to back, of which the first are held.
class ByteStream {
public:
    using Read = std::function<Result<std::size_t>(void*, std::size_t)>;

    ByteStream(Read read, std::uint64_t size, std::string place)
        : _read(std::move(read)), _size(size), _place(std::move(place)), _head(kSourceHeadBytes)
    {
        _head.resize(valueOrThrow(_read(_head.data(), _head.size())));
    }

    const std::string& place() const { return _place; }
    std::uint64_t size() const { return _size; }
    std::string_view head() const { return {_head.data(), _head.size()}; }

    /// Goes to a place behind what has been read.
    void goTo(std::uint64_t place)
    {
        _at = static_cast<std::size_t>(std::min<std::uint64_t>(place, _head.size()));
        std::vector<char> passed;
        for (std::uint64_t left = place - _at; left > 0; left -= passed.size()) {
            passed.resize(static_cast<std::size_t>(std::min<std::uint64_t>(left, kSourceHeadBytes)));
            read(passed.data(), passed.size());
        }
    }
    void read(void* bytes, std::size_t size)
    {
        stopIfAsked();
        auto* to = static_cast<char*>(bytes);
        const std::size_t held = std::min(size, _head.size() - _at);
        std::memcpy(to, _head.data() + _at, held);
        _at += held;
        if (held < size && valueOrThrow(_read(to + held, size - held)) < size - held) {
            throw FaultError({_place, "an end before its time", "the whole file", "write it again"});
        }
    }

private:
    Read _read;
    std::uint64_t _size;
    std::string _place;
    std::vector<char> _head;
    std::size_t _at = 0;
};

double fromHalf(std::uint16_t bits)
{
    constexpr int kDigits = 10;
    constexpr int kLeastExponent = -14 - kDigits;
    const int exponent = bits >> kDigits & 31;
    const int digits = bits & 1023;
    const double size = exponent == 31  ? (digits != 0 ? std::numeric_limits<double>::quiet_NaN()
                                                       : std::numeric_limits<double>::infinity())
                        : exponent == 0 ? std::ldexp(digits, kLeastExponent)
                                        : std::ldexp(1024 + digits, kLeastExponent + exponent - 1);
    return std::copysign(size, bits & 0x8000 ? -1.0 : 1.0);
}

template <class Number, class Convert>
void decode(std::vector<std::uint8_t>& bytes, bool isSwapped, std::span<double> values, Convert convert)
{
    std::uint8_t* from = bytes.data();
    for (double& value : values) {
        if (isSwapped) {
            std::reverse(from, from + sizeof(Number));
        }
        Number number;
        std::memcpy(&number, from, sizeof number);
        value = convert(number);
        from += sizeof number;
    }
}

void decode(std::vector<std::uint8_t>& bytes, const NumberLayout& numbers, std::span<double> values)
{
    const auto widened = [](auto number) { return static_cast<double>(number); };
    if (numbers.bytes == 8) {
        decode<double>(bytes, numbers.isSwapped, values, widened);
    } else if (numbers.bytes == 4) {
        decode<float>(bytes, numbers.isSwapped, values, widened);
    } else if (numbers.bytes == 1) {
        decode<std::uint8_t>(bytes, false, values, widened);
    } else if (numbers.isFloat) {
        decode<std::uint16_t>(bytes, numbers.isSwapped, values, fromHalf);
    } else {
        decode<std::uint16_t>(bytes, numbers.isSwapped, values, widened);
    }
}

std::vector<std::string_view> wordsOf(std::string_view text)
{
    std::vector<std::string_view> words;
    for (std::string_view word = takeWord(text); !word.empty(); word = takeWord(text)) {
        words.push_back(word);
    }
    return words;
}

/// Extents of a volume with its components first: of so many whole numbers, each from 1 on.
void setExtents(Volume& volume, const std::vector<std::uint64_t>& extents, const std::string& place)
{
    const bool hasComponents = extents.size() == 4;
    const std::uint64_t components = hasComponents ? extents[0] : 1;
    if (extents.size() != 3 && !hasComponents) {
        refuseHead(place, fmt::format("an array of {} dimensions", extents.size()),
                   "3, or 4 with components");
    }
    if (components != 1 && components != 3 && components != 4) {
        refuseHead(place, fmt::format("{} components", components), "1, 3 of a vector or 4 of a colour");
    }
    volume.components = static_cast<int>(components);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::uint64_t extent = extents[axis + (hasComponents ? 1 : 0)];
        if (extent < 1 || extent > std::numeric_limits<std::int32_t>::max()) {
            refuseHead(place, fmt::format("an extent of {}", extent),
                       fmt::format("1 to {} along each axis", std::numeric_limits<std::int32_t>::max()));
        }
        volume.dims[axis] = static_cast<std::int32_t>(extent);
    }
}

VolumeHead emptyHead()
{
    VolumeHead head{};
    head.volume.components = 1;
    return head;
}

VolumeHead npyHead(const ByteStream& file)
{
    const std::string_view bytes = file.head();
    const NpyHead read = valueOrThrow(
        readNpyHead({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, file.place()));
    VolumeHead head = emptyHead();
    const std::string& type = read.type;
    const std::string kind = type.size() == 3 ? type.substr(1) : "";
    if ((kind != "u1" && kind != "u2" && kind != "f2" && kind != "f4" && kind != "f8") ||
        std::string_view("<>|=").find(type[0]) == std::string_view::npos) {
        refuseHead(file.place(), "values of the type " + quotation(type),
                   "uint8, uint16, float16, float32 or float64");
    }
    head.numbers = {kind[0] == 'f', static_cast<std::size_t>(kind[1] - '0'), type[0] == '>'};
    std::vector<std::uint64_t> extents(read.shape.rbegin(), read.shape.rend());
    setExtents(head.volume, extents, file.place());
    head.begin = read.bytes;
    head.isFortranOrder = read.isFortranOrder;
    return head;
}

/// The lines of a NRRD file's head, by what stands before their colons; the values begin behind it.
struct NrrdFields {
    std::map<std::string, std::string, std::less<>> fields;
    std::uint64_t end = 0;

    std::string_view operator[](std::string_view key) const
    {
        const auto field = fields.find(key);
        return field == fields.end() ? std::string_view() : std::string_view(field->second);
    }
};

NrrdFields nrrdFields(const ByteStream& file)
{
    NrrdFields read;
    const std::string_view head = file.head();
    std::size_t at = 0;
    while (true) {
        const std::size_t end = head.find('\n', at);
        if (end == std::string_view::npos) {
            refuseHead(file.place(), "no empty line in the beginning", "the end of the head of a NRRD file");
        }
        std::string_view line = head.substr(at, end - at);
        line.remove_suffix(line.ends_with('\r') ? 1 : 0);
        if (at == 0 && (line.size() != 8 || !line.starts_with("NRRD000"))) {
            refuseHead(file.place(), "something else or a damaged file", "a NRRD file");
        }
        at = end + 1;
        if (line.empty()) {
            read.end = at;
            return read;
        }
        const std::size_t colon = line.find(": ");
        if (!line.starts_with('#') && colon != std::string_view::npos) {
            read.fields.try_emplace(std::string(line.substr(0, colon)), line.substr(colon + 2));
        }
    }
}

/// The vectors of a text such as "(1,0,0) (0,1,0)". None where it has others than of three numbers.
std::vector<std::vector<double>> vectorsOf(std::string_view text)
{
    std::vector<std::vector<double>> vectors;
    for (std::size_t begin = text.find('('); begin != std::string_view::npos; begin = text.find('(', begin)) {
        const std::size_t end = std::min(text.find(')', begin), text.size());
        const auto numbers = parseNumbers(text.substr(begin + 1, end - begin - 1), 3);
        if (!numbers) {
            return {};
        }
        vectors.push_back(*numbers);
        begin = end;
    }
    return vectors;
}

void setNrrdPositions(VolumeHead& head, const NrrdFields& fields, const std::string& place)
{
    double spacing[3] = {1, 1, 1};
    double lower[3] = {};
    const auto directions = vectorsOf(fields["space directions"]);
    const auto origin = vectorsOf(fields["space origin"]);
    if (!fields["space directions"].empty()) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (std::size_t other = 0; other < 3; ++other) {
                if (directions.size() != 3 || (axis != other && directions[axis][other] != 0)) {
                    refuseHead(place, "the directions " + quotation(fields["space directions"]),
                               "axes along x, y and z of a space of three dimensions");
                }
            }
            spacing[axis] = directions[axis][axis];
        }
    } else if (const auto words = wordsOf(fields["spacings"]); words.size() >= 3) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            spacing[axis] = finiteNumber(words[words.size() - 3 + axis]).value_or(0);
        }
    }
    if (origin.size() == 1) {
        std::copy(origin[0].begin(), origin[0].end(), lower);
    }
    placeNodes(head.volume, lower, spacing, place);
    head.hasPositions = !fields["space directions"].empty() || !fields["spacings"].empty();
}

/// A unit that is known by its name, or none.
std::string unitNamed(std::string name) { return lengthUnit("unit", name) ? name : std::string(); }

VolumeHead nrrdHead(const ByteStream& file)
{
    const NrrdFields fields = nrrdFields(file);
    const auto expect = [&](std::string_view key, std::initializer_list<std::string_view> choices) {
        if (std::find(choices.begin(), choices.end(), fields[key]) == choices.end()) {
            refuseHead(file.place(), fmt::format("{} {}", key, quotation(fields[key])),
                       fmt::format("{}", fmt::join(choices, ", ")));
        }
    };
    VolumeHead head = emptyHead();
    expect("encoding", {"raw"});
    for (const char* key : {"data file", "datafile", "line skip", "byte skip"}) {
        if (!fields[key].empty() && fields[key] != "0") {
            refuseHead(file.place(), fmt::format("the field \"{}\"", key),
                       "values in the same file, behind its head");
        }
    }
    static const std::map<std::string_view, NumberLayout> kTypes = {
        {"uchar", {false, 1, false}},  {"unsigned char", {false, 1, false}},
        {"uint8", {false, 1, false}},  {"uint8_t", {false, 1, false}},
        {"ushort", {false, 2, false}}, {"unsigned short", {false, 2, false}},
        {"uint16", {false, 2, false}}, {"uint16_t", {false, 2, false}},
        {"float", {true, 4, false}},   {"double", {true, 8, false}}};
    const auto type = kTypes.find(fields["type"]);
    if (type == kTypes.end()) {
        refuseHead(file.place(), "values of the type " + quotation(fields["type"]),
                   "uint8, uint16, float or double");
    }
    head.numbers = type->second;
    if (head.numbers.bytes > 1) {
        expect("endian", {"little", "big"});
        head.numbers.isSwapped = fields["endian"] == "big";
    }
    std::vector<std::uint64_t> extents;
    for (const std::string_view word : wordsOf(fields["sizes"])) {
        extents.push_back(0);
        std::from_chars(word.data(), word.data() + word.size(), extents.back());
    }
    setExtents(head.volume, extents, file.place());
    setNrrdPositions(head, fields, file.place());
    head.volume.name = fields["content"];
    const std::string_view units = fields["space units"];
    const std::size_t unitBegin = std::min(units.find('"'), units.size());
    const std::size_t unitEnd = std::min(units.find('"', unitBegin + 1), units.size());
    head.volume.unit = unitEnd > unitBegin
                           ? unitNamed(std::string(units.substr(unitBegin + 1, unitEnd - unitBegin - 1)))
                           : "";
    head.begin = fields.end;
    return head;
}

/// The attributes of a VTK file that are needed, by element and name, as "Piece.Extent"; of the first element
/// of each name, and of arrays the first one within PointData.
std::map<std::string, std::string, std::less<>> vtkAttributes(std::string_view xml, const std::string& place)
{
    std::map<std::string, std::string, std::less<>> all;
    XmlReader reader(
        [xml](char* to, std::size_t most) mutable {
            const std::size_t size = std::min(most, xml.size());
            std::memcpy(to, xml.data(), size);
            xml.remove_prefix(size);
            return size;
        },
        place);
    std::vector<std::string> open;
    while (true) {
        const XmlReader::Event event = reader.next();
        if (event == XmlReader::Event::Finished) {
            refuseHead(place, "no <AppendedData>", "values that are appended");
        }
        if (event == XmlReader::Event::End) {
            open.pop_back();
            continue;
        }
        open.push_back(reader.name());
        if (reader.name() == "DataArray" && (open.size() < 2 || open[open.size() - 2] != "PointData")) {
            continue;
        }
        for (const char* name :
             {"type", "byte_order", "header_type", "compressor", "WholeExtent", "Origin", "Spacing",
              "Direction", "Extent", "Name", "NumberOfComponents", "format", "offset", "encoding"}) {
            if (const std::string* value = reader.attribute(name)) {
                all.try_emplace(reader.name() + "." + name, *value);
            }
        }
        if (reader.name() == "AppendedData") {
            return all;
        }
    }
}

/// The codes of characters that our own files give a unit in.
std::string vtkUnit(std::string_view xml)
{
    const std::size_t name = xml.find("Name=\"unit\"");
    const std::size_t begin = xml.find('>', std::min(name, xml.size()));
    if (name == std::string_view::npos || begin == std::string_view::npos) {
        return "";
    }
    std::string unit;
    for (const std::string_view word : wordsOf(xml.substr(begin + 1, xml.find('<', begin) - begin - 1))) {
        const double code = finiteNumber(word).value_or(0);
        if (code > ' ' && code < 127) {
            unit += static_cast<char>(code);
        }
    }
    return unitNamed(unit);
}

/// The attributes of a VTK head, such as "Piece.Extent", as they must be.
struct VtiAttributes {
    std::string place; ///< for messages
    std::map<std::string, std::string, std::less<>> all;

    /// The value of one that must be one of some.
    std::string oneOf(const std::string& key, std::initializer_list<std::string_view> choices)
    {
        const std::string& value = all[key];
        if (std::find(choices.begin(), choices.end(), value) == choices.end()) {
            refuseHead(place, fmt::format("{} {}", key, quotation(value)),
                       fmt::format("\"{}\"", fmt::join(choices, "\", \"")));
        }
        return value;
    }
    /// So many finite numbers.
    std::vector<double> numbers(const std::string& key, std::size_t count, const char* otherwise) const
    {
        const auto attribute = all.find(key);
        const std::string text = attribute == all.end() ? otherwise : attribute->second;
        std::vector<double> found;
        for (const std::string_view word : wordsOf(text)) {
            found.push_back(finiteNumber(word).value_or(std::numeric_limits<double>::quiet_NaN()));
        }
        if (found.size() != count ||
            std::any_of(found.begin(), found.end(), [](double n) { return std::isnan(n); })) {
            refuseHead(place, fmt::format("{} {}", key, quotation(text)),
                       fmt::format("{} finite numbers", count));
        }
        return found;
    }
};

VolumeHead vtiHead(ByteStream& file)
{
    const std::string_view head = file.head();
    const std::size_t appended = head.find("<AppendedData");
    const std::size_t mark =
        head.find('_', std::min(head.find('>', std::min(appended, head.size())), head.size()));
    if (appended == std::string_view::npos || mark == std::string_view::npos) {
        refuseHead(file.place(), "no <AppendedData> in the beginning",
                   "VTK image data with its values appended");
    }
    const std::string_view xml = head.substr(0, mark);
    VtiAttributes attributes{file.place(), vtkAttributes(xml, file.place())};
    attributes.oneOf("VTKFile.type", {"ImageData"});
    attributes.oneOf("VTKFile.compressor", {""});
    attributes.oneOf("AppendedData.encoding", {"raw"});
    attributes.oneOf("DataArray.format", {"appended"});
    const std::string type = attributes.oneOf("DataArray.type", {"UInt8", "UInt16", "Float32", "Float64"});
    const bool isSwapped =
        attributes.oneOf("VTKFile.byte_order", {"LittleEndian", "BigEndian"}) == "BigEndian";
    const std::size_t lengthBytes =
        attributes.oneOf("VTKFile.header_type", {"UInt64", "UInt32", ""}) == "UInt64" ? 8 : 4;
    if (attributes.numbers("ImageData.Direction", 9, "1 0 0 0 1 0 0 0 1") !=
        std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1}) {
        refuseHead(file.place(), "axes that are turned", "axes along x, y and z");
    }
    if (attributes.all["Piece.Extent"] != attributes.all["ImageData.WholeExtent"]) {
        refuseHead(file.place(), "a piece of a volume",
                   "a whole one: `zrk join` puts together what `zrk sample --shard` writes");
    }
    VolumeHead read = emptyHead();
    const std::vector<double> extent = attributes.numbers("Piece.Extent", 6, "");
    const std::vector<double> origin = attributes.numbers("ImageData.Origin", 3, "0 0 0");
    const std::vector<double> spacing = attributes.numbers("ImageData.Spacing", 3, "1 1 1");
    std::vector<std::uint64_t> extents = {static_cast<std::uint64_t>(
        std::clamp(attributes.numbers("DataArray.NumberOfComponents", 1, "1")[0], 0.0, 100.0))};
    double lower[3];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        extents.push_back(
            static_cast<std::uint64_t>(std::clamp(extent[2 * axis + 1] - extent[2 * axis] + 1, 0.0, 1e10)));
        lower[axis] = origin[axis] + spacing[axis] * extent[2 * axis];
    }
    setExtents(read.volume, extents, file.place());
    placeNodes(read.volume, lower, {spacing[0], spacing[1], spacing[2]}, file.place());
    read.hasPositions = true;
    read.volume.name = attributes.all["DataArray.Name"];
    read.volume.unit = vtkUnit(xml);
    read.numbers = {type[0] == 'F',
                    type == "Float64"   ? 8u
                    : type == "Float32" ? 4u
                    : type == "UInt16"  ? 2u
                                        : 1u,
                    isSwapped};
    const double offset = std::clamp(attributes.numbers("DataArray.offset", 1, "0")[0], 0.0, 1e18);
    read.begin = mark + 1 + static_cast<std::uint64_t>(offset) + lengthBytes;
    return read;
}

/// @param readArray  reads all of an array file.
Result<VolumeSource> sourceOf(ByteStream stream, VolumeFormat format,
                              const std::function<Result<ImageChannel<3>>()>& readArray)
{
    const auto file = std::make_shared<ByteStream>(std::move(stream));
    const VolumeHead head = format == VolumeFormat::Npy    ? npyHead(*file)
                            : format == VolumeFormat::Nrrd ? nrrdHead(*file)
                                                           : vtiHead(*file);
    if (head.isFortranOrder) {
        return readArray().and_then([&](ImageChannel<3> channel) {
            std::vector<ImageChannel<3>> channels;
            channels.push_back(std::move(channel));
            return volumeOf(std::move(channels), file->place());
        });
    }
    VolumeSource source{head.volume, !head.numbers.isFloat, {}};
    Volume& volume = source.volume;
    if (!head.hasPositions) {
        placeNodes(volume, {0, 0, 0}, {1, 1, 1}, file->place());
    }
    // As a double first: of hostile extents the product is beyond what whole numbers hold.
    const double needed = static_cast<double>(volume.dims[0]) * volume.dims[1] * volume.dims[2] *
                          volume.components * static_cast<double>(head.numbers.bytes);
    const std::uint64_t there = head.begin < file->size() ? file->size() - head.begin : 0;
    if (needed > static_cast<double>(there)) {
        refuseHead(file->place(), fmt::format("{} bytes of values", there),
                   fmt::format("{:.0f} for {} x {} x {} nodes", needed, volume.dims[0], volume.dims[1],
                               volume.dims[2]));
    }
    file->goTo(head.begin);
    source.read = [file, numbers = head.numbers](std::span<double> values) {
        return attempt(file->place(), [&] {
            constexpr std::size_t kPiece = std::size_t{1} << 16;
            std::vector<std::uint8_t> bytes;
            for (std::size_t at = 0; at < values.size(); at += kPiece) {
                const auto piece = values.subspan(at, std::min(kPiece, values.size() - at));
                bytes.resize(piece.size() * numbers.bytes);
                file->read(bytes.data(), bytes.size());
                decode(bytes, numbers, piece);
            }
        });
    };
    return source;
}

} // namespace

void placeNodes(Volume& volume, const double (&lower)[3], const double (&spacing)[3],
                const std::string& place)
{
    for (int axis = 0; axis < 3; ++axis) {
        const double step = spacing[axis];
        if (!std::isfinite(lower[axis]) || !std::isfinite(step) || !(step > 0)) {
            throw FaultError({place, fmt::format("a spacing of {} along an axis", step),
                              "a finite number above 0", "mend the file, or write it again"});
        }
        volume.lower[axis] = lower[axis];
        const double last = lower[axis] + step * (volume.dims[axis] - 1);
        volume.upper[axis] = last;
        for (const double to : {-HUGE_VAL, HUGE_VAL}) {
            if (volume.dims[axis] > 1 && volume.spacing(axis) != step) {
                volume.upper[axis] = std::nextafter(last, to);
            }
        }
        if (volume.dims[axis] > 1 && volume.spacing(axis) != step) {
            volume.upper[axis] = last;
        }
    }
}

Result<VolumeSource> volumeOf(std::vector<ImageChannel<3>> read, const std::string& path)
{
    const auto channels = std::make_shared<const std::vector<ImageChannel<3>>>(std::move(read));
    const std::size_t components = channels->size();
    if (components != 1 && components != 3 && components != 4) {
        return refused({path, fmt::format("{} channels", components),
                        "1 channel, 3 of a vector or 4 of a colour",
                        "take the channels apart, or add an alpha channel"});
    }
    VolumeSource source;
    source.volume.components = static_cast<int>(components);
    const std::int32_t* dims =
        std::visit([](const auto& raster) { return &raster.dims[0]; }, channels->front());
    std::copy_n(dims, 3, source.volume.dims);
    placeNodes(source.volume, {0, 0, 0}, {1, 1, 1}, path);
    source.volume.name = std::filesystem::path(path).stem().string();
    source.holdsWholeNumbers =
        std::all_of(channels->begin(), channels->end(), [](const ImageChannel<3>& channel) {
            return std::holds_alternative<Raster<1, 3, std::uint8_t>>(channel) ||
                   std::holds_alternative<Raster<1, 3, std::uint16_t>>(channel);
        });
    source.read = [channels, components,
                   node = std::size_t{0}](std::span<double> values) mutable -> Result<void> {
        const std::size_t nodes = values.size() / components;
        for (std::size_t c = 0; c < components; ++c) {
            std::visit(
                [&](const auto& raster) {
                    inPieces(std::size_t{0}, nodes, [&](std::size_t first, std::size_t end) {
                        for (std::size_t i = first; i < end; ++i) {
                            values[i * components + c] = static_cast<double>(raster.data[node + i]);
                        }
                    });
                },
                (*channels)[c]);
        }
        node += nodes;
        return {};
    };
    return source;
}

Result<VolumeSource> openVolume(std::span<const std::uint8_t> bytes, VolumeFormat format,
                                const std::string& place)
{
    return attempt(place, [&] {
        const auto read = [rest = bytes](void* to, std::size_t most) mutable -> Result<std::size_t> {
            const std::size_t size = std::min(most, rest.size());
            std::copy_n(rest.begin(), size, static_cast<std::uint8_t*>(to));
            rest = rest.subspan(size);
            return size;
        };
        return sourceOf(ByteStream(read, bytes.size(), place), format, [&] { return readNpy(bytes, place); });
    });
}

Result<VolumeSource> openVolume(const std::string& path)
{
    return volumeFormat(path).and_then([&](VolumeFormat format) -> Result<VolumeSource> {
        if (format == VolumeFormat::Vdb) {
            return readVdb(path);
        }
        return InputFile::open(path).and_then([&](InputFile opened) {
            return attempt(path, [&] {
                const auto file = std::make_shared<InputFile>(std::move(opened));
                return sourceOf(
                    ByteStream([file](void* to, std::size_t most) { return file->read(to, most); },
                               file->size(), path),
                    format, [&] { return readNpyFile(path); });
            });
        });
    });
}

} // namespace zrk

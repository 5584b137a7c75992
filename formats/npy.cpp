#include "formats/npy.h"

#include "core/values/large_pages.h"
#include "core/values/stop.h"
#include "formats/file_bytes.h"
#include "formats/limits.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace zrk {

namespace {

/// Reads the dictionary of a header, a literal of the Python language:
/// {'descr': '<f8', 'fortran_order': False, 'shape': (2, 3, 4), }
class HeaderReader {
public:
    explicit HeaderReader(std::string_view text) : _text(text) {}

    std::optional<NpyHead> read()
    {
        NpyHead header;
        bool hasType = false, hasOrder = false, hasShape = false;
        if (!take('{')) {
            return std::nullopt;
        }
        while (!take('}')) {
            std::string key;
            if (!readText(key) || !take(':')) {
                return std::nullopt;
            }
            bool& isKnown = key == "descr" ? hasType : key == "fortran_order" ? hasOrder : hasShape;
            const bool isRead = key == "descr"           ? readText(header.type)
                                : key == "fortran_order" ? readTruth(header.isFortranOrder)
                                                         : key == "shape" && readShape(header.shape);
            if (!isRead || isKnown) {
                return std::nullopt;
            }
            isKnown = true;
            if (!take(',') && !(peek() == '}')) {
                return std::nullopt;
            }
        }
        return hasType && hasOrder && hasShape ? std::optional(header) : std::nullopt;
    }

private:
    std::string_view _text;

    char peek()
    {
        while (!_text.empty() && (_text.front() == ' ' || _text.front() == '\n')) {
            _text.remove_prefix(1);
        }
        return _text.empty() ? '\0' : _text.front();
    }
    bool take(char wanted)
    {
        const bool isThere = peek() == wanted && !_text.empty();
        _text.remove_prefix(isThere ? 1 : 0);
        return isThere;
    }
    bool readText(std::string& text)
    {
        const char quote = peek();
        if (quote != '\'' && quote != '"') {
            return false;
        }
        const std::size_t end = _text.find(quote, 1);
        if (end == std::string_view::npos) {
            return false;
        }
        text = _text.substr(1, end - 1);
        _text.remove_prefix(end + 1);
        return true;
    }
    bool readTruth(bool& truth)
    {
        peek();
        truth = _text.starts_with("True");
        const bool isRead = truth || _text.starts_with("False");
        _text.remove_prefix(isRead ? (truth ? 4 : 5) : 0);
        return isRead;
    }
    bool readShape(std::vector<std::uint64_t>& shape)
    {
        if (!take('(')) {
            return false;
        }
        while (!take(')')) {
            std::uint64_t extent = 0;
            if (peek() < '0' || peek() > '9') {
                return false;
            }
            while (!_text.empty() && _text.front() >= '0' && _text.front() <= '9') {
                // Beyond any limit the rest of the digits makes no difference.
                extent = std::min<std::uint64_t>(
                    extent * 10 + static_cast<std::uint64_t>(_text.front() - '0'), std::uint64_t{1} << 40);
                _text.remove_prefix(1);
            }
            shape.push_back(extent);
            if (!take(',') && peek() != ')') {
                return false;
            }
        }
        return true;
    }
};

template <class T>
T swapped(T value)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    std::reverse(bytes, bytes + sizeof(T));
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

/// The values of a Fortran array, whose first index runs fastest, in the order of a raster.
template <class T>
std::vector<T> reordered(const std::vector<T>& values, std::size_t nx, std::size_t ny, std::size_t nz)
{
    std::vector<T> ordered;
    resizeInPieces(ordered, values.size());
    std::size_t to = 0;
    for (std::size_t k = 0; k < nz; ++k) {
        for (std::size_t j = 0; j < ny; ++j) {
            stopIfAsked();
            for (std::size_t i = 0; i < nx; ++i) {
                ordered[to++] = values[k + nz * (j + ny * i)];
            }
        }
    }
    return ordered;
}

tl::unexpected<Fault> refuse(const std::string& place, std::string found, std::string expected)
{
    return refused({place, std::move(found), std::move(expected),
                    "save the volume with numpy.save as uint8, uint16, float32 or float64, in three "
                    "dimensions"});
}

template <class T>
Result<ImageChannel<3>> volume(const NpyHead& header, std::span<const std::uint8_t> data,
                               const std::string& place)
{
    const std::uint64_t nz = header.shape[0], ny = header.shape[1], nx = header.shape[2];
    // Each factor is below 2^31, so no product overflows before it is found too large.
    if (std::max({nx, ny, nz}) >= kMaxVoxels || nx * ny >= kMaxVoxels || nx * ny * nz > kMaxVoxels) {
        return refuse(place, "a shape of more values than the limit",
                      "at most " + std::to_string(kMaxVoxels));
    }
    const std::size_t count = nx * ny * nz;
    if (count == 0) {
        return refuse(place, "a shape without values", "an extent of at least 1 along each axis");
    }
    if (data.size() / sizeof(T) < count) {
        return refuse(place, std::to_string(data.size()) + " bytes of values",
                      std::to_string(count * sizeof(T)) + " for the shape that the header names");
    }
    Raster<1, 3, T> raster(nx, ny, nz);
    const bool isForeign = header.type[0] == (std::endian::native == std::endian::little ? '>' : '<');
    inPieces(std::size_t{0}, count, [&](std::size_t first, std::size_t end) {
        T* const values = raster.data.data();
        std::memcpy(values + first, data.data() + first * sizeof(T), (end - first) * sizeof(T));
        if (isForeign) {
            std::transform(values + first, values + end, values + first, swapped<T>);
        }
    });
    if (header.isFortranOrder) {
        raster.data = reordered(raster.data, nx, ny, nz);
    }
    return ImageChannel<3>(std::move(raster));
}

/// The header's text and what stands after it; nothing for a file of another kind.
struct Sections {
    std::string_view header;
    std::span<const std::uint8_t> data;
};

std::optional<Sections> sections(std::span<const std::uint8_t> bytes)
{
    constexpr char kMagic[] = "\x93NUMPY";
    constexpr std::size_t kMagicLength = sizeof kMagic - 1;
    const std::size_t version = bytes.size() > kMagicLength ? bytes[kMagicLength] : 0;
    const std::size_t lengthBytes = version == 1 ? 2 : 4;
    const std::size_t begin = kMagicLength + 2 + lengthBytes;
    if (version < 1 || version > 3 || bytes.size() < begin ||
        std::memcmp(bytes.data(), kMagic, kMagicLength) != 0) {
        return std::nullopt;
    }
    std::size_t length = 0;
    for (std::size_t i = 0; i < lengthBytes; ++i) {
        length |= std::size_t{bytes[kMagicLength + 2 + i]} << (8 * i);
    }
    if (length > bytes.size() - begin) {
        return std::nullopt;
    }
    return Sections{{reinterpret_cast<const char*>(bytes.data()) + begin, length},
                    bytes.subspan(begin + length)};
}

Result<ImageChannel<3>> decoded(std::span<const std::uint8_t> bytes, const std::string& place)
{
    const auto header = readNpyHead(bytes, place);
    if (!header) {
        return refused(header.error());
    }
    const std::span<const std::uint8_t> data = bytes.subspan(header->bytes);
    if (header->shape.size() != 3) {
        return refuse(place, "an array of " + std::to_string(header->shape.size()) + " dimensions",
                      "3: (nz, ny, nx)");
    }
    const std::string& type = header->type;
    if (type.size() == 3 && std::string_view("<>|=").find(type[0]) != std::string_view::npos) {
        const std::string kind = type.substr(1);
        if (kind == "u1") {
            return volume<std::uint8_t>(*header, data, place);
        }
        if (kind == "u2") {
            return volume<std::uint16_t>(*header, data, place);
        }
        if (kind == "f4") {
            return volume<float>(*header, data, place);
        }
        if (kind == "f8") {
            return volume<double>(*header, data, place);
        }
    }
    return refuse(place, "values of the type " + quotation(type), "uint8, uint16, float32 or float64");
}

} // namespace

Result<NpyHead> readNpyHead(std::span<const std::uint8_t> bytes, const std::string& place)
{
    const auto parts = sections(bytes);
    if (!parts) {
        return refuse(place, "something else or a damaged file", "a NumPy array of format 1, 2 or 3");
    }
    auto head = HeaderReader(parts->header).read();
    if (!head) {
        return refuse(place, "a header that can't be read", "'descr', 'fortran_order' and 'shape'");
    }
    head->bytes = bytes.size() - parts->data.size();
    return *head;
}

Result<ImageChannel<3>> readNpy(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&] { return decoded(bytes, place); });
}

Result<ImageChannel<3>> readNpyFile(const std::filesystem::path& path)
{
    return readFileBytes(path, kMaxNpyFileBytes).and_then([&](const std::vector<std::uint8_t>& bytes) {
        return readNpy(bytes, path.string());
    });
}

VolumeFrame npyFrame(const Volume& volume)
{
    std::string description = fmt::format(
        "{{'descr': '{}{}', 'fortran_order': False, 'shape': ({}, {}, {}{}), }}",
        volume.type == NumberType::UInt8 ? "|u" : "<f", bytesOf(volume.type), volume.dims[2], volume.dims[1],
        volume.dims[0], volume.components > 1 ? fmt::format(", {}", volume.components) : "");
    // Magic, version and length take 10 bytes; the data begin at a multiple of 64.
    const std::size_t size = (10 + description.size() + 1 + 63) / 64 * 64 - 10;
    description.resize(size - 1, ' ');
    std::string head("\x93NUMPY\x01\x00", 8);
    head += static_cast<char>(size & 0xff);
    head += static_cast<char>(size >> 8);
    return {head + description + '\n', ""};
}

} // namespace zrk

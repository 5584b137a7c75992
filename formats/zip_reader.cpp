#include "formats/zip_reader.h"

#include "core/values/stop.h"
#include "formats/limits.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace zrk {

namespace {

constexpr std::uint32_t kFileHeader = 0x04034b50;
constexpr std::uint32_t kDirectoryEntry = 0x02014b50;
constexpr std::uint32_t kDirectoryEnd = 0x06054b50;
constexpr std::uint32_t kLongDirectoryEnd = 0x06064b50;
constexpr std::uint32_t kLongDirectoryPlace = 0x07064b50;
constexpr std::uint64_t kDirectoryEndBytes = 22;
constexpr std::uint64_t kLongDirectoryPlaceBytes = 20;
constexpr std::uint64_t kAllOnes = 0xffffffff; // the number stands in the ZIP64 field
constexpr std::uint16_t kStored = 0;
constexpr std::uint16_t kUnfolds = 8;

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

void ZipReader::refuse(const std::string& found, const std::string& expected) const
{
    throw FaultError({_place, found, expected, "save the file anew"});
}

/// Little endian.
std::uint64_t ZipReader::number(std::uint64_t at, int bytes) const
{
    if (at > _bytes.size() || static_cast<std::uint64_t>(bytes) > _bytes.size() - at) {
        refuse("an archive that breaks off, or whose directory leads out of it", "a whole ZIP archive");
    }
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) {
        value |= std::uint64_t{_bytes[at + static_cast<std::uint64_t>(i)]} << (8 * i);
    }
    return value;
}

Result<ZipReader> ZipReader::open(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&] {
        ZipReader reader(bytes, place);
        reader.readDirectory();
        return reader;
    });
}

void ZipReader::readDirectory()
{
    // The end of the directory is the last record; behind it stands a comment of at most 65535 bytes.
    constexpr std::uint64_t kMostComment = 65535;
    const std::uint64_t size = _bytes.size();
    std::uint64_t end = size < kDirectoryEndBytes ? 0 : size - kDirectoryEndBytes;
    const std::uint64_t first = end - std::min(end, kMostComment);
    while (end > first && number(end, 4) != kDirectoryEnd) {
        --end;
    }
    if (size < kDirectoryEndBytes || number(end, 4) != kDirectoryEnd) {
        refuse("no ZIP directory at its end", "a whole ZIP archive");
    }
    std::uint64_t count = number(end + 10, 2);
    std::uint64_t at = number(end + 16, 4);
    const bool isLong =
        end >= kLongDirectoryPlaceBytes && number(end - kLongDirectoryPlaceBytes, 4) == kLongDirectoryPlace;
    if (isLong) {
        const std::uint64_t record = number(end - kLongDirectoryPlaceBytes + 8, 8);
        if (number(record, 4) != kLongDirectoryEnd) {
            refuse("a damaged ZIP64 directory", "a whole ZIP archive");
        }
        count = number(record + 32, 8);
        at = number(record + 48, 8);
    }
    if (count > kMaxThreeMfFiles) {
        refuse(std::to_string(count) + " files in the archive",
               "at most " + std::to_string(kMaxThreeMfFiles));
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        stopIfAsked();
        _entries.push_back(readEntry(at));
    }
}

/// The entry of the directory at a place, which is moved on to the next one.
ZipEntry ZipReader::readEntry(std::uint64_t& at) const
{
    constexpr std::uint64_t kFixedBytes = 46;
    constexpr std::uint64_t kIsEncrypted = 1;
    if (number(at, 4) != kDirectoryEntry) {
        refuse("a damaged ZIP directory", "a whole ZIP archive");
    }
    ZipEntry entry;
    const bool isEncrypted = (number(at + 8, 2) & kIsEncrypted) != 0;
    entry.method = static_cast<std::uint16_t>(number(at + 10, 2));
    entry.checksum = static_cast<std::uint32_t>(number(at + 16, 4));
    entry.packed = number(at + 20, 4);
    entry.size = number(at + 24, 4);
    entry.offset = number(at + 42, 4);
    const std::uint64_t nameSize = number(at + 28, 2);
    const std::uint64_t extraEnd = at + kFixedBytes + nameSize + number(at + 30, 2);
    for (std::uint64_t i = 0; i < nameSize; ++i) {
        entry.name += static_cast<char>(number(at + kFixedBytes + i, 1));
    }
    // Numbers of 64 bit stand in the field 1, those that are needed, in this order.
    for (std::uint64_t field = at + kFixedBytes + nameSize; field + 4 <= extraEnd;) {
        std::uint64_t value = field + 4;
        if (number(field, 2) == 1) {
            for (std::uint64_t* wide : {&entry.size, &entry.packed, &entry.offset}) {
                if (*wide == kAllOnes) {
                    *wide = number(value, 8);
                    value += 8;
                }
            }
        }
        field += 4 + number(field + 2, 2);
    }
    at = extraEnd + number(at + 32, 2);
    if (isEncrypted) {
        refuse(quotation(entry.name) + ", which is encrypted", "an archive without a password");
    }
    return entry;
}

const ZipEntry* ZipReader::find(std::string_view name) const
{
    const auto entry = std::find_if(_entries.begin(), _entries.end(), [&](const ZipEntry& e) {
        return std::equal(e.name.begin(), e.name.end(), name.begin(), name.end(),
                          [](char a, char b) { return lowerCase(a) == lowerCase(b); });
    });
    return entry == _entries.end() ? nullptr : &*entry;
}

struct ZipReader::Stream::State {
    std::string place;
    ZipEntry entry;
    std::span<const std::uint8_t> packed; ///< what isn't read yet
    std::uint64_t given = 0;              ///< bytes
    std::uint32_t checksum = 0;
    z_stream inflater = {};

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { inflateEnd(&inflater); }

    [[noreturn]] void refuseDamaged(const char* found) const
    {
        throw FaultError(
            {place, quotation(entry.name) + " with " + found, "a whole ZIP archive", "save the file anew"});
    }

    std::size_t copy(char* bytes, std::size_t size)
    {
        const std::size_t count = std::min(size, packed.size());
        std::copy_n(packed.begin(), count, bytes);
        packed = packed.subspan(count);
        return count;
    }

    std::size_t unfold(char* bytes, std::size_t size)
    {
        constexpr std::size_t kMostAtOnce = std::numeric_limits<int>::max();
        const std::size_t feed = std::min(packed.size(), kMostAtOnce);
        inflater.next_in = const_cast<Bytef*>(packed.data()); // zlib only reads it
        inflater.avail_in = static_cast<uInt>(feed);
        inflater.next_out = reinterpret_cast<Bytef*>(bytes);
        inflater.avail_out = static_cast<uInt>(std::min(size, kMostAtOnce));
        const uInt room = inflater.avail_out;
        const int status = inflate(&inflater, Z_NO_FLUSH);
        if (status == Z_MEM_ERROR) {
            throw std::bad_alloc();
        }
        if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) {
            refuseDamaged("damaged data");
        }
        packed = packed.subspan(feed - inflater.avail_in);
        return room - inflater.avail_out;
    }
};

ZipReader::Stream::Stream(std::unique_ptr<State> state) : _state(std::move(state)) {}
ZipReader::Stream::Stream(Stream&& other) noexcept = default;
ZipReader::Stream::~Stream() = default;

std::size_t ZipReader::Stream::read(char* bytes, std::size_t size)
{
    State& s = *_state;
    stopIfAsked();
    const std::size_t count = s.entry.method == kStored ? s.copy(bytes, size) : s.unfold(bytes, size);
    s.given += count;
    s.checksum = static_cast<std::uint32_t>(
        crc32(s.checksum, reinterpret_cast<const Bytef*>(bytes), static_cast<uInt>(count)));
    if (s.given > s.entry.size || (count == 0 && size > 0 && s.given < s.entry.size)) {
        s.refuseDamaged("another size than the directory has");
    }
    if (s.given == s.entry.size && s.checksum != s.entry.checksum) {
        s.refuseDamaged("another checksum than the directory has");
    }
    return count;
}

ZipReader::Stream ZipReader::stream(const ZipEntry& entry) const
{
    constexpr std::uint64_t kFixedBytes = 30;
    const std::string name = quotation(entry.name);
    if (entry.method != kStored && entry.method != kUnfolds) {
        refuse(name + " packed by the method " + std::to_string(entry.method), "stored or deflated files");
    }
    // Short files may repeat one byte.
    constexpr std::uint64_t kShort = std::uint64_t{1} << 20;
    if (entry.size > kMaxThreeMfBytes ||
        (entry.size > kShort && entry.size / kMaxThreeMfRatio > entry.packed)) {
        refuse(name + ", " + std::to_string(entry.size) + " bytes in " + std::to_string(entry.packed),
               "at most " + std::to_string(kMaxThreeMfBytes) + ", and at most " +
                   std::to_string(kMaxThreeMfRatio) + " times the packed ones");
    }
    if (number(entry.offset, 4) != kFileHeader) {
        refuse(name + " without a header", "a whole ZIP archive");
    }
    const std::uint64_t begin =
        entry.offset + kFixedBytes + number(entry.offset + 26, 2) + number(entry.offset + 28, 2);
    if (begin > _bytes.size() || entry.packed > _bytes.size() - begin) {
        refuse(name + ", which leads out of the archive", "a whole ZIP archive");
    }
    auto state = std::make_unique<Stream::State>();
    state->place = _place;
    state->entry = entry;
    state->packed = _bytes.subspan(begin, entry.packed);
    if (inflateInit2(&state->inflater, -MAX_WBITS) != Z_OK) {
        throw std::bad_alloc();
    }
    return Stream(std::move(state));
}

} // namespace zrk

#include "formats/zip_writer.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace zrk {

namespace {

constexpr std::uint16_t kVersion = 20;         // deflate, folders
constexpr std::uint16_t kSizesBehind = 1 << 3; // flag: sizes and checksum follow the data
constexpr std::uint16_t kDeflated = 8;
constexpr std::uint16_t kNoTime = 0;
constexpr std::uint16_t kFirstDay = 0x21; // 1 January 1980, the earliest there is

/// Numbers of a record, little endian.
class Record {
public:
    Record& two(std::uint64_t value) { return number(value, 2); }
    Record& four(std::uint64_t value) { return number(value, 4); }
    Record& text(const std::string& text)
    {
        _bytes += text;
        return *this;
    }
    const std::string& bytes() const { return _bytes; }

private:
    std::string _bytes;

    Record& number(std::uint64_t value, int bytes)
    {
        for (int i = 0; i < bytes; ++i) {
            _bytes += static_cast<char>(value >> (8 * i) & 0xff);
        }
        return *this;
    }
};

} // namespace

/// Raw deflated data, one stream after the other.
class ZipWriter::Deflater {
public:
    Deflater()
    {
        // Negative: without zlib's own frame.
        if (deflateInit2(&_stream, kLevel, Z_DEFLATED, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY) !=
            Z_OK) {
            throw std::bad_alloc();
        }
    }
    ~Deflater() { deflateEnd(&_stream); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// Hands what the bytes are packed to on to `pass`; false as soon as that returns false.
    template <class Pass>
    bool run(const void* bytes, std::size_t size, int flush, const Pass& pass)
    {
        _stream.next_in = static_cast<Bytef*>(const_cast<void*>(bytes)); // zlib only reads it
        _stream.avail_in = static_cast<uInt>(size);
        int status = Z_OK;
        do {
            _stream.next_out = _out.data();
            _stream.avail_out = static_cast<uInt>(_out.size());
            status = deflate(&_stream, flush);
            if (!pass(_out.data(), _out.size() - _stream.avail_out)) {
                return false;
            }
        } while (_stream.avail_out == 0 && status != Z_STREAM_END);
        if (flush == Z_FINISH) {
            deflateReset(&_stream);
        }
        return true;
    }

private:
    /// A mesh packs within 4 % of zlib's default level, 6, in less than half the time.
    static constexpr int kLevel = 4;
    static constexpr int kMemoryLevel = 8;

    z_stream _stream = {};
    std::array<Bytef, 1 << 16> _out;
};

ZipWriter::ZipWriter(ByteSink sink, std::uint64_t most)
    : _sink(std::move(sink)), _most(most), _deflater(std::make_unique<Deflater>())
{}
ZipWriter::~ZipWriter() = default;

bool ZipWriter::begin(const std::string& name)
{
    if (!endFile()) {
        return false;
    }
    _entries.push_back({.name = name, .offset = _offset});
    _isInFile = true;
    return put(Record()
                   .four(0x04034b50)
                   .two(kVersion)
                   .two(kSizesBehind)
                   .two(kDeflated)
                   .two(kNoTime)
                   .two(kFirstDay)
                   .four(0)
                   .four(0)
                   .four(0)
                   .two(name.size())
                   .two(0)
                   .text(name)
                   .bytes());
}

bool ZipWriter::write(const void* bytes, std::size_t size)
{
    constexpr std::size_t kMostAtOnce = 1 << 20;
    const char* next = static_cast<const char*>(bytes);
    while (_goesOn && size > 0) {
        const std::size_t count = std::min(size, kMostAtOnce);
        Entry& entry = _entries.back();
        entry.checksum = static_cast<std::uint32_t>(
            crc32(entry.checksum, reinterpret_cast<const Bytef*>(next), static_cast<uInt>(count)));
        entry.size += count;
        _isTooLarge = _isTooLarge || entry.size > _most;
        _goesOn = !_isTooLarge &&
                  _deflater->run(next, count, Z_NO_FLUSH,
                                 [this](const void* packed, std::size_t n) { return pass(packed, n); });
        next += count;
        size -= count;
    }
    return _goesOn;
}

bool ZipWriter::endFile()
{
    if (!_isInFile || !_goesOn) {
        return _goesOn;
    }
    _isInFile = false;
    Entry& entry = _entries.back();
    const std::uint64_t begin = entry.offset + 30 + entry.name.size(); // behind the record of `begin`
    _goesOn = _deflater->run(nullptr, 0, Z_FINISH,
                             [this](const void* packed, std::size_t n) { return pass(packed, n); });
    entry.packed = _offset - begin;
    return put(Record().four(0x08074b50).four(entry.checksum).four(entry.packed).four(entry.size).bytes());
}

bool ZipWriter::finish()
{
    if (!endFile()) {
        return false;
    }
    const std::uint64_t begin = _offset;
    for (const Entry& entry : _entries) {
        put(Record()
                .four(0x02014b50)
                .two(kVersion)
                .two(kVersion)
                .two(kSizesBehind)
                .two(kDeflated)
                .two(kNoTime)
                .two(kFirstDay)
                .four(entry.checksum)
                .four(entry.packed)
                .four(entry.size)
                .two(entry.name.size())
                .two(0)  // extra field
                .two(0)  // comment
                .two(0)  // disk
                .two(0)  // internal attributes
                .four(0) // external attributes
                .four(entry.offset)
                .text(entry.name)
                .bytes());
    }
    return put(Record()
                   .four(0x06054b50)
                   .two(0)
                   .two(0)
                   .two(_entries.size())
                   .two(_entries.size())
                   .four(_offset - begin)
                   .four(begin)
                   .two(0)
                   .bytes());
}

bool ZipWriter::put(const std::string& bytes) { return pass(bytes.data(), bytes.size()); }

bool ZipWriter::pass(const void* bytes, std::size_t size)
{
    _offset += size;
    _isTooLarge = _isTooLarge || _offset > _most;
    _goesOn = _goesOn && !_isTooLarge && _sink(bytes, size);
    return _goesOn;
}

} // namespace zrk

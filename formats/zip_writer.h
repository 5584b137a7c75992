#pragma once

#include "core/values/fault.h"
#include "formats/piece_writer.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace zrk {

/// A ZIP archive with deflated files, written front to back: sizes and checksums stand behind each file. No
/// file carries a time, so that the same content gives the same bytes, for any number of threads.
///
/// Long files are packed on several threads, in chunks of 256 KiB. Each chunk knows the 32 KiB before it, so
/// the file grows by some bytes a chunk only.
///
/// Without the ZIP64 extension: at most 4 GiB in all and in each file, and 65535 files.
///
/// Source: PKWARE, "APPNOTE.TXT, .ZIP File Format"; RFC 1951 for the deflated data.
class ZipWriter {
public:
    /// @param threads  0 for as many as there are processors.
    /// @param most     bytes of the archive and of each file, lower than the format's own limit for tests.
    explicit ZipWriter(ByteSink sink, std::size_t threads = 0,
                       std::uint64_t most = std::numeric_limits<std::uint32_t>::max());
    ~ZipWriter();
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;

    /// Begins a file, which lasts until the next one or `finish`. The name is ASCII, with / between folders.
    bool begin(const std::string& name);
    /// Appends to the file. False when the sink has failed or the archive has grown beyond the limit, which
    /// may show some chunks later.
    bool write(const void* bytes, std::size_t size);
    /// Writes the directory, as the last call. False as by `write`.
    bool finish();

    /// True once the archive has grown beyond the limit.
    bool isTooLarge() const { return _isTooLarge; }

private:
    class ChunkDeflater;
    class Packer;

    struct Entry {
        std::string name;
        std::uint32_t checksum = 0;
        std::uint64_t packed = 0; ///< bytes
        std::uint64_t size = 0;
        std::uint64_t offset = 0; ///< of the file in the archive
    };

    ByteSink _sink;
    std::uint64_t _most;
    std::unique_ptr<Packer> _packer;
    std::vector<Entry> _entries;
    std::uint64_t _offset = 0;
    bool _goesOn = true;
    bool _isTooLarge = false;
    bool _isInFile = false;

    bool put(const std::string& bytes);
    bool pass(const void* bytes, std::size_t size);
    bool endFile();
};

} // namespace zrk

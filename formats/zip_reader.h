#pragma once

#include "core/values/fault.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zrk {

/// A file of a ZIP archive, as the archive's directory has it.
struct ZipEntry {
    std::string name;
    std::uint16_t method = 0; ///< 0 stored, 8 deflated
    std::uint32_t checksum = 0;
    std::uint64_t packed = 0; ///< bytes
    std::uint64_t size = 0;
    std::uint64_t offset = 0; ///< of the file's own header in the archive
};

/// What a ZIP archive holds. The bytes must outlive it.
///
/// Files are stored or deflated, not encrypted, in one archive; ZIP64 is read. Refuses what doesn't lie in
/// the archive, more than kMaxThreeMfFiles files, and files that unfold to more than kMaxThreeMfBytes or
/// kMaxThreeMfRatio times their packed size.
///
/// Source: PKWARE, "APPNOTE.TXT, .ZIP File Format"; RFC 1951 for the deflated data.
class ZipReader {
public:
    /// @param place  where the bytes come from, for messages.
    static Result<ZipReader> open(std::span<const std::uint8_t> bytes, const std::string& place);

    /// The file of a name, without regard to case; null where there is none.
    const ZipEntry* find(std::string_view name) const;

    /// Unfolds a file from front to back.
    class Stream {
    public:
        Stream(Stream&& other) noexcept;
        ~Stream();
        /// Writes the next bytes, `size` of them or what is left, and returns how many. Looks for a request
        /// to stop. Throws a FaultError for damaged data, at the latest at the end of the file.
        std::size_t read(char* bytes, std::size_t size);

    private:
        friend class ZipReader;
        struct State;
        explicit Stream(std::unique_ptr<State> state);
        std::unique_ptr<State> _state;
    };
    /// Throws a FaultError for a file that can't be unfolded.
    Stream stream(const ZipEntry& entry) const;

private:
    std::span<const std::uint8_t> _bytes;
    std::string _place;
    std::vector<ZipEntry> _entries;

    ZipReader(std::span<const std::uint8_t> bytes, std::string place)
        : _bytes(bytes), _place(std::move(place))
    {}
    void readDirectory();
    ZipEntry readEntry(std::uint64_t& at) const;
    [[noreturn]] void refuse(const std::string& found, const std::string& expected) const;
    std::uint64_t number(std::uint64_t at, int bytes) const;
};

} // namespace zrk

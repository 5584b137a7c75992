#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <istream>
#include <string_view>
#include <vector>

namespace zrk {

/// The lines of a file or a stream, split at line feeds and read in blocks: however large the file is, it
/// takes the memory of its longest line, up to a limit. The bytes of a line may be any.
class LineReader {
public:
    /// A file that can't be opened has no lines.
    explicit LineReader(const std::filesystem::path& path);
    /// The stream must outlive the reader.
    explicit LineReader(std::istream& stream);
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    bool isOpen() const { return _stream != nullptr; }
    /// True when the lines ended because the file could not be read on.
    bool hasFailed() const { return _stream && _stream->bad(); }

    /// Goes to the next line; false at the end.
    bool next();
    /// The present line without its line feed; valid until `next`.
    std::string_view line() const { return _line; }
    /// False when the line is longer than kMaxLineBytes: then `line` is its beginning.
    bool isWhole() const { return _isWhole; }
    /// Counts from 1.
    std::int64_t number() const { return _number; }

private:
    std::ifstream _file;
    std::istream* _stream = nullptr;
    std::vector<char> _buffer;
    std::size_t _begin = 0; ///< what isn't given yet: [_begin, _end) of the buffer
    std::size_t _end = 0;
    std::string_view _line;
    bool _isWhole = true;
    std::int64_t _number = 0;

    bool readBlock();
    void skipRestOfLine();
};

} // namespace zrk

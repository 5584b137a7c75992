#pragma once

#include "core/values/fault.h"
#include "formats/input_file.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

namespace zrk {

class ProgressMonitor;

/// The lines of a file or a stream, split at line feeds and read in blocks: however large the file is, it
/// takes the memory of its longest line, up to a limit. The bytes of a line may be any.
class LineReader {
public:
    /// One that can't be opened or be read on has no further lines.
    /// @param monitor  ends the lines when it interrupts a wait for a stream; may be null.
    explicit LineReader(Result<InputFile> file, ProgressMonitor* monitor = nullptr);
    /// @param most  bytes that an ordinary file may have.
    LineReader(const std::filesystem::path& path, std::uint64_t most);
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Why the lines ended, where that isn't the file's end: none could be read, or the monitor interrupted.
    const std::optional<Fault>& fault() const { return _fault; }

    /// Goes to the next line; false at the end.
    bool next();
    /// The present line without its line feed; valid until `next`.
    std::string_view line() const { return _line; }
    /// False when the line is longer than kMaxLineBytes: then `line` is its beginning.
    bool isWhole() const { return _isWhole; }
    /// Counts from 1.
    std::int64_t number() const { return _number; }

private:
    std::optional<InputFile> _file;
    ProgressMonitor* _monitor = nullptr;
    std::optional<Fault> _fault;
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

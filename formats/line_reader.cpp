#include "formats/line_reader.h"

#include "formats/limits.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

namespace zrk {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;

} // namespace

LineReader::LineReader(Result<InputFile> file, ProgressMonitor* monitor) : _monitor(monitor)
{
    if (file) {
        _file.emplace(std::move(*file));
        _buffer.resize(kBlock);
    } else {
        _fault = std::move(file.error());
    }
}

LineReader::LineReader(const std::filesystem::path& path, std::uint64_t most)
    : LineReader(InputFile::open(path).and_then([&](InputFile file) -> Result<InputFile> {
          if (file.size() > most) {
              return refused({path.string(), std::to_string(file.size()) + " bytes",
                              "at most " + std::to_string(most), "check the path and the file"});
          }
          return file;
      }))
{}

/// Reads on behind what isn't given yet; false at the end of the file and where there is a fault.
bool LineReader::readBlock()
{
    if (_begin > 0) {
        std::memmove(_buffer.data(), _buffer.data() + _begin, _end - _begin);
        _end -= _begin;
        _begin = 0;
    }
    if (_end == _buffer.size()) {
        _buffer.resize(std::min(2 * _buffer.size(), kMaxLineBytes + kBlock));
    }
    const Result<std::size_t> read = _file->read(_buffer.data() + _end, _buffer.size() - _end, _monitor);
    if (!read) {
        _fault = read.error();
        return false;
    }
    _end += *read;
    return *read > 0;
}

void LineReader::skipRestOfLine()
{
    for (;;) {
        const char* rest = _buffer.data() + _begin;
        if (const void* feed = std::memchr(rest, '\n', _end - _begin)) {
            _begin += static_cast<std::size_t>(static_cast<const char*>(feed) - rest) + 1;
            return;
        }
        _begin = _end;
        if (!readBlock()) {
            return;
        }
    }
}

bool LineReader::next()
{
    if (_fault) {
        return false;
    }
    if (!_isWhole) {
        skipRestOfLine();
    }
    _isWhole = true;
    std::size_t searched = 0;
    const void* feed = nullptr;
    while (!(feed = std::memchr(_buffer.data() + _begin + searched, '\n', _end - _begin - searched))) {
        searched = _end - _begin;
        if (searched > kMaxLineBytes || !readBlock()) {
            break;
        }
    }
    const char* first = _buffer.data() + _begin;
    const std::size_t length =
        feed ? static_cast<std::size_t>(static_cast<const char*>(feed) - first) : _end - _begin;
    if (!feed && (length == 0 || _fault)) {
        return false;
    }
    _isWhole = length <= kMaxLineBytes;
    _line = {first, std::min(length, kMaxLineBytes)};
    _begin += !_isWhole ? kMaxLineBytes : feed ? length + 1 : length;
    ++_number;
    return true;
}

} // namespace zrk

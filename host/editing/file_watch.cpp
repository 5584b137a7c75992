#include "host/editing/file_watch.h"

#include <fstream>
#include <functional>
#include <iterator>
#include <system_error>

namespace zrkmodel {

namespace {

std::uint64_t contentHash(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::hash<std::string>()(
        std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
}

} // namespace

void FileWatch::look(const std::string& path)
{
    std::error_code missing;
    std::error_code noTime;
    const auto size = std::filesystem::file_size(path, missing);
    const auto time = std::filesystem::last_write_time(path, noTime);
    _known.reset();
    if (!missing && !noTime) {
        _known = Look{size, time, contentHash(path)};
    }
}

FileState FileWatch::state(const std::string& path)
{
    if (!_known) {
        return FileState::Same;
    }
    std::error_code missing;
    const auto size = std::filesystem::file_size(path, missing);
    const auto time = missing ? _known->time : std::filesystem::last_write_time(path, missing);
    if (missing) {
        return FileState::Missing;
    }
    if (size == _known->size && time == _known->time) {
        return FileState::Same;
    }
    if (size != _known->size || contentHash(path) != _known->content) {
        return FileState::Changed;
    }
    _known->time = time;
    return FileState::Same;
}

} // namespace zrkmodel

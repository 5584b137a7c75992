#include "formats/file_bytes.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

namespace zrk {

std::optional<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path, std::size_t limit,
                                                       std::string* fault)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        return refused(fault, "found no file (" + (error ? error.message() : "missing") +
                                  "), expected a readable one");
    }
    if (!std::filesystem::is_regular_file(status)) {
        return refused(fault, "found a folder or a device, expected an ordinary file");
    }
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (size < 0) {
        return refused(fault, std::string("found a file that can't be read (") + std::strerror(errno) +
                                  "), expected a readable one");
    }
    if (static_cast<std::uintmax_t>(size) > limit) {
        return refused(fault,
                       "found " + std::to_string(size) + " bytes, expected at most " + std::to_string(limit));
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), size)) {
        return refused(fault,
                       "found a file that changed or broke off while it was read, expected a whole one");
    }
    return bytes;
}

} // namespace zrk

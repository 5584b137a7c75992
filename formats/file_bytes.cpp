#include "formats/file_bytes.h"

#include "core/values/large_pages.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <system_error>

namespace zrk {

namespace {

Result<std::vector<std::uint8_t>> bytesOf(const std::filesystem::path& path, std::size_t limit)
{
    const std::string place = path.string();
    const auto refuse = [&place](std::string found, std::string expected) {
        return refused({place, std::move(found), std::move(expected), "check the path and the file"});
    };
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        return refuse("no file (" + (error ? error.message() : "missing") + ")", "a readable one");
    }
    if (!std::filesystem::is_regular_file(status)) {
        return refuse("a folder or a device", "an ordinary file");
    }
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : -1;
    if (size < 0) {
        return refuse(std::string("a file that can't be read (") + std::strerror(errno) + ")",
                      "a readable one");
    }
    if (static_cast<std::uintmax_t>(size) > limit) {
        return refuse(std::to_string(size) + " bytes", "at most " + std::to_string(limit));
    }
    std::vector<std::uint8_t> bytes;
    resizeInPieces(bytes, static_cast<std::size_t>(size));
    file.seekg(0);
    constexpr std::size_t kPiece = std::size_t{1} << 22;
    for (std::size_t done = 0; done < bytes.size(); done += kPiece) {
        stopIfAsked();
        const std::size_t count = std::min(kPiece, bytes.size() - done);
        if (!file.read(reinterpret_cast<char*>(bytes.data() + done), static_cast<std::streamsize>(count))) {
            return refuse("a file that changed or broke off while it was read", "a whole one");
        }
    }
    return bytes;
}

} // namespace

Result<std::vector<std::uint8_t>> readFileBytes(const std::filesystem::path& path, std::size_t limit)
{
    return attempt(path.string(), [&] { return bytesOf(path, limit); });
}

} // namespace zrk

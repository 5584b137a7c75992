#include "formats/atomic_file.h"

#include "formats/error.h"

#include <fmt/format.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

namespace zrk {
namespace {

constexpr std::size_t kBufferSize = 1 << 18;
constexpr int kMaxLinks = 40; // as many as the kernel follows

std::string folderOf(const std::string& path)
{
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

std::string remedyFor(int reason, const std::string& target)
{
    switch (reason) {
    case ENOENT:
    case ENOTDIR:
        return fmt::format("create the folder {}, or write to another one", folderOf(target));
    case EACCES:
    case EPERM:
    case EROFS:
        return "write to a file and a folder that you may change";
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return "free some space, or write to another disk";
    case ENAMETOOLONG:
        return "choose a shorter name";
    default:
        return "check the path, or write to another place";
    }
}

// Where the links of `path` lead, also if nothing is there yet. Nothing when they run in circles.
// Stops at the first path below /proc: its links stand for open descriptors, not for names.
std::optional<std::string> followLinks(const std::string& path)
{
    namespace fs = std::filesystem;
    fs::path target = path;
    for (int links = 0; links <= kMaxLinks; ++links) {
        std::error_code isNoLink;
        const fs::path next = fs::read_symlink(target, isNoLink);
        if (isNoLink || target.string().starts_with("/proc/")) {
            return target.string();
        }
        target = next.is_absolute() ? next : target.parent_path() / next;
    }
    return std::nullopt;
}

} // namespace

AtomicFile::AtomicFile(const std::string& path) : path(path)
{
    const std::string expectation = "expected the name of a file to write";
    if (path.empty()) {
        throw hostError(HostError::kFailedWork, "output", "found an empty name, " + expectation,
                        "name a file, for example out.npy");
    }
    const std::optional<std::string> followed = followLinks(path);
    if (!followed) {
        throw hostError(HostError::kFailedWork, path, "found links in a circle, " + expectation,
                        "remove the link, or write to another place");
    }
    target = *followed;
    struct stat status = {};
    const bool exists = ::stat(target.c_str(), &status) == 0;
    if (path.back() == '/' || (exists && S_ISDIR(status.st_mode))) {
        throw hostError(HostError::kFailedWork, path, "found a folder, " + expectation,
                        "name a file inside it, or remove the folder");
    }
    buffer.reserve(kBufferSize);
    if (target.starts_with("/proc/") || (exists && !S_ISREG(status.st_mode))) {
        // Appending keeps what a redirected standard output already holds.
        descriptor = ::open(target.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        if (descriptor < 0) {
            fail("opening it");
        }
        return;
    }
    if (exists && ::access(target.c_str(), W_OK) != 0) {
        fail("replacing it");
    }
    createTemporary();
    if (exists) {
        // Some file systems have no permissions to set; the file is good without them.
        (void)::fchmod(descriptor, status.st_mode & 07777);
    }
}

AtomicFile::~AtomicFile()
{
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    if (!temporary.empty()) {
        ::unlink(temporary.c_str());
    }
}

void AtomicFile::write(const void* bytes, std::size_t size)
{
    if (buffer.size() + size > kBufferSize) {
        flush();
    }
    const char* first = static_cast<const char*>(bytes);
    if (size > kBufferSize) {
        writeThrough(first, size);
    } else {
        buffer.insert(buffer.end(), first, first + size);
    }
}

void AtomicFile::commit()
{
    flush();
    const bool replaces = !temporary.empty();
    // EINVAL and ENOTSUP: the file system has no such operation.
    if (replaces && ::fsync(descriptor) != 0 && errno != EINVAL && errno != ENOTSUP) {
        fail("writing it");
    }
    if (::close(std::exchange(descriptor, -1)) != 0 && errno != EINTR) {
        fail("closing it");
    }
    if (replaces && ::rename(temporary.c_str(), target.c_str()) != 0) {
        fail("putting the finished file in its place");
    }
    temporary.clear();
}

void AtomicFile::createTemporary()
{
    static std::atomic<unsigned> counter = 0;
    // A name near the limit of 255 bytes must leave room for the ending.
    const std::string stem = std::filesystem::path(target).filename().string().substr(0, 200);
    do {
        temporary = fmt::format("{}/{}.tmp-{}-{}", folderOf(target), stem, ::getpid(), counter++);
        descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor < 0) {
        temporary.clear();
        fail("creating a file in its folder");
    }
}

void AtomicFile::flush()
{
    writeThrough(buffer.data(), buffer.size());
    buffer.clear();
}

void AtomicFile::writeThrough(const char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(descriptor, bytes, size);
        if (written < 0 && errno != EINTR) {
            fail("writing it");
        }
        if (written > 0) {
            bytes += written;
            size -= static_cast<std::size_t>(written);
        }
    }
}

void AtomicFile::fail(const char* deed) const
{
    const int reason = errno;
    throw hostError(HostError::kFailedWork, path,
                    fmt::format("found \"{}\" on {}, expected a file that can be written",
                                std::generic_category().message(reason), deed),
                    remedyFor(reason, target));
}

} // namespace zrk

#include "formats/atomic_file.h"

#include "core/values/stop.h"
#include "formats/temporary_files.h"

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

/// Brings the bytes of a file to the disk as far as that can be done in pieces, and looks for a request to
/// stop between them: fsync of a large file takes seconds, and can't be stopped. False with errno where the
/// disk couldn't take them; fsync wouldn't tell that again.
bool writeBack([[maybe_unused]] int descriptor)
{
#if defined(__linux__)
    constexpr off_t kPiece = off_t{1} << 23;
    constexpr unsigned kBegin = SYNC_FILE_RANGE_WRITE;
    constexpr unsigned kFinish = SYNC_FILE_RANGE_WAIT_BEFORE | kBegin | SYNC_FILE_RANGE_WAIT_AFTER;
    struct stat status = {};
    const off_t size = ::fstat(descriptor, &status) == 0 ? status.st_size : 0;
    for (const unsigned step : {kBegin, kFinish}) {
        for (off_t piece = 0; piece < size; piece += kPiece) {
            stopIfAsked();
            if (::sync_file_range(descriptor, piece, kPiece, step) != 0 &&
                (errno == EIO || errno == ENOSPC || errno == EDQUOT)) {
                return false;
            }
        }
    }
#endif
    return true;
}

} // namespace

Result<AtomicFile> AtomicFile::create(const std::string& path)
{
    AtomicFile file;
    const Result<void> opened = file.open(path);
    return opened ? Result<AtomicFile>(std::move(file)) : refused(opened.error());
}

AtomicFile::AtomicFile(AtomicFile&& other) noexcept
    : path(std::move(other.path)),
      target(std::move(other.target)),
      temporary(std::exchange(other.temporary, {})),
      buffer(std::move(other.buffer)),
      outcome(std::move(other.outcome)),
      descriptor(std::exchange(other.descriptor, -1))
{}

Result<void> AtomicFile::open(const std::string& name)
{
    path = name;
    const auto refuse = [this](const char* found, const char* remedy) {
        return refused({path.empty() ? "output" : path, found, "the name of a file to write", remedy,
                        FaultKind::FailedWork});
    };
    if (path.empty()) {
        return refuse("an empty name", "name a file, for example out.npy");
    }
    const std::optional<std::string> followed = followLinks(path);
    if (!followed) {
        return refuse("links in a circle", "remove the link, or write to another place");
    }
    target = *followed;
    struct stat status = {};
    const bool exists = ::stat(target.c_str(), &status) == 0;
    if (path.back() == '/' || (exists && S_ISDIR(status.st_mode))) {
        return refuse("a folder", "name a file inside it, or remove the folder");
    }
    buffer.reserve(kBufferSize);
    if (target.starts_with("/proc/") || (exists && !S_ISREG(status.st_mode))) {
        // Appending keeps what a redirected standard output already holds.
        descriptor = ::open(target.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        return descriptor < 0 ? failure("opening it") : Result<void>();
    }
    if (exists && ::access(target.c_str(), W_OK) != 0) {
        return failure("replacing it");
    }
    return createTemporary().map([&] {
        if (exists) {
            // Some file systems have no permissions to set; the file is good without them.
            (void)::fchmod(descriptor, status.st_mode & 07777);
        }
    });
}

AtomicFile::~AtomicFile()
{
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    if (!temporary.empty()) {
        temporaryFiles::remove(temporary);
    }
}

bool AtomicFile::write(const void* bytes, std::size_t size)
{
    if (outcome && buffer.size() + size > kBufferSize) {
        outcome = flush();
    }
    const char* first = static_cast<const char*>(bytes);
    if (outcome && size > kBufferSize) {
        outcome = writeThrough(first, size);
    } else if (outcome) {
        buffer.insert(buffer.end(), first, first + size);
    }
    return outcome.has_value();
}

Result<void> AtomicFile::commit()
{
    outcome = outcome.and_then([this] { return flush(); });
    if (!outcome) {
        return outcome;
    }
    const bool replaces = !temporary.empty();
    if (replaces && !writeBack(descriptor)) {
        return failure("writing it");
    }
    // EINVAL and ENOTSUP: the file system has no such operation.
    if (replaces && ::fsync(descriptor) != 0 && errno != EINVAL && errno != ENOTSUP) {
        return failure("writing it");
    }
    if (::close(std::exchange(descriptor, -1)) != 0 && errno != EINTR) {
        return failure("closing it");
    }
    stopIfAsked(); // bringing it to the disk may have taken long
    if (replaces && !temporaryFiles::rename(temporary, target)) {
        return failure("putting the finished file in its place");
    }
    temporary.clear();
    return {};
}

Result<void> AtomicFile::createTemporary()
{
    static std::atomic<unsigned> counter = 0;
    // A name near the limit of 255 bytes must leave room for the ending.
    const std::string stem = std::filesystem::path(target).filename().string().substr(0, 200);
    do {
        temporary = fmt::format("{}/{}.tmp-{}-{}", folderOf(target), stem, ::getpid(), counter++);
        descriptor = temporaryFiles::create(temporary);
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor < 0) {
        temporary.clear();
        return failure("creating a file in its folder");
    }
    return {};
}

Result<void> AtomicFile::flush()
{
    const Result<void> written = writeThrough(buffer.data(), buffer.size());
    buffer.clear();
    return written;
}

Result<void> AtomicFile::writeThrough(const char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = ::write(descriptor, bytes, size);
        if (written < 0 && errno != EINTR) {
            return failure("writing it");
        }
        if (written > 0) {
            bytes += written;
            size -= static_cast<std::size_t>(written);
        }
    }
    return {};
}

/// What the system's last call failed with.
tl::unexpected<Fault> AtomicFile::failure(const char* deed) const
{
    const int reason = errno;
    return refused({path, fmt::format("\"{}\" on {}", std::generic_category().message(reason), deed),
                    "a file that can be written", remedyFor(reason, target), FaultKind::FailedWork});
}

} // namespace zrk

#include "formats/atomic_file.h"

#include "core/values/stop.h"
#include "formats/temporary_files.h"

#include <fmt/format.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <new>
#include <optional>
#include <string_view>
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
    const std::string folder = folderOf(target);
    std::error_code error;
    switch (reason) {
    case ENOENT:
    case ENOTDIR:
        // Nobody can make files in the folders of /proc, for example.
        return std::filesystem::is_directory(folder, error)
                   ? fmt::format("write to another folder, as {} takes no files of yours", folder)
                   : fmt::format("create the folder {}, or write to another one", folder);
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

std::string fileNameOf(const std::string& path) { return std::filesystem::path(path).filename().string(); }

/// What the names of temporary files of a target begin with. A name near the limit of 255 bytes leaves room
/// for the ending.
std::string temporaryStem(const std::string& target) { return fileNameOf(target).substr(0, 200) + ".zrk-"; }

/// True for names of digits, a hyphen and digits between the stem and ".tmp".
bool isTemporaryName(std::string_view name, std::string_view stem)
{
    constexpr std::string_view kEnding = ".tmp";
    if (!name.starts_with(stem) || !name.ends_with(kEnding) || name.size() < stem.size() + kEnding.size()) {
        return false;
    }
    name.remove_prefix(stem.size());
    name.remove_suffix(kEnding.size());
    const std::size_t hyphen = name.find('-');
    const auto isNumber = [](std::string_view text) {
        return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
    };
    return hyphen != std::string_view::npos && isNumber(name.substr(0, hyphen)) &&
           isNumber(name.substr(hyphen + 1));
}

/// Removes a temporary file unless a program that lives holds it.
void removeIfAbandoned(int folder, const char* name)
{
    const int descriptor = ::openat(folder, name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    struct stat status = {};
    if (descriptor >= 0 && ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        ::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        ::unlinkat(folder, name, 0);
    }
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

/// Removes what killed programs left of temporary files of a target. What can't be removed stays.
void removeAbandoned(const std::string& target)
{
    DIR* folder = ::opendir(folderOf(target).c_str());
    if (!folder) {
        return;
    }
    const std::string stem = temporaryStem(target);
    while (const dirent* entry = ::readdir(folder)) {
        if (isTemporaryName(entry->d_name, stem)) {
            removeIfAbandoned(::dirfd(folder), entry->d_name);
        }
    }
    ::closedir(folder);
}

/// The name under which an open file without one can be reached.
std::string descriptorPath(int descriptor) { return fmt::format("/proc/self/fd/{}", descriptor); }

/// Brings a folder's entries to the disk, where the file system can do that.
void syncFolder(const std::string& folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        (void)::fsync(descriptor); // the file itself is whole and in its place
        ::close(descriptor);
    }
}

int syncFile(int descriptor)
{
    int status = 0;
    do {
        status = ::fsync(descriptor);
    } while (status != 0 && errno == EINTR);
    return status;
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

std::optional<double> freeOnDiskOf(const std::string& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        return std::nullopt;
    }
    const fs::space_info space = fs::space(fs::exists(status) ? path : folderOf(path), error);
    return error ? std::nullopt : std::optional(static_cast<double>(space.available));
}

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
      isInFolder(other.isInFolder),
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
    isInFolder = true;
    if (target.size() - (target.rfind('/') + 1) > NAME_MAX) { // else told only when the file is finished
        errno = ENAMETOOLONG;
        return failure("creating it");
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

Result<FileMapping> AtomicFile::map()
{
    outcome = outcome.and_then([this] { return flush(); });
    struct stat status = {};
    if (outcome && ::fstat(descriptor, &status) != 0) {
        outcome = failure("reading it");
    }
    if (!outcome) {
        return refused(outcome.error());
    }
    FileMapping mapping(descriptor, static_cast<std::size_t>(status.st_size));
    return mapping.size() == static_cast<std::size_t>(status.st_size)
               ? Result<FileMapping>(std::move(mapping))
               : failure("reading it");
}

Result<void> AtomicFile::commit()
{
    outcome = outcome.and_then([this] { return flush(); });
    if (!outcome) {
        return outcome;
    }
    if (!isInFolder) {
        return ::close(std::exchange(descriptor, -1)) != 0 && errno != EINTR ? failure("closing it")
                                                                             : Result<void>();
    }
    if (!writeBack(descriptor)) {
        return failure("writing it");
    }
    // EINVAL and ENOTSUP: the file system has no such operation.
    if (syncFile(descriptor) != 0 && errno != EINVAL && errno != ENOTSUP) {
        return failure("writing it");
    }
    // What closing it would tell. The file itself stays open and locked until it has its name.
    const int copy = ::dup(descriptor);
    if (copy >= 0 && ::close(copy) != 0 && errno != EINTR) {
        return failure("closing it");
    }
    stopIfAsked(); // bringing it to the disk may have taken long
    if (temporary.empty()) {
        if (Result<void> named = giveName(); !named) {
            return named;
        }
    }
    if (!temporaryFiles::rename(temporary, target)) {
        return failure("putting the finished file in its place");
    }
    temporary.clear();
    ::close(std::exchange(descriptor, -1));
    syncFolder(folderOf(target));
    return {};
}

std::string AtomicFile::newName() const
{
    static std::atomic<unsigned> counter = 0;
    return fmt::format("{}/{}{}-{}.tmp", folderOf(target), temporaryStem(target), ::getpid(), counter++);
}

Result<void> AtomicFile::createTemporary()
{
    removeAbandoned(target);
    descriptor = ::open(folderOf(target).c_str(), O_RDWR | O_TMPFILE | O_CLOEXEC, 0666);
    // Without /proc it could never be given a name.
    if (descriptor >= 0 && ::access(descriptorPath(descriptor).c_str(), F_OK) != 0) {
        ::close(std::exchange(descriptor, -1));
    }
    if (descriptor < 0) {
        return createNamed();
    }
    (void)::flock(descriptor, LOCK_EX | LOCK_NB);
    return {};
}

/// A file that has a name from the start.
Result<void> AtomicFile::createNamed()
{
    for (;;) {
        temporary = newName();
        descriptor = temporaryFiles::create(temporary);
        if (descriptor < 0) {
            temporary.clear();
            if (errno == EEXIST) {
                continue;
            }
            return failure("creating a file in its folder");
        }
        (void)::flock(descriptor, LOCK_EX | LOCK_NB);
        struct stat status = {};
        if (::fstat(descriptor, &status) != 0 || status.st_nlink > 0) {
            return {};
        }
        // Another program has removed it before the lock was there.
        ::close(std::exchange(descriptor, -1));
    }
}

/// Gives the finished file a name from which it can be moved to the target's.
Result<void> AtomicFile::giveName()
{
    const std::string nameless = descriptorPath(descriptor);
    for (;;) {
        temporary = newName();
        if (temporaryFiles::nameOpenFile(nameless, temporary)) {
            return {};
        }
        temporary.clear();
        if (errno != EEXIST) {
            return failure("creating a file in its folder");
        }
    }
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
        if (written < 0 && (errno != EINTR || !isInFolder)) {
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
    if (reason == EINTR) {
        return refused(interruptedAt(path));
    }
    if (reason == ENOMEM) {
        return refused(faultOf(std::bad_alloc(), path));
    }
    return refused({path, fmt::format("\"{}\" on {}", std::generic_category().message(reason), deed),
                    "a file that can be written", remedyFor(reason, target), FaultKind::FailedWork});
}

Result<void> writeFile(const std::string& path, std::string_view bytes)
{
    return AtomicFile::create(path).and_then([bytes](AtomicFile file) {
        file.write(bytes.data(), bytes.size());
        return file.commit();
    });
}

} // namespace zrk

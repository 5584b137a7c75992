#include "formats/input_file.h"

#include "core/engine/progress.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace zrk {

namespace {

constexpr int kPollMilliseconds = 50;

/// What a path leads to that can't be read as wanted, in words; null for what can.
const char* unwantedKind(mode_t mode, InputFile::Accepted accepted)
{
    if (S_ISREG(mode)) {
        return nullptr;
    }
    if (S_ISDIR(mode)) {
        return "a folder";
    }
    if (S_ISBLK(mode)) {
        return "a disk";
    }
    if (accepted == InputFile::Accepted::FilesAndStreams) {
        return nullptr;
    }
    return S_ISFIFO(mode) ? "a pipe" : S_ISSOCK(mode) ? "a socket" : "a device";
}

Fault unreadable(const std::string& name, int reason)
{
    const std::string message = std::generic_category().message(reason);
    return {name,
            (reason == ENOENT || reason == ENOTDIR ? "no file (" : "no readable file (") + message + ")",
            "a readable one", "check the path and the file"};
}

} // namespace

Result<InputFile> InputFile::open(const std::filesystem::path& path, Accepted accepted)
{
    const std::string name = path.string();
    // A socket or another's terminal can't be opened by this name, the descriptor can be read all the same.
    if (accepted == Accepted::FilesAndStreams && name == "/dev/stdin") {
        return standardInput();
    }
    const auto refuseKind = [&](const char* found) {
        return refused({name, found,
                        accepted == Accepted::Files ? "an ordinary file" : "an ordinary file or a stream",
                        "check the path and the file"});
    };
    struct stat status = {};
    // Before it is opened too, as that alone does something to some devices.
    if (::stat(name.c_str(), &status) != 0) {
        return refused(unreadable(name, errno));
    }
    if (const char* found = unwantedKind(status.st_mode, accepted)) {
        return refuseKind(found);
    }
    // Without O_NONBLOCK the opening of a pipe would wait for somebody who writes to it.
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        return refused(unreadable(name, errno));
    }
    InputFile file(descriptor, name);
    if (::fstat(descriptor, &status) != 0) {
        return refused(unreadable(name, errno));
    }
    if (const char* found = unwantedKind(status.st_mode, accepted)) {
        return refuseKind(found);
    }
    file._isStream = !S_ISREG(status.st_mode);
    file._size = file._isStream ? 0 : static_cast<std::uint64_t>(status.st_size);
    return file;
}

InputFile InputFile::standardInput() { return {STDIN_FILENO, "standard input"}; }

InputFile::InputFile(InputFile&& other) noexcept
    : _descriptor(std::exchange(other._descriptor, -1)),
      _name(std::move(other._name)),
      _isStream(other._isStream),
      _size(other._size),
      _done(other._done)
{}

InputFile::~InputFile()
{
    if (_descriptor > STDIN_FILENO) {
        ::close(_descriptor);
    }
}

Result<void> InputFile::awaitBytes(ProgressMonitor* monitor) const
{
    for (;;) {
        if (monitor && monitor->interruptRequested()) {
            monitor->interruptAcknowledged();
            return refused(interruptedAt(_name));
        }
        pollfd events = {_descriptor, POLLIN, 0};
        const int ready = ::poll(&events, 1, kPollMilliseconds);
        // A failure of another kind is told by the reading itself.
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return {};
        }
    }
}

Result<std::size_t> InputFile::read(void* bytes, std::size_t size, ProgressMonitor* monitor)
{
    for (std::size_t count = 0;;) {
        if (_isStream) {
            if (const Result<void> waited = awaitBytes(monitor); !waited) {
                return refused(waited.error());
            }
        }
        const ssize_t read = ::read(_descriptor, static_cast<char*>(bytes) + count, size - count);
        // Some files of /proc look like ordinary ones and have nothing to give yet, for as long as they like.
        if (read < 0 && errno != EINTR && !(errno == EAGAIN && _isStream)) {
            return refused(unreadable(_name, errno));
        }
        count += read > 0 ? static_cast<std::size_t>(read) : 0;
        _done += read > 0 ? static_cast<std::uint64_t>(read) : 0;
        if (read == 0 && count < size && _done < _size) {
            return refused({_name, "a file that changed or broke off while it was read", "a whole one",
                            "check the path and the file"});
        }
        if (read == 0 || count == size || (_isStream && count > 0)) {
            return count;
        }
    }
}

} // namespace zrk

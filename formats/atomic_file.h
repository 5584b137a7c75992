#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zrk {

/// A file that appears whole or not at all.
///
/// The bytes go to a temporary file beside the target; commit() puts it in the target's place.
/// Without commit(), or after a failure, the temporary file is removed and the target is what it
/// was. A link is followed: what it points to is replaced and the link stays. A target that
/// exists keeps its permissions, a new one gets the usual ones (umask).
///
/// A device, a pipe or an open descriptor (/dev/stdout) can't be replaced: bytes go straight
/// to it, and what it took before a failure can't be taken back.
///
/// Every failure throws HostError with status kFailedWork, with the path, the system's reason and a remedy.
/// One thread at a time for one object.
class AtomicFile {
public:
    /// Creates the temporary file.
    explicit AtomicFile(const std::string& path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Appends `size` bytes, through a buffer.
    void write(const void* bytes, std::size_t size);

    /// Brings everything to the disk and puts the file in the target's place. Once, as the last call.
    void commit();

private:
    void createTemporary();
    void flush();
    void writeThrough(const char* bytes, std::size_t size);
    [[noreturn]] void fail(const char* deed) const;

    std::string path;      // as the caller named it, for messages
    std::string target;    // what the path's links lead to
    std::string temporary; // empty while there is none to remove
    std::vector<char> buffer;
    int descriptor = -1;
};

} // namespace zrk

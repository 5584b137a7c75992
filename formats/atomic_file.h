#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/file_mapping.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zrk {

/// Bytes that are free on the disk where a file is to be written; nothing where it is a device or a pipe, or
/// where the system doesn't tell.
ZRK_API std::optional<double> freeOnDiskOf(const std::string& path);

/// A file that appears whole or not at all.
///
/// The bytes go to a file in the target's folder that has no name until commit() puts it in the target's
/// place. So nothing of it stays without commit(), after a failure, or when the program is ended in whatever
/// way, and the target is what it was. A link is followed: what it points to is replaced and the link stays.
/// A target that exists keeps its permissions, a new one gets the usual ones (umask).
///
/// On file systems that have no files without a name it has one, such as `part.stl.zrk-4711-0.tmp`, and so it
/// has everywhere for a moment within commit(). What a program that was killed leaves under such a name is
/// removed when the target is next written; programs that still run hold a lock on theirs.
///
/// A device, a pipe or an open descriptor (/dev/stdout) can't be replaced: bytes go straight
/// to it, and what it took before a failure can't be taken back.
///
/// Faults are of the kind FailedWork, with the path, the system's reason and a remedy; of the kind
/// Interrupted where a signal woke it from waiting for a pipe. One thread at a time for one object.
class ZRK_API AtomicFile {
public:
    /// Creates the temporary file.
    static Result<AtomicFile> create(const std::string& path);
    ~AtomicFile();
    AtomicFile(AtomicFile&& other) noexcept;
    AtomicFile& operator=(AtomicFile&&) = delete;

    /// Appends `size` bytes, through a buffer. False when a write has failed: commit() tells why, and what
    /// is written then is lost.
    bool write(const void* bytes, std::size_t size);

    /// What was written until now, as memory: for a file that is read by the one who writes it. Refused after
    /// a failure. Nothing may be written while it is read.
    Result<FileMapping> map();

    /// Brings everything to the disk, puts the file in the target's place and brings the folder to the disk.
    /// Once, as the last call.
    Result<void> commit();

private:
    AtomicFile() = default;

    Result<void> open(const std::string& path);
    Result<void> createTemporary();
    Result<void> createNamed();
    Result<void> giveName();
    std::string newName() const;
    Result<void> flush();
    Result<void> writeThrough(const char* bytes, std::size_t size);
    tl::unexpected<Fault> failure(const char* deed) const;

    std::string path;        // as the caller named it, for messages
    std::string target;      // what the path's links lead to
    std::string temporary;   // name to remove; empty while there is none
    bool isInFolder = false; // else it is a device, a pipe or an open descriptor
    std::vector<char> buffer;
    Result<void> outcome; // of all writes so far
    int descriptor = -1;
};

/// Writes a whole file, as AtomicFile does it.
ZRK_API Result<void> writeFile(const std::string& path, std::string_view bytes);

} // namespace zrk

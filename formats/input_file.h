#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

namespace zrk {

class ProgressMonitor;

/// A file that is open for reading. To open one never waits, whatever the path names; to read from a pipe, a
/// terminal or another stream waits for what it sends, and stops when the monitor interrupts.
///
/// One thread at a time for one object.
class ZRK_API InputFile {
public:
    /// What may be opened: ordinary files alone, or also pipes, terminals and other devices and sockets that
    /// give bytes one after the other. A folder and a disk as a whole are neither.
    enum class Accepted { Files, FilesAndStreams };

    /// Opens a file. A fault is of the kind BadInput; it has the path as its place and tells the kind of
    /// thing that was found there.
    static Result<InputFile> open(const std::filesystem::path& path, Accepted accepted = Accepted::Files);
    /// Standard input, which stays open.
    static InputFile standardInput();

    ~InputFile();
    InputFile(InputFile&& other) noexcept;
    InputFile& operator=(InputFile&&) = delete;

    /// Bytes of an ordinary file when it was opened; 0 of a stream.
    std::uint64_t size() const { return _size; }

    /// Reads up to `size` bytes, fewer only from a stream and at the end, where it gives 0.
    ///
    /// @param monitor  asked while a stream has nothing to give, at least every 50 ms; may be null.
    /// Faults are of the kinds BadInput, where the system can't read on or an ordinary file has become
    /// shorter since it was opened, and Interrupted.
    Result<std::size_t> read(void* bytes, std::size_t size, ProgressMonitor* monitor = nullptr);

private:
    InputFile(int descriptor, std::string name) : _descriptor(descriptor), _name(std::move(name)) {}

    Result<void> awaitBytes(ProgressMonitor* monitor) const;

    int _descriptor;
    std::string _name;
    bool _isStream = true;
    std::uint64_t _size = 0;
    std::uint64_t _done = 0; ///< bytes that were read
};

} // namespace zrk

#pragma once

#include "core/values/fault.h"

#include <fmt/format.h>

#include <cstddef>
#include <functional>

namespace zrk {

class ProgressMonitor;

/// Where the bytes of a file go; false when they can't be taken any more.
using ByteSink = std::function<bool(const void* bytes, std::size_t size)>;

/// The bytes of a long file on their way: they are gathered into pieces of some 64 KiB that go on to a sink.
/// Between pieces the monitor is told how far the work has come and is asked whether to stop.
class PieceWriter {
public:
    /// @param monitor  not owned; may be null.
    /// @param steps    of the whole work, for progress.
    PieceWriter(ByteSink sink, ProgressMonitor* monitor, std::size_t steps);

    /// Where the writer of a format appends its bytes.
    fmt::memory_buffer& buffer() { return _buffer; }
    void append(const void* bytes, std::size_t size);
    /// Appends a number as it lies in memory.
    template <class T>
    void appendValue(const T& value)
    {
        append(&value, sizeof value);
    }

    /// One step is done and appended. False when nothing more is wanted: the sink has failed, or the monitor
    /// interrupts.
    bool step()
    {
        ++_done;
        return _buffer.size() < kPieceBytes ? _goesOn : flush();
    }
    /// Hands on what is left, as the last call. Refused as Interrupted where the monitor interrupts; whether
    /// the bytes were taken is what the sink knows.
    Result<void> finish();

private:
    static constexpr std::size_t kPieceBytes = 1 << 16;

    ByteSink _sink;
    ProgressMonitor* _monitor;
    std::size_t _steps;
    std::size_t _done = 0;
    bool _goesOn = true;
    bool _isInterrupted = false;
    fmt::memory_buffer _buffer;

    bool flush();
};

} // namespace zrk

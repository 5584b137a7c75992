#include "formats/piece_writer.h"

#include "core/engine/progress.h"

#include <utility>

namespace zrk {

PieceWriter::PieceWriter(ByteSink sink, ProgressMonitor* monitor, std::size_t steps)
    : _sink(std::move(sink)), _monitor(monitor), _steps(steps)
{}

void PieceWriter::append(const void* bytes, std::size_t size)
{
    const char* first = static_cast<const char*>(bytes);
    _buffer.append(first, first + size);
}

Result<void> PieceWriter::finish()
{
    flush();
    return _isInterrupted ? refused(interruptedAt("writing")) : Result<void>();
}

bool PieceWriter::flush()
{
    if (_goesOn) {
        _goesOn = _sink(_buffer.data(), _buffer.size());
    }
    _buffer.clear();
    if (_goesOn && _monitor) {
        _monitor->progress(_steps > 0 ? static_cast<double>(_done) / static_cast<double>(_steps) : 1.0);
        if (_monitor->interruptRequested()) {
            _monitor->interruptAcknowledged();
            _isInterrupted = true;
            _goesOn = false;
        }
    }
    return _goesOn;
}

} // namespace zrk

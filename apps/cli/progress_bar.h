#pragma once

#include "core/engine/progress.h"

#include <chrono>
#include <string>

namespace zrkcli {

/// Lets Ctrl-C set a flag instead of ending the program, so that nothing half-written stays.
void catchInterrupts();
/// True once Ctrl-C was pressed.
bool isInterrupted();
/// Exit status of an interrupted command.
inline constexpr int kInterruptedStatus = 130;

/// Shows how far a work is on standard error, when that is a terminal, and passes Ctrl-C on.
class ProgressBar final : public zrk::ProgressMonitor {
public:
    ProgressBar(std::string title, bool quiet);
    ~ProgressBar() override;
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void progress(double fraction) override;
    bool interruptRequested() override { return isInterrupted(); }

private:
    std::string _title;
    bool _visible;
    bool _drawn = false;
    std::chrono::steady_clock::time_point _started;
    std::chrono::steady_clock::time_point _lastDrawn;
};

} // namespace zrkcli

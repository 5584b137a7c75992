#pragma once

#include "core/engine/progress.h"
#include "core/values/fault.h"
#include "core/values/stop.h"

#include <chrono>
#include <string>
#include <utility>

namespace zrkcli {

/// Makes requests to stop (Ctrl-C, SIGTERM, SIGHUP) set a flag instead of ending the program, so that no
/// half-written file stays. What writes to a pipe that nobody reads, or beyond the allowed size of a file,
/// gets an error instead of a signal. Work that hasn't heard a request after 50 ms is ended by
/// `endInterrupted` on a thread of its own, unless the environment has ZRK_NO_WATCH_OF_REQUESTS.
void catchInterrupts();
/// Returns true once there was a request to stop.
bool isInterrupted();
/// Raised by Ctrl-C. `main` puts all work in the scope of this sign, which ends by `endInterrupted`.
const zrk::StopSign& interruptSign();
/// Removes temporary files and the progress bar, and ends the program with status 130. What the work has
/// built isn't taken down, which could take longer than stopping may.
[[noreturn]] void endInterrupted();

/// Returns the status of a program that has cleaned up. If the work was stopped by another request than
/// Ctrl-C, it ends the program by that signal, so that whoever sent it sees that it was heard.
int endedBy(int status);

/// While it lives, a request to stop ends the program at once; Ctrl-C with status 130.
class EndingAtInterrupt {
public:
    EndingAtInterrupt();
    ~EndingAtInterrupt();
    EndingAtInterrupt(const EndingAtInterrupt&) = delete;
    EndingAtInterrupt& operator=(const EndingAtInterrupt&) = delete;
};

/// Shows the progress of a piece of work on standard error if that is a terminal, and stops the work after
/// Ctrl-C.
class ProgressBar final : public zrk::ProgressMonitor {
public:
    ProgressBar(std::string title, bool quiet);
    ~ProgressBar() override;
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void progress(double fraction) override;
    bool interruptRequested() override;

private:
    std::string _title;
    bool _visible;
    std::chrono::steady_clock::time_point _started;
    std::chrono::steady_clock::time_point _lastDrawn;
};

/// What work() gives. A request to stop meanwhile ends the program at once, Ctrl-C with status 130: for work
/// that can't be asked to stop and has no file open for writing.
template <class Work>
auto endingAtInterrupt(const Work& work)
{
    const EndingAtInterrupt ending;
    if (isInterrupted()) {
        throw zrk::FaultError(zrk::interruptedAt("command"));
    }
    return work();
}

/// What work(bar) gives, with a progress bar while it runs.
template <class Work>
auto withProgress(std::string title, bool quiet, const Work& work)
{
    ProgressBar bar(std::move(title), quiet);
    return work(bar);
}

} // namespace zrkcli

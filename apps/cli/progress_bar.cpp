#include "apps/cli/progress_bar.h"
#include "apps/cli/messages.h"
#include "formats/temporary_files.h"

#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace zrkcli {

namespace {

constexpr int kInterruptedStatus = 130;

constexpr const char* kClearedLine = "\r\x1b[K";

zrk::StopSign interrupted;

/// Whether a progress bar stands in the last line of the terminal.
std::atomic<bool> isBarDrawn{false};

extern "C" void onInterrupt(int) { interrupted.raise(); }

extern "C" void endProgram(int) { _exit(kInterruptedStatus); }

void callAtInterrupt(void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    // A second Ctrl-C ends the program in the ordinary way.
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
}

} // namespace

void catchInterrupts() { callAtInterrupt(onInterrupt); }

EndingAtInterrupt::EndingAtInterrupt() { callAtInterrupt(endProgram); }
EndingAtInterrupt::~EndingAtInterrupt() { catchInterrupts(); }

bool isInterrupted() { return interrupted.isRaised(); }

const zrk::StopSign& interruptSign() { return interrupted; }

void endInterrupted()
{
    zrk::temporaryFiles::removeAllAtEnd();
    if (isBarDrawn) {
        tellText(kClearedLine);
    }
    _exit(kInterruptedStatus);
}

ProgressBar::ProgressBar(std::string title, bool quiet)
    : _title(std::move(title)),
      _visible(!quiet && isatty(STDERR_FILENO) == 1),
      _started(std::chrono::steady_clock::now()),
      _lastDrawn(_started)
{}

ProgressBar::~ProgressBar()
{
    if (isBarDrawn.exchange(false)) {
        tellText(kClearedLine);
    }
}

bool ProgressBar::interruptRequested()
{
    if (isInterrupted()) {
        endInterrupted();
    }
    return false;
}

void ProgressBar::progress(double fraction)
{
    constexpr int kWidth = 32;
    constexpr auto kInterval = std::chrono::milliseconds(100);
    const auto now = std::chrono::steady_clock::now();
    if (!_visible || now - _lastDrawn < kInterval) {
        return;
    }
    _lastDrawn = now;
    isBarDrawn = true;
    const double share = std::clamp(fraction, 0.0, 1.0);
    const int filled = static_cast<int>(share * kWidth);
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(kWidth, '.');
    const double elapsed = std::chrono::duration<double>(now - _started).count();
    const std::string left = share > 0.02 ? fmt::format("  {:.0f} s left", elapsed / share - elapsed) : "";
    tell("\r\x1b[K{} [{}] {:3.0f} %{}", _title, bar, 100 * share, left);
}

} // namespace zrkcli

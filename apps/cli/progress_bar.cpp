#include "apps/cli/progress_bar.h"
#include "apps/cli/messages.h"
#include "formats/temporary_files.h"

#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace zrkcli {

namespace {

constexpr int kInterruptedStatus = 130;

/// What asks the program to stop: Ctrl-C, a request of the system, a terminal that is closed.
constexpr int kRequests[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> request{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

zrk::StopSign interrupted;

extern "C" void noteRequest(int number)
{
    request.store(number, std::memory_order_relaxed);
    interrupted.raise();
}
constexpr std::string_view kClearLine = "\r\x1b[K";

/// Whether a bar stands in the terminal's last line.
std::atomic<bool> barIsDrawn{false};

extern "C" void endProgram(int number)
{
    if (barIsDrawn) {
        tellText(kClearLine);
    }
    if (number == SIGINT) {
        _exit(kInterruptedStatus);
    }
    // Taken in the ordinary way when this handler returns.
    raise(number);
}

/// True for a signal that the program was told to ignore when it was started, as `nohup` does.
bool isIgnored(int number)
{
    struct sigaction former {};
    return sigaction(number, nullptr, &former) == 0 && former.sa_handler == SIG_IGN;
}

void callAtRequest(void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    // A second request ends the program in the ordinary way. Without SA_RESTART, so that what waits for a
    // pipe is woken.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : kRequests) {
        if (number != SIGHUP || !isIgnored(number)) {
            sigaction(number, &action, nullptr);
        }
    }
}

/// Of the terminal that messages go to.
int terminalColumns()
{
    constexpr int kUsual = 80;
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsual;
}

} // namespace

void catchInterrupts()
{
    callAtRequest(noteRequest);
    // Then a write fails, with a message that tells of what.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

EndingAtInterrupt::EndingAtInterrupt() { callAtRequest(endProgram); }
EndingAtInterrupt::~EndingAtInterrupt() { callAtRequest(noteRequest); }

bool isInterrupted() { return interrupted.isRaised(); }

const zrk::StopSign& interruptSign() { return interrupted; }

int endedBy(int status)
{
    const int number = request.load(std::memory_order_relaxed);
    if (status == kInterruptedStatus && number != 0 && number != SIGINT) {
        std::signal(number, SIG_DFL);
        raise(number);
    }
    return status;
}

void endInterrupted()
{
    zrk::temporaryFiles::removeAllAtEnd();
    if (barIsDrawn) {
        tellText(kClearLine);
    }
    _exit(endedBy(kInterruptedStatus));
}

ProgressBar::ProgressBar(std::string title, bool quiet)
    : _title(std::move(title)),
      _visible(!quiet && isatty(STDERR_FILENO) == 1),
      _started(std::chrono::steady_clock::now()),
      _lastDrawn(_started)
{}

ProgressBar::~ProgressBar()
{
    if (barIsDrawn.exchange(false)) {
        tellText(kClearLine);
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
    constexpr int kWidest = 32;
    constexpr int kNarrowest = 4;
    constexpr auto kInterval = std::chrono::milliseconds(100);
    const auto now = std::chrono::steady_clock::now();
    if (!_visible || now - _lastDrawn < kInterval) {
        return;
    }
    _lastDrawn = now;
    barIsDrawn = true;
    const double share = std::clamp(fraction, 0.0, 1.0);
    const double elapsed = std::chrono::duration<double>(now - _started).count();
    const std::string percent = fmt::format("{:3.0f} %", 100 * share);
    const std::string left = share > 0.02 ? fmt::format("  {:.0f} s left", elapsed / share - elapsed) : "";
    // What a line has no room for is left out, as a second line couldn't be cleared: the bar, the time that
    // is left, the title.
    const int columns = terminalColumns() - 1;
    const int words = static_cast<int>(_title.size() + percent.size() + left.size()) + 4; // blanks, brackets
    const int width = std::min(kWidest, columns - words);
    std::string line = _title + " " + percent + left;
    if (width >= kNarrowest) {
        std::string bar(static_cast<std::size_t>(share * width), '#');
        bar.resize(static_cast<std::size_t>(width), '.');
        line = fmt::format("{} [{}] {}{}", _title, bar, percent, left);
    } else if (static_cast<int>(line.size()) > columns) {
        line = static_cast<int>(_title.size() + percent.size()) < columns ? _title + " " + percent : percent;
    }
    tell("{}{}", kClearLine, line);
}

} // namespace zrkcli

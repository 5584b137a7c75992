#include "apps/cli/progress_bar.h"
#include "apps/cli/messages.h"
#include "apps/cli/ranks.h"
#include "formats/temporary_files.h"

#include <fmt/core.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <pthread.h>
#include <semaphore.h>
#include <string_view>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

namespace zrkcli {

namespace {

constexpr int kInterruptedStatus = 130;

/// What asks the program to stop: Ctrl-C, a request of the system, a terminal that is closed.
constexpr int kRequests[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> request{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

zrk::StopSign interrupted;

sem_t requested;

extern "C" void noteRequest(int number)
{
    request.store(number, std::memory_order_relaxed);
    interrupted.raise();
    sem_post(&requested);
}

/// Ends the program where the work hasn't heard a request soon, as it frees large structures or waits for a
/// disk.
extern "C" void* endIfUnheard(void*)
{
    constexpr auto kHearing = std::chrono::milliseconds(50);
    while (sem_wait(&requested) != 0) {
    }
    std::this_thread::sleep_for(kHearing);
    endInterrupted();
}

/// Without room for a thread, requests are left to what the work hears.
void watchRequests()
{
    sem_init(&requested, 0, 0);
    // For tests of what the work itself hears.
    if (const char* isOff = std::getenv("ZRK_NO_WATCH_OF_REQUESTS"); isOff && *isOff) {
        return;
    }
    constexpr std::size_t kStack = 256 * 1024;
    sigset_t all;
    sigset_t former;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former); // the thread inherits it: signals are the others'
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStack);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    (void)pthread_create(&thread, &attributes, endIfUnheard, nullptr);
    pthread_attr_destroy(&attributes);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
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
    watchRequests();
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
        sigset_t only;
        sigemptyset(&only);
        sigaddset(&only, number);
        pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
        raise(number);
    }
    return status;
}

void endInterrupted()
{
    if (barIsDrawn) {
        tellText(kClearLine);
    }
    tellEndOfRanks();
    zrk::temporaryFiles::removeAllAtEnd();
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

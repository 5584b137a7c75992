#include "apps/workbench/window/watchdog.h"

#include <QObject>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>

#include <pthread.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace zrkworkbench {

namespace {

using WatchClock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kWatchInterval{2};

/// What is being done, and within it, and so on; what is deeper isn't told.
std::array<std::atomic<const char*>, 8> doing{};
std::atomic<std::size_t> doingDepth{0};

/// Nanoseconds that a thread of this process has waited for a processor; 0 where the system doesn't tell.
std::uint64_t queueTimeOf(long thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/schedstat");
    std::uint64_t onProcessor = 0;
    std::uint64_t inQueue = 0;
    file >> onProcessor >> inQueue;
    return file ? inQueue : 0;
}

/// Milliseconds that the thread of a clock has worked.
double workTime(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
}

} // namespace

Doing::Doing(const char* what)
{
    const std::size_t depth = doingDepth;
    if (depth < doing.size()) {
        doing[depth] = what;
    }
    doingDepth = depth + 1;
}

Doing::~Doing() { --doingDepth; }

std::string Doing::now()
{
    std::string all;
    for (std::size_t i = 0; i < std::min(doingDepth.load(), doing.size()); ++i) {
        all += (i == 0 ? "" : ": ") + std::string(doing[i]);
    }
    return all;
}

struct Watchdog::State {
    double limit;
    long thread;         ///< the window's
    clockid_t workClock; ///< of that thread
    mutable std::mutex mutex;
    std::condition_variable wake;
    bool isEnding = false;
    bool isAnswered = true;
    WatchClock::time_point asked{};
    std::uint64_t queueTime = 0;
    double worked = 0;
    std::map<std::string, int> seen; ///< what was done, and how often it was seen
    Hold longest;
    std::vector<Hold> holds;

    /// In the window's thread.
    void answer()
    {
        const std::lock_guard lock(mutex);
        const double passed = std::chrono::duration<double, std::milli>(WatchClock::now() - asked).count();
        const double queued = 1e-6 * static_cast<double>(queueTimeOf(thread) - queueTime);
        Hold hold{std::max(0.0, passed - queued), workTime(workClock) - worked, {}};
        int most = 0;
        for (const auto& [what, times] : seen) {
            if (times > most) {
                most = times;
                hold.what = what;
            }
        }
        longest = hold.milliseconds > longest.milliseconds ? hold : longest;
        if (hold.milliseconds > limit) {
            holds.push_back(std::move(hold));
        }
        isAnswered = true;
    }
};

Watchdog::Watchdog(double limit) : _state(std::make_shared<State>()), _receiver(std::make_unique<QObject>())
{
    _state->limit = limit;
    _state->thread = syscall(SYS_gettid);
    pthread_getcpuclockid(pthread_self(), &_state->workClock);
    _thread = std::thread([state = _state, receiver = _receiver.get()] { watch(state, receiver); });
}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(_state->mutex);
        _state->isEnding = true;
    }
    _state->wake.notify_one();
    _thread.join();
}

void Watchdog::watch(const std::shared_ptr<State>& state, QObject* receiver)
{
    std::unique_lock lock(state->mutex);
    while (!state->wake.wait_for(lock, kWatchInterval, [&] { return state->isEnding; })) {
        if (state->isAnswered) {
            state->isAnswered = false;
            state->seen.clear();
            state->worked = workTime(state->workClock);
            state->asked = WatchClock::now();
            state->queueTime = queueTimeOf(state->thread);
            QMetaObject::invokeMethod(
                receiver, [state] { state->answer(); }, Qt::QueuedConnection);
        } else {
            ++state->seen[Doing::now()];
        }
    }
}

Watchdog::Hold Watchdog::longest() const
{
    const std::lock_guard lock(_state->mutex);
    return _state->longest;
}

std::vector<Watchdog::Hold> Watchdog::holds() const
{
    const std::lock_guard lock(_state->mutex);
    return _state->holds;
}

void Watchdog::reset()
{
    const std::lock_guard lock(_state->mutex);
    _state->longest = {};
    _state->holds.clear();
}

} // namespace zrkworkbench

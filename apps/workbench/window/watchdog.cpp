#include "apps/workbench/window/watchdog.h"

#include <QObject>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <fstream>
#include <mutex>

#include <sys/syscall.h>
#include <unistd.h>

namespace zrkworkbench {

namespace {

using WatchClock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kWatchInterval{4};

std::atomic<const char*> doing{""};

/// Nanoseconds that a thread of this process has waited for a processor; 0 where the system doesn't tell.
std::uint64_t queueTimeOf(long thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/schedstat");
    std::uint64_t onProcessor = 0;
    std::uint64_t inQueue = 0;
    file >> onProcessor >> inQueue;
    return file ? inQueue : 0;
}

} // namespace

Doing::Doing(const char* what) : _former(doing.exchange(what)) {}
Doing::~Doing() { doing = _former; }
const char* Doing::now() { return doing; }

struct Watchdog::State {
    double limit;
    long thread; ///< the window's
    mutable std::mutex mutex;
    std::condition_variable wake;
    bool isEnding = false;
    bool isAnswered = true;
    WatchClock::time_point asked{};
    std::uint64_t queueTime = 0;
    std::string caught;
    double longest = 0;
    std::vector<Hold> holds;

    /// In the window's thread.
    void answer()
    {
        const std::lock_guard lock(mutex);
        const double passed = std::chrono::duration<double, std::milli>(WatchClock::now() - asked).count();
        const double queued = 1e-6 * static_cast<double>(queueTimeOf(thread) - queueTime);
        const double held = std::max(0.0, passed - queued);
        longest = std::max(longest, held);
        if (held > limit) {
            holds.push_back({held, caught});
        }
        isAnswered = true;
    }
};

Watchdog::Watchdog(double limit) : _state(std::make_shared<State>()), _receiver(std::make_unique<QObject>())
{
    _state->limit = limit;
    _state->thread = syscall(SYS_gettid);
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
            state->caught.clear();
            state->asked = WatchClock::now();
            state->queueTime = queueTimeOf(state->thread);
            QMetaObject::invokeMethod(
                receiver, [state] { state->answer(); }, Qt::QueuedConnection);
        } else if (state->caught.empty()) {
            state->caught = Doing::now();
        }
    }
}

double Watchdog::longest() const
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
    _state->longest = 0;
    _state->holds.clear();
}

} // namespace zrkworkbench

#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

class QObject;

namespace zrkworkbench {

/// What the window's thread is doing now, for the watchdog to tell: a text that stays valid, set where
/// something begins that may take long. Made and destroyed in the window's thread.
class Doing {
public:
    explicit Doing(const char* what);
    ~Doing();
    Doing(const Doing&) = delete;
    Doing& operator=(const Doing&) = delete;

    /// All that is being done, such as "undoing: opening a panel". Safe to call from any thread.
    static std::string now();
};

/// Sees from a thread of its own how long the window's thread takes to come back to its event loop. For tests
/// and measurements: made and destroyed in the window's thread.
///
/// It counts the time in which the thread worked or waited for something itself, but not the time in which it
/// waited for a processor that other threads and programs had, as far as the system tells that.
class Watchdog {
public:
    struct Hold {
        double milliseconds = 0;
        double processor = 0; ///< milliseconds of them that the thread worked: the same on a loaded machine
        std::string what;     ///< what the window's thread did for most of it; empty where nobody said
    };

    /// @param limit  milliseconds of work or waiting; longer holds are kept.
    explicit Watchdog(double limit);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// Also where it was shorter than the limit.
    Hold longest() const;
    /// All that were longer than the limit.
    std::vector<Hold> holds() const;
    void reset();

private:
    struct State;
    std::shared_ptr<State> _state;
    std::unique_ptr<QObject> _receiver; ///< in the window's thread
    std::thread _thread;

    static void watch(const std::shared_ptr<State>& state, QObject* receiver);
};

} // namespace zrkworkbench

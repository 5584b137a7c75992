#pragma once

#include "core/values/export.h"

#include <algorithm>
#include <atomic>

namespace zrk {

/// A request to stop work. Any thread may raise it and look at it, and so may a signal handler. It stays
/// raised.
class StopSign {
public:
    void raise() noexcept { _isRaised.store(true, std::memory_order_relaxed); }
    bool isRaised() const noexcept { return _isRaised.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> _isRaised{false};
    static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch such atomics");
};

/// While one lives, a sign stops the work of its thread and of the teams that this thread starts. Work looks
/// at the sign where it calls `stopIfAsked`, in all of this library at least every few milliseconds, and
/// ends with the FaultError of interrupted work. Scopes may stand within each other: any of their signs stops
/// the work. Work in two scopes on two threads is stopped apart.
///
/// Functions that return a Result may throw this FaultError too; `attempt` around them makes it one.
class ZRK_API StopScope {
public:
    /// @param sign  not owned, must outlive this.
    /// @param end   called where the request is heard, in place of the exception, on whichever thread that
    /// is;
    ///              doesn't return. For a program that ends then and has no use for what the work would free.
    explicit StopScope(const StopSign& sign, void (*end)() = nullptr)
        : _sign(&sign), _end(end), _outer(_ofThisThread)
    {
        _ofThisThread = this;
    }
    /// For a thread that works for another one: what stops that one's work stops this thread's.
    /// @param other  `current()` of the other thread, which waits for this one; may be null.
    explicit StopScope(const StopScope* other) : _outer(other) { _ofThisThread = this; }
    ~StopScope() { _ofThisThread = _former; }
    StopScope(const StopScope&) = delete;
    StopScope& operator=(const StopScope&) = delete;

    /// The innermost one of the calling thread, null where there is none.
    static const StopScope* current() { return _ofThisThread; }

    bool isStopped() const { return raised() != nullptr; }

    /// Ends the work of the calling thread, whose innermost scope this is: as the scope of the sign wants it,
    /// or by the FaultError of interrupted work.
    [[noreturn]] void stop() const;

private:
    static inline constinit thread_local const StopScope* _ofThisThread = nullptr;

    const StopSign* _sign = nullptr;
    void (*_end)() = nullptr;
    const StopScope* _outer;
    const StopScope* _former = _ofThisThread;

    /// The innermost scope whose sign is raised.
    const StopScope* raised() const
    {
        const StopScope* scope = this;
        while (scope && !(scope->_sign && scope->_sign->isRaised())) {
            scope = scope->_outer;
        }
        return scope;
    }
};

/// True when the work of the calling thread is to stop. Takes a nanosecond or two.
inline bool isStopAsked()
{
    const StopScope* scope = StopScope::current();
    return scope && scope->isStopped();
}

/// Stops the work of the calling thread if somebody has asked for it: throws the FaultError of interrupted
/// work.
inline void stopIfAsked()
{
    if (isStopAsked()) {
        StopScope::current()->stop();
    }
}

/// Calls body(from, to) for one piece after the other of the range from `first` up to `end`, and looks for a
/// request to stop between them: for loops over arrays, which run as fast as without.
template <class Index, class Body>
void inPieces(Index first, Index end, const Body& body)
{
    constexpr Index kPiece = 1 << 14;
    while (end - first > kPiece) {
        body(first, static_cast<Index>(first + kPiece));
        first = static_cast<Index>(first + kPiece);
        stopIfAsked();
    }
    if (first < end) {
        body(first, end);
    }
}

/// Looks for a request to stop once in so many steps, for other loops whose steps take nanoseconds.
class StopLookout {
public:
    /// Stops the work of the calling thread as `stopIfAsked` does.
    void step()
    {
        if (++_steps % kStepsPerLook == 0) {
            stopIfAsked();
        }
    }

private:
    static constexpr unsigned kStepsPerLook = 1024;
    unsigned _steps = 0;
};

} // namespace zrk

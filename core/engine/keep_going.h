#pragma once

#include "core/engine/progress.h"

#include <functional>

namespace zrk {

/// How work on one thread follows whoever wants to know: called with the fraction done, 0 to 1, now and then,
/// on the thread that called for the work. False stops it. Empty where nobody wants to know.
using KeepGoing = std::function<bool(double fraction)>;

inline bool goesOn(const KeepGoing& keepGoing, double fraction) { return !keepGoing || keepGoing(fraction); }

/// Tells a monitor, which may be null, and stops when it interrupts.
inline KeepGoing followedBy(ProgressMonitor* monitor)
{
    if (!monitor) {
        return {};
    }
    return [monitor](double fraction) {
        monitor->progress(fraction);
        const bool isInterrupted = monitor->interruptRequested();
        if (isInterrupted) {
            monitor->interruptAcknowledged();
        }
        return !isInterrupted;
    };
}

/// The part of a work from one fraction to another, as a whole work. `whole` must live as long.
inline KeepGoing partOf(const KeepGoing& whole, double from, double to)
{
    return [&whole, from, to](double fraction) { return goesOn(whole, from + (to - from) * fraction); };
}

} // namespace zrk

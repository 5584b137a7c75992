#pragma once

#include "core/engine/field_generator.h"
#include "core/engine/kernel.h"
#include "core/engine/progress.h"
#include "model/deferred_work.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace zrkmodel {

/// A value that whoever asks first computes. Safe from any thread; those who ask meanwhile wait.
template <class T>
class Pending {
public:
    /// The monitor may be null.
    using Work = std::function<T(zrk::ProgressMonitor* monitor)>;

    explicit Pending(Work work) : _work(std::move(work)) {}
    explicit Pending(T value) : _value(std::move(value)), _isDone(true) {}

    bool isDone() const { return _isDone.load(std::memory_order_acquire); }

    /// The value. What the work throws passes through, and the next one who asks has it done again.
    const T& get() const
    {
        if (!isDone()) {
            const std::lock_guard lock(_mutex);
            if (!isDone()) {
                _value = _work(ZRKDeferredRun::monitor());
                _work = nullptr;
                _isDone.store(true, std::memory_order_release);
            }
        }
        return *_value;
    }

private:
    mutable std::mutex _mutex;
    mutable Work _work;
    mutable std::optional<T> _value;
    mutable std::atomic<bool> _isDone{false};
};

/// How far a computation has come, for whoever asks, on any thread. A copy is of none.
class ComputationMeter {
public:
    ComputationMeter() = default;
    ComputationMeter(const ComputationMeter&) {}
    ComputationMeter& operator=(const ComputationMeter&) { return *this; }

    /// 0 to 1; none while nothing runs.
    std::optional<double> fraction() const
    {
        const double now = _fraction.load(std::memory_order_relaxed);
        return now < 0 ? std::nullopt : std::optional(now);
    }

    /// A computation that runs while this lives.
    class Run final : public zrk::ProgressMonitor {
    public:
        /// @param outer  is told too, and may stop it; may be null.
        Run(ComputationMeter& meter, zrk::ProgressMonitor* outer) : _meter(meter), _outer(outer)
        {
            _meter._fraction.store(0, std::memory_order_relaxed);
        }
        ~Run() override { _meter._fraction.store(-1, std::memory_order_relaxed); }
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

        void progress(double fraction) override
        {
            _meter._fraction.store(std::clamp(fraction, 0.0, 1.0), std::memory_order_relaxed);
            if (_outer) {
                _outer->progress(fraction);
            }
        }
        bool interruptRequested() override { return _outer && _outer->interruptRequested(); }

    private:
        ComputationMeter& _meter;
        zrk::ProgressMonitor* _outer;
    };

private:
    std::atomic<double> _fraction{-1};
};

/// The closure of a kernel that its first sample makes.
/// @param make     the closure, of our own kernels, whose kernel it is.
/// @param standIn  a closure of the same type, which reads the same inputs.
zrk::Evaluation pendingEvaluator(std::function<zrk::Evaluation()> make, const zrk::Evaluation& standIn);

/// The scalar field as its evaluators are now, whatever is edited later.
zrk::IField fixedField(const zrk::IField& field);

/// Throws the FaultError of interrupted work if the monitor wants it to stop.
void stopIfInterrupted(zrk::ProgressMonitor* monitor, const char* place);

} // namespace zrkmodel

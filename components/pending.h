#pragma once

#include "core/engine/field_generator.h"
#include "core/engine/kernel.h"
#include "model/deferred_work.h"

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

/// The closure of a kernel that its first sample makes.
/// @param make     the closure, of our own kernels, whose kernel it is.
/// @param standIn  a closure of the same type, which reads the same inputs.
zrk::Evaluation pendingEvaluator(std::function<zrk::Evaluation()> make, const zrk::Evaluation& standIn);

/// The scalar field as its evaluators are now, whatever is edited later.
zrk::IField fixedField(const zrk::IField& field);

/// Throws the FaultError of interrupted work if the monitor wants it to stop.
void stopIfInterrupted(zrk::ProgressMonitor* monitor, const char* place);

} // namespace zrkmodel

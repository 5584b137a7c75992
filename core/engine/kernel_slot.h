#pragma once

#include "core/engine/kernel.h"

#include <memory>
#include <mutex>
#include <utility>

namespace zrk {

/// A place for a kernel that is replaced from time to time, as by an import, and evaluators that read it:
/// they compute with the kernel that stands there when a run begins, and with that one to the run's end.
///
/// Owned jointly by whoever fills it and by its evaluators. Safe from many threads at once, also while a
/// run is under way.
class KernelSlot {
public:
    /// @param kernel  not null, as for `fill`. All kernels of one slot have the same `reads()`.
    explicit KernelSlot(std::shared_ptr<const Kernel> kernel) : _kernel(std::move(kernel)) {}

    std::shared_ptr<const Kernel> kernel() const
    {
        const std::lock_guard lock(_mutex);
        return _kernel;
    }
    void fill(std::shared_ptr<const Kernel> kernel)
    {
        const std::lock_guard lock(_mutex);
        _kernel.swap(kernel); // the former one is released when the lock is
    }

private:
    mutable std::mutex _mutex;
    std::shared_ptr<const Kernel> _kernel; ///< guarded by _mutex
};

/// An evaluator with whatever kernel stands in a slot when a run begins. Called as a function, outside of
/// a run, it takes the one that stands there at the call.
Evaluation slotEvaluator(std::shared_ptr<const KernelSlot> slot);

} // namespace zrk

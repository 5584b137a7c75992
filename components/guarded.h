#pragma once

#include <mutex>
#include <utility>

namespace zrkmodel {

/// A value that threads use one at a time. A component keeps here what it makes while it builds an evaluator,
/// since any thread may build one. Evaluators hold what they read themselves, so sampling takes no lock.
///
/// A copy is made of the other's value, under the other's lock.
template <class T>
class Guarded {
public:
    Guarded() = default;
    explicit Guarded(T value) : _value(std::move(value)) {}
    Guarded(const Guarded& other) : _value(other.copy()) {}
    Guarded& operator=(const Guarded& other)
    {
        set(other.copy());
        return *this;
    }

    /// Returns work(value), called while other threads wait. The work must not come back to this object.
    template <class Work>
    auto use(Work work)
    {
        const std::lock_guard lock(_mutex);
        return work(_value);
    }
    void set(T value)
    {
        const std::lock_guard lock(_mutex);
        _value = std::move(value);
    }
    T copy() const
    {
        const std::lock_guard lock(_mutex);
        return _value;
    }

private:
    mutable std::mutex _mutex;
    T _value{};
};

} // namespace zrkmodel

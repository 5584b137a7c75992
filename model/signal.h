#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

/// Signals after the small `nod` model.
namespace nod {

/// Signals that may be connected, disconnected and emitted from any thread.
struct multithread_policy {
    using mutex_type = std::mutex;
};

namespace detail {

struct SlotList {
    virtual ~SlotList() = default;
    virtual void disconnect(std::size_t index, std::uint64_t id) = 0;
    virtual bool holds(std::size_t index, std::uint64_t id) const = 0;
};

} // namespace detail

/// One slot's link to its signal. May outlive the signal and be copied; disconnecting
/// twice, or after the signal is gone, does nothing.
class connection {
public:
    connection() = default;
    connection(std::weak_ptr<detail::SlotList> slots, std::size_t index, std::uint64_t id)
        : _slots(std::move(slots)), _index(index), _id(id)
    {}

    /// False for a default one, and once the signal is gone.
    bool isConnected() const
    {
        const auto slots = _slots.lock();
        return slots && slots->holds(_index, _id);
    }

    void disconnect()
    {
        if (const auto slots = _slots.lock()) {
            slots->disconnect(_index, _id);
        }
        _slots.reset();
    }

private:
    std::weak_ptr<detail::SlotList> _slots;
    std::size_t _index = 0;
    std::uint64_t _id = 0;
};

/// A connection that disconnects when it is destroyed or assigned. Movable only.
class scoped_connection {
public:
    scoped_connection() = default;
    scoped_connection(connection c) : _connection(std::move(c)) {}
    scoped_connection(scoped_connection&& other) noexcept
        : _connection(std::exchange(other._connection, connection{}))
    {}
    scoped_connection& operator=(scoped_connection&& other) noexcept
    {
        if (this != &other) {
            _connection.disconnect();
            _connection = std::exchange(other._connection, connection{});
        }
        return *this;
    }
    ~scoped_connection() { _connection.disconnect(); }

    bool isConnected() const { return _connection.isConnected(); }
    void disconnect() { _connection.disconnect(); }

private:
    connection _connection;
};

template <class Policy, class Signature>
class signal_type;

/// A list of slots that are called in the order of connection.
///
/// Emission calls a copy of the list taken under the mutex, so slots may connect and
/// disconnect, themselves included; one disconnected by an earlier slot of the same
/// emission is still called this time. The mutex isn't held while a slot runs.
template <class Policy, class... Arguments>
class signal_type<Policy, void(Arguments...)> {
public:
    using slot_type = std::function<void(Arguments...)>;

    signal_type() = default;
    signal_type(const signal_type&) = delete;
    signal_type& operator=(const signal_type&) = delete;

    /// Adds a slot at the end. An emission that is under way doesn't call it; an empty function is never
    /// called.
    connection connect(slot_type slot)
    {
        const std::lock_guard lock(_slots->mutex);
        const std::uint64_t id = ++_slots->lastId;
        _slots->entries.push_back({id, std::make_shared<slot_type>(std::move(slot))});
        return {_slots, _slots->entries.size() - 1, id};
    }

    /// Calls the slots on this thread. What a slot throws passes through, and those after it aren't called.
    void operator()(Arguments... arguments) const
    {
        // Nothing of *this is touched after this line: a slot may destroy the signal.
        for (const auto& entry : copyOfEntries()) {
            if (entry.slot && *entry.slot) {
                (*entry.slot)(arguments...);
            }
        }
    }

private:
    struct Entry {
        std::uint64_t id;
        std::shared_ptr<slot_type> slot;
    };

    struct Slots final : detail::SlotList {
        mutable typename Policy::mutex_type mutex;
        std::vector<Entry> entries;
        std::uint64_t lastId = 0;

        bool holds(std::size_t index, std::uint64_t id) const override
        {
            const std::lock_guard lock(mutex);
            return index < entries.size() && entries[index].id == id && entries[index].slot;
        }

        void disconnect(std::size_t index, std::uint64_t id) override
        {
            // Destroyed after the lock is released: what the slot holds may disconnect in its turn.
            std::shared_ptr<slot_type> released;
            const std::lock_guard lock(mutex);
            if (index >= entries.size() || entries[index].id != id) {
                return;
            }
            released = std::move(entries[index].slot);
            while (!entries.empty() && !entries.back().slot) {
                entries.pop_back();
            }
        }
    };

    std::vector<Entry> copyOfEntries() const
    {
        const std::lock_guard lock(_slots->mutex);
        return _slots->entries;
    }

    std::shared_ptr<Slots> _slots = std::make_shared<Slots>();
};

template <class Signature>
using signal = signal_type<multithread_policy, Signature>;

} // namespace nod

#pragma once

#include "core/values/stop.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

class QObject;

namespace zrkworkbench {

/// Has the calling thread, and those that it starts, take what time others leave: a little less than them at
/// 5, next to nothing while they work at 19.
void yieldToOthers(int nice);

/// Does pieces of work one after the other on a thread of its own, and hands what they find to the thread of
/// a receiver. Pieces have keys: of those with one key only the newest is wanted.
///
/// A newer piece takes the place of one of its key that waits, and stops one that runs. But work that has
/// begun less than a moment ago and hasn't handed out anything may finish its first finding: otherwise a
/// quick row of edits would never show anything. The moment is longer where it was too short before.
///
/// All but the work is for the receiver's thread.
class WorkLane {
    struct Piece;

public:
    /// @{ How long a piece that is superseded may still work on its first finding: usually, and at most.
    static constexpr std::chrono::milliseconds kGrace{15};
    static constexpr std::chrono::milliseconds kMostGrace{240};
    /// @}

    /// Low work takes only what time others leave.
    enum class Urgency { High, Low };

    /// By which work hands out what it finds.
    class Sender {
    public:
        /// Calls `deliver` in the receiver's thread, unless that has lost interest meanwhile.
        void send(std::function<void()> deliver) const;

    private:
        friend class WorkLane;
        Sender(QObject& receiver, std::shared_ptr<Piece> piece)
            : _receiver(receiver), _piece(std::move(piece))
        {}
        QObject& _receiver;
        std::shared_ptr<Piece> _piece;
    };

    /// Runs in the scope of a stop sign and in a thread pool of its lane. Ends by an exception when it is
    /// stopped; catches all other exceptions itself.
    using Work = std::function<void(const Sender&)>;

    /// @param threads  of the pool that the work runs in.
    WorkLane(QObject& receiver, Urgency urgency, std::size_t threads);
    /// Ends what runs.
    ~WorkLane();
    WorkLane(const WorkLane&) = delete;
    WorkLane& operator=(const WorkLane&) = delete;

    /// Returns the piece's number, larger than those of all before.
    std::uint64_t post(std::uint32_t key, Work work);
    /// @{ Ends what runs and forgets what waits; nothing more of it is delivered.
    void cancel(std::uint32_t key);
    void cancelAll();
    /// @}

private:
    QObject& _receiver;
    std::uint64_t _posted = 0;
    std::mutex _mutex;
    std::condition_variable _wake;
    std::deque<std::shared_ptr<Piece>> _waiting; ///< guarded by _mutex, as the two below
    std::shared_ptr<Piece> _running;
    bool _isEnding = false;
    std::shared_ptr<std::chrono::milliseconds> _grace = std::make_shared<std::chrono::milliseconds>(kGrace);
    std::deque<std::weak_ptr<Piece>> _alive; ///< pieces of which something may still be on its way
    std::thread _thread;

    void work(Urgency urgency, std::size_t threads);
    void supersede(const std::shared_ptr<Piece>& piece);
};

} // namespace zrkworkbench

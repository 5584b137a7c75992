#include "apps/workbench/views/work_lane.h"

#include "core/engine/thread_pool.h"
#include "core/values/fault.h"

#include <QMetaObject>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <exception>
#include <utility>

#ifdef __linux__
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace zrkworkbench {

void yieldToOthers([[maybe_unused]] int nice)
{
#ifdef __linux__
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), nice);
#endif
}

struct WorkLane::Piece {
    const std::uint32_t key;
    const Work work;
    zrk::StopSign stop{};
    std::atomic<bool> hasSent{false};
    std::atomic<bool> isSuperseded{false};
    std::chrono::steady_clock::time_point begun{}; ///< guarded by the lane's mutex
    bool isCancelled = false;                      ///< the receiver's thread's own, as the one below
    bool isDelivered = false;                      ///< something of it
};

void WorkLane::Sender::send(std::function<void()> deliver) const
{
    QMetaObject::invokeMethod(
        &_receiver,
        [piece = _piece, deliver = std::move(deliver)] {
            const bool isWanted = !piece->isSuperseded || !piece->isDelivered;
            if (!piece->isCancelled && isWanted) {
                piece->isDelivered = true;
                deliver();
            }
        },
        Qt::QueuedConnection);
    _piece->hasSent = true;
    if (_piece->isSuperseded) {
        _piece->stop.raise();
    }
}

WorkLane::WorkLane(QObject& receiver, Urgency urgency, std::size_t threads)
    : _receiver(receiver), _thread([this, urgency, threads] { work(urgency, threads); })
{}

WorkLane::~WorkLane()
{
    cancelAll();
    {
        const std::lock_guard lock(_mutex);
        _isEnding = true;
    }
    _wake.notify_one();
    _thread.join();
}

std::uint64_t WorkLane::post(std::uint32_t key, Work work)
{
    const std::shared_ptr<Piece> piece(new Piece{key, std::move(work)});
    std::shared_ptr<Piece> running;
    {
        const std::lock_guard lock(_mutex);
        const auto former = std::find_if(_waiting.begin(), _waiting.end(),
                                         [key](const auto& other) { return other->key == key; });
        if (former != _waiting.end()) {
            *former = piece; // keeps its place, so that it can't be put off for ever
        } else {
            _waiting.push_back(piece);
        }
        if (_running && _running->key == key) {
            running = _running;
        }
    }
    std::erase_if(_alive, [](const auto& other) { return other.expired(); });
    for (const auto& other : _alive) {
        const auto alive = other.lock();
        if (alive && alive->key == key) {
            alive->isSuperseded = true;
        }
    }
    _alive.push_back(piece);
    if (running) {
        supersede(running);
    }
    _wake.notify_one();
    return ++_posted;
}

void WorkLane::supersede(const std::shared_ptr<Piece>& piece)
{
    piece->isSuperseded = true;
    const auto age = [&] {
        const std::lock_guard lock(_mutex);
        return std::chrono::steady_clock::now() - piece->begun;
    }();
    if (piece->hasSent) {
        *_grace = kGrace;
        piece->stop.raise();
        return;
    }
    const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(*_grace - age);
    const auto end = [piece, grace = _grace] {
        if (!piece->stop.isRaised() && !piece->hasSent) {
            *grace = std::min(2 * *grace, kMostGrace);
        }
        piece->stop.raise();
    };
    if (rest.count() <= 0) {
        end();
    } else {
        QTimer::singleShot(rest, Qt::PreciseTimer, &_receiver, end);
    }
}

void WorkLane::cancel(std::uint32_t key)
{
    for (const auto& other : _alive) {
        const auto piece = other.lock();
        if (piece && piece->key == key) {
            piece->isCancelled = true;
            piece->stop.raise();
        }
    }
    const std::lock_guard lock(_mutex);
    std::erase_if(_waiting, [key](const auto& piece) { return piece->key == key; });
}

void WorkLane::cancelAll()
{
    for (const auto& other : _alive) {
        if (const auto piece = other.lock()) {
            piece->isCancelled = true;
            piece->stop.raise();
        }
    }
    const std::lock_guard lock(_mutex);
    _waiting.clear();
}

void WorkLane::work(Urgency urgency, std::size_t threads)
{
    if (urgency == Urgency::Low) {
        constexpr int kNice = 15;
        yieldToOthers(kNice);
    }
    const zrk::ThreadPool pool(threads);
    for (;;) {
        std::shared_ptr<Piece> piece;
        {
            std::unique_lock lock(_mutex);
            _running.reset();
            _wake.wait(lock, [this] { return !_waiting.empty() || _isEnding; });
            if (_isEnding) {
                return;
            }
            piece = _running = std::move(_waiting.front());
            _waiting.pop_front();
            piece->begun = std::chrono::steady_clock::now();
        }
        const zrk::StopScope scope(piece->stop);
        try {
            piece->work(Sender(_receiver, piece));
        } catch (const std::exception&) {
            // It was stopped, and nobody waits for it.
        }
    }
}

} // namespace zrkworkbench

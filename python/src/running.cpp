#include "python/src/running.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace zrkpython {

namespace {

using Clock = std::chrono::steady_clock;
/// Between two looks at Python's signals, and between two reports.
constexpr std::chrono::milliseconds kLook(10);
/// For work that is to stop, before its caller goes on without it.
constexpr std::chrono::milliseconds kPatience(30);

unsigned long mainThread = 0;

class Follower;

/// The work under way. Guarded by the GIL.
struct Running {
    std::vector<Follower*> followers;
    bool isEnding = false;
};

Running& allRunning()
{
    static auto* all = new Running;
    return *all;
}

/// Follows one piece of work: passes on how far it has come, and what Python raises meanwhile. Made and
/// destroyed with the GIL held.
class Follower final : public zrk::ProgressMonitor {
public:
    Follower(const py::object& progress, bool isOnCaller) : _progress(progress), _isOnCaller(isOnCaller)
    {
        allRunning().followers.push_back(this);
    }
    ~Follower() override { std::erase(allRunning().followers, this); }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    void progress(double fraction) override
    {
        _fraction.store(fraction, std::memory_order_relaxed);
        if (_isOnCaller && Clock::now() - _lastLook >= kLook) {
            const py::gil_scoped_acquire gil;
            look();
        }
    }
    bool interruptRequested() override { return _sign.isRaised(); }

    /// Runs signal handlers and tells the caller. The GIL is held.
    void look()
    {
        _lastLook = Clock::now();
        try {
            const InsideWork inside;
            hearSignals();
            const double fraction = _fraction.load(std::memory_order_relaxed);
            if (!_progress.is_none() && fraction != _told) {
                _told = fraction;
                _progress(fraction);
            }
        } catch (py::error_already_set& error) {
            _failure.emplace(error);
            _sign.raise();
        }
    }
    void stop() { _sign.raise(); }
    bool isStopped() const { return _sign.isRaised(); }
    const zrk::StopSign& sign() const { return _sign; }

    /// Ends the thread quietly when Python ends.
    static void refuseAtEnd()
    {
        if (allRunning().isEnding) {
            PyErr_SetNone(PyExc_SystemExit);
            throw py::error_already_set();
        }
    }

    /// Goes on as the work ended. The GIL is held.
    void finish(const std::exception_ptr& failure)
    {
        if (_failure) {
            _failure->raise();
        }
        refuseAtEnd();
        try {
            if (failure) {
                std::rethrow_exception(failure);
            }
        } catch (const PythonFailure& raised) {
            raised.raise();
        }
        if (!_progress.is_none() && _told != 1) {
            const InsideWork inside;
            _progress(1.0);
        }
    }

private:
    const py::object& _progress;
    bool _isOnCaller;
    zrk::StopSign _sign;
    std::atomic<double> _fraction{0};
    double _told = 0;
    Clock::time_point _lastLook = Clock::now();
    std::optional<PythonFailure> _failure;
};

/// A thread that does one piece of work after the other. It waits for the next one and is never joined: a
/// program that ends takes it along.
class Helper {
public:
    Helper()
    {
        std::thread([this] { serve(); }).detach();
    }

    void begin(std::function<void()> work)
    {
        const std::lock_guard lock(_mutex);
        _work = std::move(work);
        _isBusy = true;
        _begun.notify_one();
    }
    /// True when the work is done, false when the time is over.
    bool waitFor(std::chrono::milliseconds time)
    {
        std::unique_lock lock(_mutex);
        return _done.wait_for(lock, time, [this] { return !_isBusy; });
    }
    /// Has the thread end, and the helper with it, once the work is done. False, and nothing, when it is.
    bool leave()
    {
        const std::lock_guard lock(_mutex);
        _isLeft = _isBusy;
        leftAlone() += _isLeft ? 1 : 0;
        return _isLeft;
    }
    /// Helpers that were left and still work.
    static std::atomic<int>& leftAlone()
    {
        static std::atomic<int> count{0};
        return count;
    }

private:
    std::mutex _mutex;
    std::condition_variable _begun;
    std::condition_variable _done;
    std::function<void()> _work;
    bool _isBusy = false;
    bool _isLeft = false;

    void serve()
    {
        std::unique_lock lock(_mutex);
        while (!_isLeft) {
            _begun.wait(lock, [this] { return _isBusy; });
            lock.unlock();
            std::exchange(_work, nullptr)();
            lock.lock();
            _isBusy = false;
            _done.notify_one();
        }
        lock.unlock();
        --leftAlone();
        delete this;
    }
};

/// Those that wait for work. Used on the main thread alone. They are never taken down.
std::vector<Helper*>& idleHelpers()
{
    static auto* helpers = new std::vector<Helper*>;
    return *helpers;
}

/// @param wait  called every now and then; false to go on without the work.
void runAside(Follower& follower, std::function<void()> work, const std::function<bool()>& wait)
{
    std::vector<Helper*>& idle = idleHelpers();
    Helper* helper = idle.empty() ? new Helper : idle.back();
    if (!idle.empty()) {
        idle.pop_back();
    }
    {
        const py::gil_scoped_release noGil;
        helper->begin(std::move(work));
        while (!helper->waitFor(kLook)) {
            if (!wait() && helper->leave()) {
                return;
            }
            if (!follower.isStopped()) {
                const py::gil_scoped_acquire gil;
                follower.look();
            }
        }
    }
    idle.push_back(helper);
}

bool isMainThread() { return PyThread_get_thread_ident() == mainThread; }

/// Work that its caller may leave, with what it tells the caller.
class ApartWork final : public zrk::ProgressMonitor {
public:
    explicit ApartWork(Work work) : _work(std::move(work)) {}

    void run()
    {
        const zrk::StopScope scope(_sign);
        try {
            _work(*this);
        } catch (...) {
            _failure = std::current_exception();
        }
        _work = nullptr;
    }
    void progress(double fraction) override { _fraction.store(fraction, std::memory_order_relaxed); }
    bool interruptRequested() override { return _sign.isRaised(); }

    double fraction() const { return _fraction.load(std::memory_order_relaxed); }
    void stop() { _sign.raise(); }
    const std::exception_ptr& failure() const { return _failure; }

private:
    Work _work;
    zrk::StopSign _sign;
    std::atomic<double> _fraction{0};
    std::exception_ptr _failure;
};

} // namespace

void run(const py::object& progress, Where where, const Work& work)
{
    Follower::refuseAtEnd();
    const bool isAside = where == Where::Aside && isMainThread();
    Follower follower(progress, !isAside);
    std::exception_ptr failure;
    const auto watched = [&] {
        const zrk::StopScope scope(follower.sign());
        try {
            work(follower);
        } catch (...) {
            failure = std::current_exception();
        }
    };
    if (isAside) {
        runAside(follower, watched, [] { return true; });
    } else {
        const py::gil_scoped_release noGil;
        watched();
    }
    follower.finish(failure);
}

void runApart(const py::object& progress, Work work)
{
    if (!isMainThread()) {
        run(progress, Where::Here, work);
        return;
    }
    Follower::refuseAtEnd();
    Follower follower(progress, false);
    const auto apart = std::make_shared<ApartWork>(std::move(work));
    Clock::time_point latest = Clock::time_point::max();
    runAside(
        follower, [apart] { apart->run(); },
        [&] {
            follower.progress(apart->fraction());
            if (follower.isStopped() && latest == Clock::time_point::max()) {
                apart->stop();
                latest = Clock::now() + kPatience;
            }
            return Clock::now() < latest;
        });
    follower.finish(follower.isStopped() ? nullptr : apart->failure());
}

void hearSignals()
{
    if (PyErr_CheckSignals() != 0) {
        throw py::error_already_set();
    }
}

void copyNumbers(py::array& to, const py::array& from)
{
    constexpr py::ssize_t kPiece = py::ssize_t{1} << 18;
    if (from.ndim() == 0 || from.size() <= kPiece) {
        to[py::ellipsis()] = from;
        return;
    }
    const py::ssize_t* const shape = from.shape();
    const py::ssize_t axis = std::max_element(shape, shape + from.ndim()) - shape;
    const py::object moved = py::module_::import("numpy").attr("moveaxis");
    const py::object target = moved(to, axis, 0);
    const py::object source = moved(from, axis, 0);
    const py::ssize_t step = std::max<py::ssize_t>(1, kPiece / (from.size() / shape[axis]));
    for (py::ssize_t first = 0; first < shape[axis]; first += step) {
        const py::slice piece(first, std::min(first + step, shape[axis]), 1);
        target[piece] = source[piece];
        hearSignals();
    }
}

void warnOf(const std::vector<zrk::Fault>& warnings)
{
    for (const zrk::Fault& warning : warnings) {
        // The second frame from here: that which called the module's own Python.
        if (PyErr_WarnEx(PyExc_UserWarning, zrk::messageOf(warning).c_str(), 2) != 0) {
            throw py::error_already_set();
        }
    }
}

void beginOnMainThread(unsigned long thread)
{
    mainThread = thread;
    idleHelpers().clear();
    allRunning().followers.clear();
    Helper::leftAlone() = 0;
}

void endAll()
{
    Running& all = allRunning();
    all.isEnding = true;
    const Clock::time_point latest = Clock::now() + std::chrono::seconds(2);
    while ((!all.followers.empty() || Helper::leftAlone() > 0) && Clock::now() < latest) {
        for (Follower* follower : all.followers) {
            follower->stop();
        }
        const py::gil_scoped_release noGil;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace zrkpython

#pragma once

#include "core/engine/progress.h"
#include "core/values/fault.h"
#include "core/values/stop.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

namespace zrkpython {

namespace py = pybind11;

/// A Python object that may be released on any thread, whether it holds the GIL or not.
class SharedObject {
public:
    explicit SharedObject(py::object object)
        : _object(new py::object(std::move(object)), [](py::object* held) {
              const py::gil_scoped_acquire gil;
              delete held;
          })
    {}
    const py::object& get() const { return *_object; }

private:
    std::shared_ptr<py::object> _object;
};

/// A Python exception on its way through code that knows nothing of Python. Not a std::exception, so that
/// nobody makes a message of it on the way.
class PythonFailure {
public:
    /// Takes the exception that was caught. The GIL is held.
    explicit PythonFailure(py::error_already_set& error)
        : _error(new py::error_already_set(std::move(error)), [](py::error_already_set* held) {
              const py::gil_scoped_acquire gil;
              delete held;
          })
    {}
    /// Goes on with it in Python. The GIL is held.
    [[noreturn]] void raise() const { throw py::error_already_set(*_error); }

private:
    std::shared_ptr<py::error_already_set> _error;
};

/// While one lives on a thread, work calls Python on it: a function of a field, of progress or a signal's
/// handler. What would wait for that work is refused.
class InsideWork {
public:
    InsideWork() { ++depth(); }
    ~InsideWork() { --depth(); }
    InsideWork(const InsideWork&) = delete;
    InsideWork& operator=(const InsideWork&) = delete;
    static bool isHere() { return depth() > 0; }

private:
    static int& depth()
    {
        static thread_local int count = 0;
        return count;
    }
};

/// Warns of each in Python, where the module was called. Throws what a filter makes an exception.
void warnOf(const std::vector<zrk::Fault>& warnings);

/// On which thread work runs.
enum class Where {
    Aside, ///< on a thread of its own when the main thread calls, which looks for signals meanwhile
    Here,  ///< on the calling thread: for what is short, and for chains that call Python themselves
};

/// Work on a chain, without the GIL. The monitor is never null.
using Work = std::function<void(zrk::ProgressMonitor&)>;

/// Runs work without the GIL and returns when it has ended. Python's signal handlers run meanwhile where the
/// main thread calls, and what they raise stops the work and is raised here: Ctrl-C as KeyboardInterrupt.
///
/// @param progress  called with the fraction done, 0 to 1, some times a second, on the calling thread; what
/// it
///                  raises stops the work. None for nobody.
void run(const py::object& progress, Where where, const Work& work);

/// The same for work that gives something.
template <class Function>
auto running(const py::object& progress, Where where, const Function& work)
    -> std::invoke_result_t<Function, zrk::ProgressMonitor&>
{
    std::optional<std::invoke_result_t<Function, zrk::ProgressMonitor&>> result;
    run(progress, where, [&](zrk::ProgressMonitor& monitor) { result.emplace(work(monitor)); });
    return std::move(*result);
}

/// As `run` does with work aside, but where the work is to stop and doesn't within some hundredths of a
/// second, such as while it frees what it has made, its caller goes on without it.
///
/// @param work  owns all that it uses. Objects of Python among that are SharedObjects.
void runApart(const py::object& progress, Work work);

/// The same for work that gives something.
template <class Function>
auto runningApart(const py::object& progress, Function work)
    -> std::invoke_result_t<Function&, zrk::ProgressMonitor&>
{
    struct Task {
        std::optional<Function> work;
        std::optional<std::invoke_result_t<Function&, zrk::ProgressMonitor&>> result = {};
    };
    const auto task = std::make_shared<Task>(Task{std::move(work)});
    runApart(progress, [task](zrk::ProgressMonitor& monitor) {
        task->result.emplace((*task->work)(monitor));
        task->work.reset(); // freed there
    });
    return std::move(*task->result);
}

/// Calls Python's signal handlers where the main thread calls, and raises what they raise: for loops with the
/// GIL, once in a few milliseconds.
void hearSignals();

/// Copies all numbers of an array into one of the same shape, converted to its type, and hears signals
/// meanwhile.
void copyNumbers(py::array& to, const py::array& from);

/// The numbers of an array as those of a type, in C order; the array itself where it is like that. Null where
/// they can't be converted, with Python's error set.
template <class T>
auto numbersOf(const py::array& array)
{
    using Numbers = py::array_t<T, py::array::c_style | py::array::forcecast>;
    if (Numbers::check_(array) || array.dtype().kind() == 'O') {
        return Numbers::ensure(array);
    }
    Numbers numbers(std::vector<py::ssize_t>(array.shape(), array.shape() + array.ndim()));
    copyNumbers(numbers, array);
    return numbers;
}

/// To be called on the main thread when the module is loaded and in a child after a fork, which has only the
/// thread that forked.
void beginOnMainThread(unsigned long mainThread);

/// Stops all work and waits for it: for Python's end, when threads that return to it would be torn down. Work
/// that begins later is refused.
void endAll();

} // namespace zrkpython

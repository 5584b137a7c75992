#pragma once

#include "core/values/export.h"

#include <tl/expected.hpp>

#include <concepts>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zrk {

enum class FaultKind {
    BadInput,    ///< what was given can't be used: a file, a value, an option
    FailedWork,  ///< what was asked for was understood and can't be done
    Interrupted, ///< somebody asked to stop
};

/// What went wrong, in the parts of a message. None of them is empty or ends in a full stop.
struct Fault {
    std::string place;    ///< from the outside inwards, such as `part.zrk.json, links[3], "from"`
    std::string found;    ///< what is there
    std::string expected; ///< what would be right
    std::string remedy;   ///< what can be done about it, and what becomes of it until then
    FaultKind kind = FaultKind::BadInput;
};

/// A value, or why there is none.
template <class T>
using Result = tl::expected<T, Fault>;

/// A Result without a value, of any type of value.
inline tl::unexpected<Fault> refused(Fault fault) { return tl::unexpected<Fault>(std::move(fault)); }

/// The message of a fault, `PLACE: found X, expected Y`, a line break, and `  remedy: REMEDY`. Control
/// characters are shown as `printable` does.
ZRK_API std::string messageOf(const Fault& fault);

/// The same fault at a place inside of `outer`.
ZRK_API Fault within(const std::string& outer, Fault fault);

/// The fault of work that somebody stopped.
ZRK_API Fault interruptedAt(std::string place);

/// Foreign text in a form that can't break the lines of a message, cut it off or reach the terminal: control
/// characters and what isn't UTF-8 are shown as "\n", "\t", "\r" or "\x1b". After `most` bytes or a few more
/// the text is cut, which "..." shows.
ZRK_API std::string printable(std::string_view text, std::size_t most = std::string_view::npos);

/// As much of a foreign text as a message quotes, in bytes.
inline constexpr std::size_t kMaxQuotation = 60;

/// A foreign text between quotation marks, printable and cut.
ZRK_API std::string quotation(std::string_view text);

/// A fault on its way out of code that can't return it, such as the building of a chain of closures. Caught
/// by `attempt` where an interface returns results.
class ZRK_API FaultError : public std::runtime_error {
public:
    explicit FaultError(Fault fault) : std::runtime_error(messageOf(fault)), _fault(std::move(fault)) {}
    const Fault& fault() const { return _fault; }

private:
    Fault _fault;
};

/// The value of a result; throws FaultError where there is none.
template <class T>
T valueOrThrow(Result<T> result)
{
    if (!result) {
        throw FaultError(std::move(result.error()));
    }
    if constexpr (!std::is_void_v<T>) {
        return std::move(*result);
    }
}

/// What an exception tells: the fault that it carries; for lack of memory, also where a size is beyond what
/// a container can have, a fault of the kind FailedWork; the path of a file system's fault; else its text.
/// @param place  where the exception itself tells none.
ZRK_API Fault faultOf(const std::exception& error, const std::string& place);

template <class T>
struct ResultOf {
    using type = Result<T>;
};
template <class T>
struct ResultOf<Result<T>> {
    using type = Result<T>;
};

/// The result of work(), which returns nothing, a value or a Result. Exceptions become faults as by
/// `faultOf`.
template <std::invocable Work>
auto attempt(const std::string& place, Work&& work) -> typename ResultOf<std::invoke_result_t<Work>>::type
{
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Work>>) {
            std::forward<Work>(work)();
            return {};
        } else {
            return std::forward<Work>(work)();
        }
    } catch (const std::exception& error) {
        return refused(faultOf(error, place));
    }
}

} // namespace zrk

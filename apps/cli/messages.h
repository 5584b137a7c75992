#pragma once

#include <fmt/core.h>

#include <exception>
#include <memory>
#include <streambuf>
#include <string_view>
#include <utility>

namespace zrk {
struct Fault;
}

namespace zrkcli {

/// Opens what is closed of the standard streams, so that nothing can be written there: otherwise the next
/// file that is opened would take the place of standard error, and messages would stand in it.
void openStandardStreams() noexcept;

/// From now on only failures are told, for a process that is one of several and not the one that speaks.
void keepSilent() noexcept;

/// Writes a text to standard error. Where that can't be written nothing happens: what was to be told is lost,
/// and what the work deserves isn't changed by it.
void tellText(std::string_view text) noexcept;
/// True until keepSilent().
bool speaks() noexcept;

/// Tells that there is no memory, without any.
void tellLackOfMemory() noexcept;

/// Writes a text that is put together first, as `tellText` does, unless it is kept silent.
template <class... Parts>
void tell(fmt::format_string<Parts...> text, Parts&&... parts) noexcept
{
    try {
        if (speaks()) {
            tellText(fmt::format(text, std::forward<Parts>(parts)...));
        }
    } catch (const std::exception&) {
        tellLackOfMemory();
    }
}

/// What a message is about: work that failed, a document that is taken otherwise than its author may think,
/// or something worth a look.
enum class MessageKind { Failure, Warning, Note };

/// Writes a fault to standard error behind the word for its kind. On a terminal these words have colours,
/// unless the environment has NO_COLOR (https://no-color.org) or a TERM without them: "dumb", or none. Where
/// it is kept silent, only failures.
void tellFault(MessageKind kind, const zrk::Fault& fault) noexcept;
/// The same wherever it is kept silent: for what no other process can have met.
void tellOwnFault(MessageKind kind, const zrk::Fault& fault) noexcept;

/// While it lives, what components print on std::cout and std::cerr, complaints and progress, goes to
/// standard error, line by line, in a form that can't reach the terminal: control characters are shown, long
/// lines are cut. Results are printed through `stdout` and aren't affected.
class ComplaintsToStandardError {
public:
    ComplaintsToStandardError();
    ~ComplaintsToStandardError();
    ComplaintsToStandardError(const ComplaintsToStandardError&) = delete;
    ComplaintsToStandardError& operator=(const ComplaintsToStandardError&) = delete;

private:
    std::unique_ptr<std::streambuf> _lines;
    std::streambuf* _formerOut;
    std::streambuf* _formerError;
};

} // namespace zrkcli

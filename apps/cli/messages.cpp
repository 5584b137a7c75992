#include "apps/cli/messages.h"

#include "core/values/fault.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <mutex>
#include <new>
#include <string>
#include <unistd.h>

namespace zrkcli {

namespace {

/// Bytes of a line that is passed on.
constexpr std::size_t kMostOfALine = 1000;

/// Passes on what is written to it, line by line. Safe to use from several threads.
class PrintableLines final : public std::streambuf {
public:
    PrintableLines() { _line.reserve(kMostOfALine + 1); }
    ~PrintableLines() override
    {
        if (!_line.empty()) {
            take('\n');
        }
    }

protected:
    int_type overflow(int_type c) override
    {
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            const std::lock_guard lock(_access);
            take(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        const std::lock_guard lock(_access);
        for (std::streamsize i = 0; i < size; ++i) {
            take(text[i]);
        }
        return size;
    }

private:
    std::mutex _access;
    std::string _line;

    void take(char c)
    {
        if (c == '\n') {
            tell("{}\n", zrk::printable(_line, kMostOfALine));
            _line.clear();
        } else if (_line.size() <= kMostOfALine) {
            _line.push_back(c);
        }
    }
};

bool isSilent = false;

/// Whether messages have colours.
bool isColourful() noexcept
{
    const char* unwanted = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (!unwanted || !*unwanted) && terminal && *terminal && std::string_view(terminal) != "dumb" &&
           isatty(STDERR_FILENO) == 1;
}

/// A word in the colour of an escape sequence (ECMA-48, SGR).
std::string coloured(std::string_view word, const char* colour)
{
    return fmt::format("\x1b[{}m{}\x1b[0m", colour, word);
}

[[noreturn]] void endWithMessage() noexcept
{
    try {
        if (const std::exception_ptr thrown = std::current_exception()) {
            std::rethrow_exception(thrown);
        }
    } catch (const std::bad_alloc&) {
        tellLackOfMemory();
        _exit(1);
    } catch (const std::exception& error) {
        tell("zrk: an unforeseen failure ({})\n", error.what());
    } catch (...) {
        tellText("zrk: an unforeseen failure\n");
    }
    std::abort();
}

/// What can't be thrown any further, because there is no memory or a function may not throw, ends the program
/// with a message: lack of memory with status 1, anything else in the ordinary way. So it is from before the
/// components are registered, which needs memory and happens before `main`.
struct AtStartUp {
    AtStartUp() { std::set_terminate(endWithMessage); }
};
[[gnu::init_priority(101)]] const AtStartUp atStartUp;

} // namespace

void keepSilent() noexcept { isSilent = true; }
bool speaks() noexcept { return !isSilent; }

void openStandardStreams() noexcept
{
    // The lowest number that is free is the next to be opened.
    int opened = 0;
    do {
        opened = open("/dev/null", O_RDONLY);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    if (opened >= 0) {
        close(opened);
    }
}

void tellText(std::string_view text) noexcept
{
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return;
        }
    }
}

void tellLackOfMemory() noexcept
{
    tellText(
        "zrk: command: found work that needs more memory than there is, expected work that fits into it\n"
        "  remedy: ask for less: fewer samples, a lower resolution, smaller files, or allow more with "
        "--memory\n");
}

void tellFault(MessageKind kind, const zrk::Fault& fault) noexcept
{
    if (!isSilent || kind == MessageKind::Failure) {
        tellOwnFault(kind, fault);
    }
}

void tellOwnFault(MessageKind kind, const zrk::Fault& fault) noexcept
{
    const bool isWarning = kind == MessageKind::Warning;
    const char* word = kind == MessageKind::Failure ? "zrk:" : isWarning ? "warning:" : "note:";
    try {
        std::string text = zrk::messageOf(fault);
        if (!isColourful()) {
            tellText(fmt::format("{} {}\n", word, text));
            return;
        }
        constexpr std::string_view kRemedy = "\n  remedy:";
        if (const std::size_t place = text.find(kRemedy); place != std::string::npos) {
            text.replace(place + 3, kRemedy.size() - 3, coloured("remedy:", "32"));
        }
        tellText(fmt::format("{} {}\n",
                             coloured(word, kind == MessageKind::Failure ? "1;31"
                                            : isWarning                  ? "33"
                                                                         : "36"),
                             text));
    } catch (const std::exception&) {
        tellLackOfMemory();
    }
}

ComplaintsToStandardError::ComplaintsToStandardError()
    : _lines(std::make_unique<PrintableLines>()),
      _formerOut(std::cout.rdbuf(_lines.get())),
      _formerError(std::cerr.rdbuf(_lines.get()))
{}

ComplaintsToStandardError::~ComplaintsToStandardError()
{
    std::cout.rdbuf(_formerOut);
    std::cerr.rdbuf(_formerError);
}

} // namespace zrkcli

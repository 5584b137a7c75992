#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace zrk {

/// A failure as the user sees it: one message, and the status the program ends with.
/// what() reads `PLACE: FINDING`, a line break, `  remedy: REMEDY`.
struct HostError : std::runtime_error {
    static constexpr int kFailedWork = 1;    ///< the work was understood and could not be done
    static constexpr int kBadInput = 2;      ///< wrong usage or a bad document
    static constexpr int kInterrupted = 130; ///< the user stopped the work

    int exitStatus;

    HostError(int status, const std::string& text) : std::runtime_error(text), exitStatus(status) {}
};

/// `text` with a question mark for each control character: a name or a value that is quoted in a
/// message can't break its lines, cut it off or reach the terminal.
inline std::string printable(std::string_view text)
{
    std::string clean(text);
    for (char& c : clean) {
        const auto byte = static_cast<unsigned char>(c);
        c = byte < 0x20 || byte == 0x7f ? '?' : c;
    }
    return clean;
}

/// A HostError from its three parts, none of which ends in a full stop or a line break.
///
/// @param place    where: a file, a node, a key, an option.
/// @param finding  "found X, expected Y".
/// @param remedy   what the user can do about it.
inline HostError hostError(int status, std::string_view place, std::string_view finding,
                           std::string_view remedy)
{
    return {status, printable(place) + ": " + printable(finding) + "\n  remedy: " + printable(remedy)};
}

} // namespace zrk

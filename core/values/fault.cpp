#include "core/values/fault.h"

#include <filesystem>
#include <new>

namespace zrk {

namespace {

/// Marks in UTF-8 that show nothing themselves, and break lines or turn the text around them: U+200B, U+200E
/// and U+200F, U+2028 to U+202E, U+2060 to U+206F, U+FEFF.
bool isUnseen(std::string_view character)
{
    if (character.size() != 3) {
        return false;
    }
    const auto last = static_cast<unsigned char>(character[2]);
    const std::string_view first = character.substr(0, 2);
    return first == "\xe2\x80"
               ? last == 0x8b || last == 0x8e || last == 0x8f || (last >= 0xa8 && last <= 0xae)
           : first == "\xe2\x81" ? last >= 0xa0 && last <= 0xaf
                                 : character == "\xef\xbb\xbf";
}

/// Length of the character that a text begins with; 0 for one that isn't shown as it is.
std::size_t printableLength(std::string_view text)
{
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        return lead >= 0x20 && lead != 0x7f;
    }
    const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc2 || lead > 0xf4 || length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) {
            return 0;
        }
    }
    const bool isControl = lead == 0xc2 && byte(1) < 0xa0;
    return isControl || isUnseen(text.substr(0, length)) ? 0 : length;
}

std::string escaped(char c)
{
    constexpr char kDigits[] = "0123456789abcdef";
    switch (c) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        const auto byte = static_cast<unsigned char>(c);
        return {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
    }
}

} // namespace

std::string printable(std::string_view text, std::size_t most)
{
    std::string clean;
    while (!text.empty()) {
        if (clean.size() >= most) {
            return clean + "...";
        }
        const std::size_t length = printableLength(text);
        clean += length > 0 ? std::string(text.substr(0, length)) : escaped(text.front());
        text.remove_prefix(length > 0 ? length : 1);
    }
    return clean;
}

std::string quotation(std::string_view text) { return '"' + printable(text, kMaxQuotation) + '"'; }

std::string messageOf(const Fault& fault)
{
    // As long as a path may be. What a document or a file says must not fill a terminal.
    constexpr std::size_t kMost = 4096;
    return printable(fault.place, kMost) + ": found " + printable(fault.found, kMost) + ", expected " +
           printable(fault.expected, kMost) + "\n  remedy: " + printable(fault.remedy, kMost);
}

Fault within(const std::string& outer, Fault fault)
{
    fault.place = outer + ", " + fault.place;
    return fault;
}

Fault interruptedAt(std::string place)
{
    return {std::move(place), "a request to stop", "time to finish", "start it again",
            FaultKind::Interrupted};
}

Fault faultOf(const std::exception& error, const std::string& place)
{
    if (const auto* carrier = dynamic_cast<const FaultError*>(&error)) {
        return carrier->fault();
    }
    if (dynamic_cast<const std::bad_alloc*>(&error) || dynamic_cast<const std::length_error*>(&error)) {
        return {place, "work that needs more memory than there is", "work that fits into it",
                "ask for less: fewer samples, a lower resolution, smaller files, or allow more with --memory",
                FaultKind::FailedWork};
    }
    if (const auto* files = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
        return {files->path1().empty() ? place : files->path1().string(),
                "a path that can't be followed (" + files->code().message() + ")", "one that can",
                "check the path and what it leads to", FaultKind::FailedWork};
    }
    return {place, std::string("an unforeseen failure (") + error.what() + ")", "none",
            "report it, with what led to it", FaultKind::FailedWork};
}

} // namespace zrk

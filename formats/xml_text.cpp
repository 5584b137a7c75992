#include "formats/xml_text.h"

#include "core/values/fault.h"

namespace zrk {

std::string xmlText(std::string_view text)
{
    std::string escaped;
    for (const char c : printable(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

} // namespace zrk

#include "model/uuid.h"

#include <algorithm>

namespace zrkmodel {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

bool equalIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

bool ZRKuuid::isNil() const
{
    return std::all_of(_text.begin(), _text.end(), [](char c) { return c == '0' || c == '-'; });
}

bool operator==(const ZRKuuid& a, const ZRKuuid& b)
{
    return equalIgnoringCase(a._text, b._text) || (a.isNil() && b.isNil());
}

} // namespace zrkmodel

std::size_t std::hash<zrkmodel::ZRKuuid>::operator()(const zrkmodel::ZRKuuid& uuid) const noexcept
{
    if (uuid.isNil()) {
        return 0;
    }
    std::size_t value = 14695981039346656037u; // FNV-1a
    for (const char c : uuid._text) {
        value = (value ^ static_cast<unsigned char>(zrkmodel::lower(c))) * 1099511628211u;
    }
    return value;
}

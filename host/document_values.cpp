#include "host/document_values.h"

#include <algorithm>

namespace zrkmodel {

std::string shown(const ZRKJson& value)
{
    const std::string text = value.dump(-1, ' ', false, ZRKJson::error_handler_t::replace);
    return text.size() > 60 ? text.substr(0, 57) + "..." : text;
}

bool isNumbers(const ZRKJson& value, std::size_t count)
{
    return value.is_array() && value.size() == count &&
           std::all_of(value.begin(), value.end(), [](const ZRKJson& v) { return v.is_number(); });
}

} // namespace zrkmodel

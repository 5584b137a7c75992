#include "model/ui_strings.h"

#include "model/graph_object.h"
#include "model/registry.h"

namespace zrkmodel {

ZRKUIStrings::info_t ZRKUIStrings::find(std::string_view key)
{
    for (const ZRKGraphObjectRegistration& entry : ZRKGraphObject::registry().entries()) {
        if (entry.strings.key == key) {
            return entry.strings;
        }
    }
    return {};
}

} // namespace zrkmodel

#include "host/document_values.h"

#include "core/values/fault.h"
#include "model/graph_object.h"
#include "model/registry.h"
#include "model/serialization.h"
#include "model/type_info.h"

#include <algorithm>

namespace zrkmodel {

std::string shown(const ZRKJson& value)
{
    return zrk::printable(value.dump(-1, ' ', false, ZRKJson::error_handler_t::replace), zrk::kMaxQuotation);
}

std::string shownMember(const ZRKJson& object, const char* key)
{
    const auto member = object.find(key);
    return member == object.end() ? "none" : shown(*member);
}

ZRKJson storedForm(const ZRKGraphObject& object)
{
    ZRKSerialization stored;
    object.serialize(stored);
    return stored.root();
}

std::shared_ptr<ZRKGraphObject> freshTwin(const ZRKGraphObject& object)
{
    const ZRKTypeInfo& type = object.typeInfo();
    const auto* registration = ZRKGraphObject::registry().find(type.uuid, type.name);
    // A class that isn't registered can only be copied, with what it holds.
    return registration ? registration->factory()
                        : std::dynamic_pointer_cast<ZRKGraphObject>(object.onClone());
}

std::vector<std::string> keysOf(const ZRKJson& object)
{
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) {
        keys.push_back(key);
    }
    return keys;
}

bool isNumbers(const ZRKJson& value, std::size_t count)
{
    return value.is_array() && value.size() == count &&
           std::all_of(value.begin(), value.end(), [](const ZRKJson& v) { return v.is_number(); });
}

} // namespace zrkmodel

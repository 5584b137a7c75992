#include "host/document_values.h"

#include "components/raster/raster_fx.h"
#include "components/transport/image_sweep.h"
#include "core/values/fault.h"
#include "host/type_lookup.h"
#include "model/graph_object.h"
#include "model/manual.h"
#include "model/property.h"
#include "model/registry.h"
#include "model/serialization.h"
#include "model/type_info.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

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

std::optional<zrk::Fault> unlistedChoice(const ZRKGraphObject& object, const std::string& key,
                                         const std::string& place)
{
    const ZRKTypeInfo& type = object.typeInfo();
    const auto* registration = ZRKGraphObject::registry().find(type.uuid, type.name);
    const ZRKPropertyBase* const property = object.findProperty(key);
    if (!registration || !property) {
        return std::nullopt;
    }
    const auto properties = manualOf(*registration).properties;
    const auto row = std::find_if(properties.begin(), properties.end(),
                                  [&](const ManualValue& value) { return value.key == key; });
    const std::string taken = property->valueJson().dump(-1, ' ', false, ZRKJson::error_handler_t::replace);
    const auto isTaken = [&](const ManualChoice& choice) { return taken == choice.value; };
    if (row == properties.end() || row->choices.empty() ||
        std::any_of(row->choices.begin(), row->choices.end(), isTaken)) {
        return std::nullopt;
    }
    std::string listed;
    for (const ManualChoice& choice : row->choices) {
        listed += fmt::format("{}{}", listed.empty() ? "one of " : ", ", choice.value);
        listed += choice.name.empty() ? "" : fmt::format(" ({})", choice.name);
    }
    return zrk::Fault{
        place, taken, listed,
        fmt::format(
            "write one of these; as it stands, the value is kept, and `zrk types {}` tells what it does",
            uniqueName(type))};
}

bool isResource(const ZRKPropertyBase& property)
{
    const std::string_view type = property.valueType();
    return type == "image2d" || type == "image3d" || type == "geometry";
}

bool isTakenByReading(const ZRKGraphObject& object, const std::string& key)
{
    const ZRKPropertyBase* const property = object.findProperty(key);
    return !property || isResource(*property) ||
           (key == "steps" && dynamic_cast<const ZRKImageSweep*>(&object)) ||
           (key == "resolution" &&
            (dynamic_cast<const ZRKImageSweep*>(&object) || dynamic_cast<const ZRKRasterFX*>(&object)));
}

bool isIssueOf(const ZRKGraphObject& object, const ZRKJson& values,
               const std::shared_ptr<ZRKResourceLibrary>& library, const ZRKReadIssue& issue)
{
    bool isThere = false;
    const auto look = [&](const ZRKReadIssue& other) {
        isThere = isThere || (other.place == issue.place && other.found == issue.found);
    };
    try {
        freshTwin(object)->deserialize(ZRKDeserialization(values, library, look));
    } catch (const ZRKJson::exception&) {
        // What stands behind a value of another kind isn't read.
    }
    return isThere;
}

ZRKJson withValue(ZRKJson values, const std::string& key, const ZRKJson& value)
{
    if (key == "op_name" && values.contains(key) && values[key] != value) {
        values.erase("op_params");
    }
    values[key] = value;
    return values;
}

void emitValueChange(const ZRKGraphObject& object, const std::string& key)
{
    object.emitPropertyChange(key == "op_name" || key == "op_params" ? "op" : key);
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

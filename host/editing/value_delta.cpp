#include "host/editing/value_delta.h"

#include "host/document_values.h"
#include "model/graph_object.h"
#include "model/property.h"
#include "model/uuid.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace zrkmodel {

namespace {

ZRKJson elements(const ZRKJson& array, std::size_t first, std::size_t end)
{
    ZRKJson part = ZRKJson::array();
    for (std::size_t i = first; i < end; ++i) {
        part.push_back(array[i]);
    }
    return part;
}

ValueDelta deltaOf(const std::string& key, const ZRKJson& before, const ZRKJson& after)
{
    if (!before.is_array() || !after.is_array()) {
        return {key, ValueDelta::kWhole, before, after};
    }
    const std::size_t shorter = std::min(before.size(), after.size());
    std::size_t head = 0;
    while (head < shorter && isSameValue(before[head], after[head])) {
        ++head;
    }
    std::size_t tail = 0;
    while (head + tail < shorter &&
           isSameValue(before[before.size() - 1 - tail], after[after.size() - 1 - tail])) {
        ++tail;
    }
    return {key, head, elements(before, head, before.size() - tail),
            elements(after, head, after.size() - tail)};
}

void visitTexts(ZRKJson& value, const std::function<void(std::string&)>& visit)
{
    if (auto* text = value.get_ptr<std::string*>()) {
        visit(*text);
    } else if (value.is_structured()) {
        for (ZRKJson& member : value) {
            visitTexts(member, visit);
        }
    }
}

} // namespace

ZRKJson valuesOf(const ZRKGraphObject& object)
{
    ZRKJson values = storedForm(object);
    for (const ZRKPropertyBase* property : object.properties()) {
        if (!values.contains(property->name())) {
            values[property->name()] = property->valueJson();
        }
    }
    return values;
}

bool isSameValue(const ZRKJson& a, const ZRKJson& b)
{
    if (a.type() != b.type()) {
        return false;
    }
    if (a.is_number_float()) {
        return std::bit_cast<std::uint64_t>(a.get<double>()) == std::bit_cast<std::uint64_t>(b.get<double>());
    }
    if (a.is_array()) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(), isSameValue);
    }
    if (a.is_object()) {
        return a.size() == b.size() && std::all_of(a.items().begin(), a.items().end(), [&](const auto& item) {
                   const auto twin = b.find(item.key());
                   return twin != b.end() && isSameValue(item.value(), *twin);
               });
    }
    return a == b || a.is_discarded();
}

std::vector<ValueDelta> difference(const ZRKJson& before, const ZRKJson& after)
{
    const ZRKJson none(ZRKJson::value_t::discarded);
    std::vector<ValueDelta> deltas;
    for (const auto& [key, value] : before.items()) {
        const auto twin = after.find(key);
        const ZRKJson& now = twin == after.end() ? none : *twin;
        if (!isSameValue(value, now)) {
            deltas.push_back(deltaOf(key, value, now));
        }
    }
    for (const auto& [key, value] : after.items()) {
        if (!before.contains(key)) {
            deltas.push_back(deltaOf(key, none, value));
        }
    }
    return deltas;
}

void apply(const ValueDelta& delta, bool forward, ZRKJson& values)
{
    const ZRKJson& from = forward ? delta.before : delta.after;
    const ZRKJson& to = forward ? delta.after : delta.before;
    if (delta.at != ValueDelta::kWhole) {
        ZRKJson& array = values[delta.key];
        const auto at = [&](std::size_t index) { return array.begin() + static_cast<std::ptrdiff_t>(index); };
        array.erase(at(delta.at), at(delta.at + from.size()));
        array.insert(at(delta.at), to.begin(), to.end());
    } else if (to.is_discarded()) {
        values.erase(delta.key);
    } else {
        values[delta.key] = to;
    }
}

bool mentions(const ZRKJson& value, const std::string& uuid)
{
    if (const auto* text = value.get_ptr<const std::string*>()) {
        return equalIgnoringCase(*text, uuid);
    }
    return value.is_structured() && std::any_of(value.begin(), value.end(), [&](const ZRKJson& member) {
               return mentions(member, uuid);
           });
}

void replaceText(ZRKJson& value, const std::string& text, const std::string& by)
{
    visitTexts(value, [&](std::string& found) {
        if (equalIgnoringCase(found, text)) {
            found = by;
        }
    });
}

} // namespace zrkmodel

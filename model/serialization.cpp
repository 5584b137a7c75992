#include "model/serialization.h"

#include "model/resource.h"

#include <utility>

namespace zrkmodel {

std::string ZRKSerializationPos::text() const
{
    switch (_kind) {
    case Kind::Key:
        return _key;
    case Kind::Index:
        return std::to_string(_index);
    default:
        return "back";
    }
}

std::string describeKind(const ZRKJson& value)
{
    std::string kind = value.type_name();
    if (value.is_array()) {
        kind += " of " + std::to_string(value.size());
    }
    return kind;
}

void ZRKSerialization::write(ZRKJson value, const ZRKSerializationPos& pos)
{
    if (pos.isString()) {
        current()[pos.string()] = std::move(value);
    } else if (pos.isBack()) {
        current().push_back(std::move(value));
    }
}

void ZRKSerialization::begin(ZRKJson child, const ZRKSerializationPos& pos)
{
    if (pos.isString()) {
        ZRKJson& place = current()[pos.string()];
        place = std::move(child);
        _open.push_back(&place);
    } else if (pos.isBack()) {
        current().push_back(std::move(child));
        _open.push_back(&current().back());
    } else {
        _dropped.push_back(std::move(child));
        _open.push_back(&_dropped.back());
    }
}

void ZRKSerialization::end()
{
    if (_open.size() > 1) {
        _open.pop_back();
    }
}

ZRKDeserialization::ZRKDeserialization(const ZRKJson& root, std::shared_ptr<ZRKResourceLibrary> library,
                                       ZRKReadDiagnostics diagnostics)
    : _library(std::move(library)), _diagnostics(std::move(diagnostics))
{
    _open.push_back({&root, ""});
    _entered.insert(&root);
}

const ZRKJson* ZRKDeserialization::find(const ZRKSerializationPos& pos) const
{
    const ZRKJson& current = *_open.back().value;
    if (pos.isString() && current.is_object()) {
        const auto member = current.find(pos.string());
        return member == current.end() ? nullptr : &*member;
    }
    if (pos.isIndex() && current.is_array() && pos.index() >= 0 &&
        static_cast<std::size_t>(pos.index()) < current.size()) {
        return &current[static_cast<std::size_t>(pos.index())];
    }
    return nullptr;
}

const ZRKJson* ZRKDeserialization::at(const ZRKSerializationPos& pos) const
{
    const ZRKJson* value = find(pos);
    if (value) {
        _asked.insert(value);
    }
    return value;
}

bool ZRKDeserialization::enter(const ZRKSerializationPos& pos, ZRKJson::value_t kind) const
{
    const ZRKJson* value = find(pos);
    if (!value) {
        return false;
    }
    if (value->type() != kind) {
        _asked.insert(value); // asked for, if in vain: it is reported once, as refused
        refuse(pos, kind == ZRKJson::value_t::object ? "object" : "array");
        return false;
    }
    _entered.insert(value);
    _open.push_back({value, pos.text()});
    return true;
}

bool ZRKDeserialization::beginObject(const ZRKSerializationPos& pos) const
{
    return enter(pos, ZRKJson::value_t::object);
}

bool ZRKDeserialization::beginArray(const ZRKSerializationPos& pos) const
{
    return enter(pos, ZRKJson::value_t::array);
}

void ZRKDeserialization::end() const
{
    if (_open.size() > 1) {
        _open.pop_back();
    }
}

ZRKDeserialization::Scope::~Scope()
{
    while (_deserialization._open.size() > _depth) {
        _deserialization.end();
    }
}

void ZRKDeserialization::refuse(const ZRKSerializationPos& pos, const std::string& expected) const
{
    if (_diagnostics) {
        if (const ZRKJson* value = find(pos)) {
            refuse(pos, describeKind(*value), expected);
        }
    }
}

void ZRKDeserialization::refuse(const ZRKSerializationPos& pos, const std::string& found,
                                const std::string& expected, const std::string& outcome) const
{
    if (!_diagnostics) {
        return;
    }
    std::string place;
    for (std::size_t i = 1; i < _open.size(); ++i) {
        place += _open[i].name + "/";
    }
    _diagnostics({place + pos.text(), found, expected, outcome});
}

std::vector<std::string> ZRKDeserialization::unreadPlaces() const
{
    std::vector<std::string> places;
    collectUnread(*_open.front().value, "", places);
    return places;
}

void ZRKDeserialization::collectUnread(const ZRKJson& value, const std::string& place,
                                       std::vector<std::string>& places) const
{
    for (const auto& [key, child] : value.items()) {
        const std::string childPlace = place + key;
        if (_asked.contains(&child)) {
            continue;
        }
        if (_entered.contains(&child)) {
            collectUnread(child, childPlace + "/", places);
        } else {
            places.push_back(childPlace);
        }
    }
}

} // namespace zrkmodel

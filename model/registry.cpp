#include "model/registry.h"

#include "model/graph_object.h"
#include "model/uuid.h"

namespace zrkmodel {

namespace {

template <class Predicate>
ZRKGraphObjectRegistry::Matches select(const std::deque<ZRKGraphObjectRegistration>& entries,
                                       Predicate matches)
{
    ZRKGraphObjectRegistry::Matches found;
    for (const ZRKGraphObjectRegistration& entry : entries) {
        if (matches(entry)) {
            found.push_back(&entry);
        }
    }
    return found;
}

const ZRKGraphObjectRegistration* first(const ZRKGraphObjectRegistry::Matches& matches)
{
    return matches.empty() ? nullptr : matches.front();
}

} // namespace

ZRKGraphObjectRegistration*
ZRKGraphObjectRegistry::add(const ZRKTypeInfo& info, const ZRKGraphObjectSignature& signature,
                            const std::function<std::shared_ptr<ZRKGraphObject>()>& factory,
                            const ZRKUIStrings::info_t& strings, ZRKIcon icon)
{
    _entries.push_back({info, "", signature, factory, strings, std::move(icon), {}});
    return &_entries.back();
}

ZRKGraphObjectRegistry::Matches ZRKGraphObjectRegistry::findByName(std::string_view name) const
{
    return select(_entries, [name](const auto& entry) { return entry.info.name == name; });
}

ZRKGraphObjectRegistry::Matches ZRKGraphObjectRegistry::findByUuid(std::string_view uuid) const
{
    return select(_entries, [uuid](const auto& entry) { return equalIgnoringCase(entry.info.uuid, uuid); });
}

const ZRKGraphObjectRegistration* ZRKGraphObjectRegistry::find(std::string_view uuid,
                                                               std::string_view name) const
{
    return first(select(_entries, [uuid, name](const auto& entry) {
        return entry.info.name == name && equalIgnoringCase(entry.info.uuid, uuid);
    }));
}

const ZRKGraphObjectRegistration* ZRKGraphObjectRegistry::findByClass(std::string_view className) const
{
    return first(select(_entries, [className](const auto& entry) { return entry.className == className; }));
}

} // namespace zrkmodel

#include "model/type_info.h"

#include "model/uuid.h"

#include <deque>
#include <mutex>
#include <unordered_map>

namespace zrkmodel {

namespace {

// Made on first use, since types register themselves while libraries load.
std::deque<ZRKTypeInfo>& table()
{
    static std::deque<ZRKTypeInfo> types;
    return types;
}

template <class Predicate>
std::vector<const ZRKTypeInfo*> select(Predicate matches)
{
    std::vector<const ZRKTypeInfo*> found;
    for (const ZRKTypeInfo& info : table()) {
        if (matches(info)) {
            found.push_back(&info);
        }
    }
    return found;
}

} // namespace

void ZRKTypeInfo::registerType(const ZRKTypeInfo& info) { table().push_back(info); }

ZRKTypeInfo& ZRKTypeInfo::ofClass(std::type_index objectClass, ZRKTypeInfo (*make)())
{
    static std::mutex mutex;
    static std::unordered_map<std::type_index, ZRKTypeInfo> infos;
    const std::lock_guard lock(mutex);
    const auto found = infos.find(objectClass);
    return found != infos.end() ? found->second : infos.emplace(objectClass, make()).first->second;
}

std::vector<const ZRKTypeInfo*> ZRKTypeInfo::findByName(std::string_view name)
{
    return select([name](const ZRKTypeInfo& info) { return info.name == name; });
}

std::vector<const ZRKTypeInfo*> ZRKTypeInfo::findByUuid(std::string_view uuid)
{
    return select([uuid](const ZRKTypeInfo& info) { return equalIgnoringCase(info.uuid, uuid); });
}

const ZRKTypeInfo* ZRKTypeInfo::find(std::string_view uuid, std::string_view name)
{
    const auto found = select([uuid, name](const ZRKTypeInfo& info) {
        return info.name == name && equalIgnoringCase(info.uuid, uuid);
    });
    return found.empty() ? nullptr : found.front();
}

} // namespace zrkmodel

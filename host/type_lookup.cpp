#include "host/type_lookup.h"

#include "components/registration.h"
#include "host/nearest_names.h"
#include "model/graph_object.h"
#include "model/uuid.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

namespace zrkmodel {

namespace {

using Candidates = ZRKGraphObjectRegistry::Matches;

std::string list(const Candidates& candidates)
{
    std::string text;
    for (const ZRKGraphObjectRegistration* entry : candidates) {
        const std::string& className = entry->className.empty() ? entry->info.name : entry->className;
        text += fmt::format("{}{} (type \"{}\", uuid {})", text.empty() ? "" : ", ", className,
                            entry->info.name, entry->info.uuid);
    }
    return text;
}

/// The three type names nearest to a text.
std::string nearestNames(std::string_view name)
{
    std::set<std::pair<std::size_t, std::string>> ranked;
    for (const ZRKGraphObjectRegistration& entry : knownTypes()) {
        ranked.emplace(std::min(editDistance(name, entry.info.name), editDistance(name, entry.className)),
                       entry.info.name);
    }
    std::string text;
    int count = 0;
    for (auto nearest = ranked.begin(); nearest != ranked.end() && count < 3; ++nearest, ++count) {
        text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", nearest->second);
    }
    return text;
}

} // namespace

const std::deque<ZRKGraphObjectRegistration>& knownTypes()
{
    ZRKGraphComponentsInit::initializeModule(); // links the components in
    return ZRKGraphObject::registry().entries();
}

std::string uniqueName(const ZRKTypeInfo& type)
{
    std::size_t sharing = 0;
    std::string className;
    for (const ZRKGraphObjectRegistration& entry : knownTypes()) {
        if (entry.info.name == type.name) {
            ++sharing;
            className = equalIgnoringCase(entry.info.uuid, type.uuid) ? entry.className : className;
        }
    }
    const bool isOneWord = type.name.find(' ') == std::string::npos;
    return (sharing == 1 && isOneWord) || className.empty() ? type.name : className;
}

zrk::Result<const ZRKGraphObjectRegistration*> findType(const std::string& place, const std::string& name,
                                                        const std::string& uuid)
{
    Candidates byClass;
    Candidates named; // by class or by type name
    for (const ZRKGraphObjectRegistration& entry : knownTypes()) {
        const bool isClass = !name.empty() && entry.className == name; // not every type states a class
        if (isClass) {
            byClass.push_back(&entry);
        }
        if (isClass || entry.info.name == name) {
            named.push_back(&entry);
        }
    }
    if (named.empty()) {
        return zrk::refused({place, "the unknown type " + zrk::quotation(name), "a known one",
                             fmt::format("did you mean {}? `zrk types` lists all",
                                         nearestNames(name.substr(0, zrk::kMaxQuotation)))});
    }
    if (uuid.empty()) {
        const Candidates& meant = byClass.empty() ? named : byClass;
        if (meant.size() > 1) {
            return zrk::refused(
                {place, fmt::format("the type \"{}\", which {} types share", name, meant.size()),
                 "a unique name", "write the class name of the one that is meant: " + list(meant)});
        }
        return meant.front();
    }
    for (const ZRKGraphObjectRegistration* entry : named) {
        if (equalIgnoringCase(entry->info.uuid, uuid)) {
            return entry;
        }
    }
    const Candidates byUuid = ZRKGraphObject::registry().findByUuid(uuid);
    return zrk::refused(
        {place,
         fmt::format("the type \"{}\" with the uuid {}", name, zrk::printable(uuid, zrk::kMaxQuotation)),
         "a pair that belongs together",
         fmt::format("by name it could be {}{}", list(named),
                     byUuid.empty() ? "; no type has that uuid" : "; by uuid " + list(byUuid))});
}

} // namespace zrkmodel

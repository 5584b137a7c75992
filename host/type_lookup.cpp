#include "host/type_lookup.h"

#include "host/error.h"
#include "model/uuid.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <set>
#include <vector>

namespace zrkmodel {

namespace {

using Candidates = std::vector<const ComponentEntry*>;

template <class Test>
Candidates select(Test test)
{
    Candidates found;
    for (const ComponentEntry& entry : allComponents()) {
        if (test(entry)) {
            found.push_back(&entry);
        }
    }
    return found;
}

std::string list(const Candidates& candidates)
{
    std::string text;
    for (const ComponentEntry* entry : candidates) {
        text += fmt::format("{}{} (type \"{}\", uuid {})", text.empty() ? "" : ", ", entry->className,
                            entry->typeName, entry->uuid);
    }
    return text;
}

/// Edits (insert, remove, replace) that turn a text into a beginning of another one, without regard
/// to case: a name is often written without its ending.
std::size_t editDistance(std::string_view a, std::string_view b)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, diagonal + 1, replaced});
        }
    }
    return *std::min_element(row.begin(), row.end());
}

/// The three type names nearest to a text.
std::string nearestNames(std::string_view name)
{
    std::set<std::pair<std::size_t, std::string>> ranked;
    for (const ComponentEntry& entry : allComponents()) {
        ranked.emplace(std::min(editDistance(name, entry.typeName), editDistance(name, entry.className)),
                       entry.typeName);
    }
    std::string text;
    for (auto nearest = ranked.begin(); nearest != std::next(ranked.begin(), 3); ++nearest) {
        text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", nearest->second);
    }
    return text;
}

[[noreturn]] void refuse(std::string_view place, const std::string& finding, const std::string& remedy)
{
    throw hostError(HostError::kBadInput, place, finding, remedy);
}

} // namespace

const ComponentEntry& findComponent(std::string_view place, const std::string& name, const std::string& uuid)
{
    const Candidates byClass = select([&](const ComponentEntry& e) { return e.className == name; });
    const Candidates byName = select([&](const ComponentEntry& e) { return e.typeName == name; });
    const Candidates& named = byClass.empty() ? byName : byClass;
    if (named.empty()) {
        refuse(place, fmt::format("found the unknown type \"{}\", expected a known one", name.substr(0, 80)),
               fmt::format("did you mean {}? `zrk types` lists all", nearestNames(name.substr(0, 80))));
    }
    if (uuid.empty()) {
        if (named.size() > 1) {
            refuse(place,
                   fmt::format("found the type \"{}\", which {} types share, expected a unique name", name,
                               named.size()),
                   fmt::format("write the class name of the one that is meant: {}", list(named)));
        }
        return *named.front();
    }
    for (const ComponentEntry* entry : named) {
        if (equalIgnoringCase(entry->uuid, uuid)) {
            return *entry;
        }
    }
    const Candidates byUuid =
        select([&](const ComponentEntry& e) { return equalIgnoringCase(e.uuid, uuid); });
    refuse(place,
           fmt::format("found the type \"{}\" with the uuid {}, expected a pair that belongs together", name,
                       uuid.substr(0, 80)),
           fmt::format("by name it could be {}{}", list(named),
                       byUuid.empty() ? "; no type has that uuid" : "; by uuid " + list(byUuid)));
}

} // namespace zrkmodel

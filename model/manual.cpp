#include "model/manual.h"

#include <unordered_map>

namespace zrkmodel {

namespace {

using Manuals = std::unordered_map<std::string_view, const Manual*>;

// Made on first use, since manuals are entered while libraries load.
Manuals& table()
{
    static Manuals manuals;
    return manuals;
}

} // namespace

void addManuals(std::span<const Manual> manuals)
{
    for (const Manual& manual : manuals) {
        table().emplace(manual.className, &manual);
    }
}

const Manual& manualOf(const ZRKGraphObjectRegistration& type)
{
    static constexpr Manual kNone{};
    const auto found = table().find(type.className);
    return found == table().end() ? kNone : *found->second;
}

} // namespace zrkmodel

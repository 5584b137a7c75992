#include "apps/cli/commands.h"
#include "apps/cli/type_manual.h"
#include "core/values/fault.h"
#include "host/nearest_names.h"
#include "host/type_lookup.h"
#include "model/manual.h"
#include "model/registry.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace zrkcli {

using Registration = zrkmodel::ZRKGraphObjectRegistration;
using Json = nlohmann::ordered_json;

namespace {

struct TypesOptions {
    std::string name;
    bool json = false;
};

using Types = std::vector<const Registration*>;

/// The types of a family in order of registration; all of them for no name.
Types typesOfFamily(const std::string& family)
{
    Types found;
    for (const Registration& type : zrkmodel::knownTypes()) {
        if (family.empty() || zrkmodel::manualOf(type).family == family) {
            found.push_back(&type);
        }
    }
    return found;
}

std::string tagList(const std::vector<zrkmodel::Tag>& tags)
{
    std::string text;
    for (const zrkmodel::Tag tag : tags) {
        text += (text.empty() ? "" : ", ") + std::string(tag.name());
    }
    return text.empty() ? "none" : text;
}

void printTable(const Types& types)
{
    constexpr fmt::string_view kRow = "{:<29}{:<27}{:<38}{:<58}{:<13}{}\n";
    fmt::print(kRow, "class", "type", "uuid", "signature", "family", "what it is");
    for (const Registration* type : types) {
        const std::string_view family = zrkmodel::manualOf(*type).family;
        const auto& [inputs, outputs] = type->signature;
        fmt::print(kRow, type->className, type->info.name, type->info.uuid,
                   tagList(inputs) + " -> " + tagList(outputs), family.empty() ? "-" : family,
                   type->strings.description);
    }
}

void printList(const Types& types, bool isJson)
{
    if (!isJson) {
        printTable(types);
        return;
    }
    Json all = Json::array();
    for (const Registration* type : types) {
        all.push_back(typeJson(*type));
    }
    fmt::print("{}\n", all.dump(2));
}

/// The one type that a name means. An unknown name is refused with the nearest types, classes and families.
const Registration& typeOf(const std::string& name)
{
    std::vector<std::string> known;
    for (const Registration& type : zrkmodel::knownTypes()) {
        for (const std::string& one :
             {type.info.name, type.className, std::string(zrkmodel::manualOf(type).family)}) {
            if (!one.empty() && std::find(known.begin(), known.end(), one) == known.end()) {
                known.push_back(one);
            }
        }
    }
    if (std::find(known.begin(), known.end(), name) == known.end()) {
        throw zrk::FaultError(
            {"types", "the unknown name " + zrk::quotation(name), "a type, a class or a family",
             fmt::format("did you mean {}? `zrk types` lists all",
                         zrkmodel::nearestNames(name.substr(0, zrk::kMaxQuotation), known))});
    }
    return *zrk::valueOrThrow(zrkmodel::findType("types", name, ""));
}

void listTypes(const TypesOptions& options)
{
    if (const Types family = typesOfFamily(options.name); !family.empty()) {
        printList(family, options.json);
        return;
    }
    const Registration& type = typeOf(options.name);
    if (options.json) {
        fmt::print("{}\n", typeDetailsJson(type).dump(2));
    } else {
        fmt::print("{}", typeDetailsText(type));
    }
}

} // namespace

void addTypesCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("types", "list the component types, or describe one");
    auto options = std::make_shared<TypesOptions>();
    command->add_option("NAME", options->name,
                        "class or unambiguous type name to describe, or a family to list");
    command->add_flag("--json", options->json, "as JSON");
    command->callback([&work = program.work, options] { work = [options] { listTypes(*options); }; });
}

} // namespace zrkcli

#include "apps/cli/commands.h"
#include "core/values/fault.h"
#include "host/type_lookup.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/property.h"
#include "model/registry.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

namespace zrkcli {

using zrkmodel::Tag;
using Registration = zrkmodel::ZRKGraphObjectRegistration;
using Json = nlohmann::ordered_json;

namespace {

struct TypesOptions {
    std::string name;
    bool json = false;
};

Json tagNames(const std::vector<Tag>& tags)
{
    Json names = Json::array();
    for (const Tag tag : tags) {
        names.push_back(tag.name());
    }
    return names;
}

std::string tagList(const std::vector<Tag>& tags)
{
    std::string text;
    for (const Tag tag : tags) {
        text += (text.empty() ? "" : ", ") + std::string(tag.name());
    }
    return text.empty() ? "none" : text;
}

Json entryJson(const Registration& entry)
{
    const auto& [inputs, outputs] = entry.signature;
    return {{"class", entry.className},
            {"type", entry.info.name},
            {"uuid", entry.info.uuid},
            {"signature", {{"inputs", tagNames(inputs)}, {"outputs", tagNames(outputs)}}},
            {"title", entry.strings.title},
            {"description", entry.strings.description}};
}

const char* optionName(zrkmodel::ZRKPinOpt option)
{
    switch (option) {
    case zrkmodel::ZRKPinOpt::DefaultValue:
        return "DefaultValue";
    case zrkmodel::ZRKPinOpt::Coordinates:
        return "Coordinates";
    case zrkmodel::ZRKPinOpt::None:
        break;
    }
    return "None";
}

/// A fresh node of a type, with its pins declared, and the graph that it lives in.
struct Specimen {
    std::shared_ptr<zrkmodel::ZRKGraph> graph = zrkmodel::ZRKGraph::create();
    std::shared_ptr<zrkmodel::ZRKGraphObject> object;
    std::shared_ptr<zrkmodel::ZRKGraphNode> node;

    explicit Specimen(const Registration& entry) : object(entry.factory())
    {
        node = graph->getNodePtr(graph->addNode(object).id());
    }
};

Json detailsJson(const Registration& entry)
{
    Json details = entryJson(entry);
    const Specimen specimen(entry);
    details["inputs"] = Json::array();
    for (const auto& pin : specimen.node->inputs) {
        Json input{{"name", pin.name}, {"tag", pin.tag.name()}, {"option", optionName(pin.opt)}};
        input["default"] = pin.defaultValue.isEmpty() ? Json() : Json(pin.defaultValue.components[0]);
        details["inputs"].push_back(input);
    }
    details["outputs"] = Json::array();
    for (const auto& pin : specimen.node->outputs) {
        details["outputs"].push_back({{"name", pin.name}, {"tag", pin.tag.name()}});
    }
    details["properties"] = Json::array();
    for (const auto* property : specimen.object->properties()) {
        details["properties"].push_back({{"name", property->name()},
                                         {"type", property->valueType()},
                                         {"default", property->valueJson()}});
    }
    return details;
}

void printDetails(const Registration& entry)
{
    fmt::print("{}: {}\n\n", entry.strings.title, entry.strings.description);
    fmt::print("class      {}\ntype       \"{}\"\nuuid       {}\nsignature  {} -> {}\n", entry.className,
               entry.info.name, entry.info.uuid, tagList(entry.signature.inputs),
               tagList(entry.signature.outputs));
    const Json details = detailsJson(entry);
    const auto section = [&](const char* title, const char* key, auto line) {
        fmt::print("\n{}\n", title);
        for (std::size_t i = 0; i < details[key].size(); ++i) {
            fmt::print("  {}\n", line(i, details[key][i]));
        }
        if (details[key].empty()) {
            fmt::print("  none\n");
        }
    };
    section("inputs", "inputs", [](std::size_t i, const Json& pin) {
        const std::string option = pin["option"].get<std::string>();
        const std::string unconnected = option == "Coordinates" ? "the position, when unconnected"
                                        : option == "None"      ? ""
                                                           : pin["default"].dump() + ", when unconnected";
        return fmt::format("{} {:<12} {:<9} {}", i, pin["name"].get<std::string>(),
                           pin["tag"].get<std::string>(), unconnected);
    });
    section("outputs", "outputs", [](std::size_t i, const Json& pin) {
        return fmt::format("{} {:<12} {}", i, pin["name"].get<std::string>(), pin["tag"].get<std::string>());
    });
    section("properties", "properties", [](std::size_t, const Json& property) {
        return fmt::format("{:<20} {:<9} {}", "\"" + property["name"].get<std::string>() + "\"",
                           property["type"].get<std::string>(), property["default"].dump());
    });
}

void printTable()
{
    fmt::print("{:<29}{:<27}{:<38}{}\n", "class", "type", "uuid", "signature");
    for (const Registration& entry : zrkmodel::knownTypes()) {
        fmt::print("{:<29}{:<27}{:<38}{} -> {}\n", entry.className, entry.info.name, entry.info.uuid,
                   tagList(entry.signature.inputs), tagList(entry.signature.outputs));
    }
}

void listTypes(const TypesOptions& options)
{
    if (options.name.empty() && !options.json) {
        printTable();
    } else if (options.name.empty()) {
        Json all = Json::array();
        for (const Registration& entry : zrkmodel::knownTypes()) {
            all.push_back(entryJson(entry));
        }
        fmt::print("{}\n", all.dump(2));
    } else {
        const Registration& entry = *zrk::valueOrThrow(zrkmodel::findType("types", options.name, ""));
        if (options.json) {
            fmt::print("{}\n", detailsJson(entry).dump(2));
        } else {
            printDetails(entry);
        }
    }
}

} // namespace

void addTypesCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("types", "list the component types, or describe one");
    auto options = std::make_shared<TypesOptions>();
    command->add_option("NAME", options->name, "class, or unambiguous type name, to describe");
    command->add_flag("--json", options->json, "as JSON");
    command->callback([&work = program.work, options] { work = [options] { listTypes(*options); }; });
}

} // namespace zrkcli

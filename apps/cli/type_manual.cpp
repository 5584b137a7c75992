#include "apps/cli/type_manual.h"

#include "apps/cli/specimen.h"
#include "model/manual.h"
#include "model/property.h"

#include <fmt/core.h>

#include <algorithm>
#include <span>
#include <sstream>
#include <string_view>
#include <vector>

namespace zrkcli {

using zrkmodel::Manual;
using zrkmodel::ManualMember;
using zrkmodel::ManualValue;
using zrkmodel::Tag;
using Registration = zrkmodel::ZRKGraphObjectRegistration;
using Json = nlohmann::ordered_json;

namespace {

constexpr std::size_t kColumns = 96;

Json tagNames(const std::vector<Tag>& tags)
{
    Json names = Json::array();
    for (const Tag tag : tags) {
        names.push_back(tag.name());
    }
    return names;
}

/// What the manual says of a value, without its name, kind and default.
Json told(const ManualMember& value)
{
    Json all{{"unit", value.unit}, {"range", value.range}, {"meaning", value.meaning}};
    all["choices"] = Json::array();
    for (const auto& choice : value.choices) {
        all["choices"].push_back(
            {{"value", Json::parse(choice.value)}, {"name", choice.name}, {"meaning", choice.meaning}});
    }
    return all;
}

Json defaultJson(const ManualMember& value)
{
    return value.defaultValue.empty() ? Json() : Json::parse(value.defaultValue);
}

Json membersJson(std::span<const ManualMember> members)
{
    Json all = Json::array();
    for (const ManualMember& member : members) {
        Json one{{"name", member.key}, {"type", member.kind}};
        one["default"] = defaultJson(member);
        one.update(told(member));
        all.push_back(std::move(one));
    }
    return all;
}

/// The same with its members.
Json told(const ManualValue& value)
{
    Json all = told(static_cast<const ManualMember&>(value));
    all["stored"] = value.isStored;
    all["list"] = value.isList;
    all["members"] = membersJson(value.members);
    return all;
}

template <class Named>
const Named* find(std::span<const Named> all, std::string_view name)
{
    const auto found = std::find_if(all.begin(), all.end(), [&](const Named& one) {
        if constexpr (requires { one.key; }) {
            return one.key == name;
        } else {
            return one.name == name;
        }
    });
    return found == all.end() ? nullptr : &*found;
}

void addPins(Json& details, const Manual& manual, const zrkmodel::ZRKGraphNode& node)
{
    const auto tell = [](Json& pin, const zrkmodel::ManualPin* words) {
        pin["unit"] = words ? words->unit : "";
        pin["meaning"] = words ? words->meaning : "";
    };
    details["inputs"] = Json::array();
    for (const auto& pin : node.inputs) {
        Json input{{"name", pin.name}, {"tag", pin.tag.name()}, {"option", nameOf(pin.opt)}};
        input["default"] = pin.defaultValue.isEmpty() ? Json() : Json(pin.defaultValue.components[0]);
        tell(input, find(manual.inputs, pin.name));
        details["inputs"].push_back(input);
    }
    details["outputs"] = Json::array();
    for (const auto& pin : node.outputs) {
        Json output{{"name", pin.name}, {"tag", pin.tag.name()}};
        tell(output, find(manual.outputs, pin.name));
        details["outputs"].push_back(output);
    }
}

void addValues(Json& details, const Manual& manual, const zrkmodel::ZRKGraphObject& object)
{
    details["properties"] = Json::array();
    for (const auto* property : object.properties()) {
        Json one{
            {"name", property->name()}, {"type", property->valueType()}, {"default", property->valueJson()}};
        if (const ManualValue* words = find(manual.properties, property->name())) {
            one.update(told(*words));
        }
        details["properties"].push_back(std::move(one));
    }
    details["storedKeys"] = Json::array();
    for (const ManualValue& key : manual.storedKeys) {
        Json one{{"name", key.key}, {"type", key.kind}, {"default", defaultJson(key)}};
        one.update(told(key));
        details["storedKeys"].push_back(std::move(one));
    }
}

/// Lines of at most kColumns, broken at blanks, each behind the indent.
std::string wrapped(std::string_view text, std::size_t indent)
{
    std::istringstream words{std::string(text)};
    const std::string start(indent, ' ');
    std::string lines;
    std::string line;
    for (std::string word; words >> word;) {
        if (!line.empty() && indent + line.size() + 1 + word.size() > kColumns) {
            lines += start + line + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return lines + start + line + "\n";
}

/// Paragraphs that are wrapped, list items and code; see zrkmodel::Manual.
std::string wrappedMarkdown(std::string_view text, std::size_t indent)
{
    std::istringstream lines{std::string(text)};
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        const bool isCode = line.starts_with("    ");
        all += line.empty() ? "\n" : isCode ? std::string(indent, ' ') + line + "\n" : wrapped(line, indent);
    }
    return all;
}

std::string tagText(const Json& names)
{
    std::string text;
    for (const Json& name : names) {
        text += (text.empty() ? "" : ", ") + name.get<std::string>();
    }
    return text.empty() ? "none" : text;
}

/// A value's key as documents have it, or its place in an array.
std::string keyText(const std::string& key)
{
    const bool isPlace = std::all_of(key.begin(), key.end(), [](char c) { return c >= '0' && c <= '9'; });
    return isPlace ? "[" + key + "]" : "\"" + key + "\"";
}

/// A value's name and facts on a line, its meaning, choices and members on those below.
std::string valueText(const Json& value, std::size_t indent)
{
    const auto text = [&](const char* key) { return value.value(key, std::string()); };
    std::string facts = text("type");
    const auto add = [&](const std::string& fact) { facts += fact.empty() ? "" : ", " + fact; };
    add(text("unit"));
    const bool isReference = value["default"] == "" && text("type") != "string";
    add(isReference                  ? "none by default"
        : value["default"].is_null() ? ""
                                     : "default " + value["default"].dump());
    add(text("range"));
    add(value.value("stored", true) ? "" : "not stored");
    std::string all = fmt::format("{}{:<20} {}\n", std::string(indent, ' '), keyText(text("name")), facts);
    if (all.size() > kColumns + 1) {
        all = fmt::format("{}{}\n{}", std::string(indent, ' '), keyText(text("name")),
                          wrapped(facts, indent + 4));
    }
    if (!text("meaning").empty()) {
        all += wrapped(text("meaning"), indent + 4);
    }
    for (const Json& choice : value.value("choices", Json::array())) {
        const std::string name = choice["name"].get<std::string>();
        all += wrapped(fmt::format("{}{}: {}", choice["value"].dump(), name.empty() ? "" : " " + name,
                                   choice["meaning"].get<std::string>()),
                       indent + 6);
    }
    const Json members = value.value("members", Json::array());
    if (!members.empty()) {
        all += fmt::format("{}{}\n", std::string(indent + 4, ' '),
                           text("type") == "curve"      ? "each point is an array of"
                           : value.value("list", false) ? "each item is an object with"
                                                        : "it is an object with");
        for (const Json& member : members) {
            all += valueText(member, indent + 6);
        }
    }
    return all;
}

/// Has members told once, where several values have the same.
void refersToFirst(Json& values)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t j = 0; j < i && !values[i].value("members", Json::array()).empty(); ++j) {
            if (values[i]["members"] == values[j]["members"]) {
                values[i]["members"] = Json::array();
                values[i]["meaning"] = values[i]["meaning"].get<std::string>() + "; stored as " +
                                       keyText(values[j]["name"].get<std::string>()) + " is";
            }
        }
    }
}

std::string pinText(std::size_t index, const Json& pin, bool isInput)
{
    std::string words = pin["meaning"].get<std::string>();
    if (const std::string unit = pin["unit"].get<std::string>(); !unit.empty() && unit != "input's") {
        words += " (" + unit + ")";
    }
    if (isInput && pin["option"] == "Coordinates") {
        words += "; unconnected: the position";
    } else if (isInput && !pin["default"].is_null()) {
        words += "; unconnected: " + pin["default"].dump();
    }
    const std::string name = pin["name"].get<std::string>();
    return fmt::format("  {} {:<12} {}\n", index, name.empty() ? "(unnamed)" : name,
                       pin["tag"].get<std::string>()) +
           wrapped(words, 6);
}

} // namespace

Json typeJson(const Registration& type)
{
    const auto& [inputs, outputs] = type.signature;
    return {{"class", type.className},
            {"type", type.info.name},
            {"uuid", type.info.uuid},
            {"signature", {{"inputs", tagNames(inputs)}, {"outputs", tagNames(outputs)}}},
            {"title", type.strings.title},
            {"description", type.strings.description},
            {"family", zrkmodel::manualOf(type).family}};
}

Json typeDetailsJson(const Registration& type)
{
    const Manual& manual = zrkmodel::manualOf(type);
    const Specimen specimen(type);
    Json details = typeJson(type);
    if (!manual.className.empty()) {
        details["page"] = fmt::format("docs/components/{}.md", type.className);
    }
    details["overview"] = manual.overview;
    addPins(details, manual, *specimen.node);
    addValues(details, manual, *specimen.object);
    details["import"] = manual.import;
    details["importMembers"] = membersJson(manual.importMembers);
    details["formula"] = manual.formula;
    details["notes"] = manual.notes;
    details["threads"] = manual.threads;
    details["examples"] = Json::array();
    for (const auto& [caption, document] : manual.examples) {
        details["examples"].push_back({{"caption", caption}, {"document", Json::parse(document)}});
    }
    return details;
}

std::string typeDetailsText(const Registration& type)
{
    Json details = typeDetailsJson(type);
    refersToFirst(details["properties"]);
    const Manual& manual = zrkmodel::manualOf(type);
    std::string all =
        wrapped(fmt::format("{}: {} {}", type.strings.title, type.strings.description, manual.overview), 0);
    all += fmt::format("\nclass      {}\ntype       \"{}\"\n", type.className, type.info.name);
    all += manual.family.empty() ? "" : fmt::format("family     {}\n", manual.family);
    all += fmt::format("uuid       {}\nsignature  {} -> {}\n", type.info.uuid,
                       tagText(details["signature"]["inputs"]), tagText(details["signature"]["outputs"]));
    all += details.contains("page") ? fmt::format("page       {}\n", details["page"].get<std::string>()) : "";

    const auto section = [&](const std::string& title, const char* key, auto line) {
        all += "\n" + title + "\n";
        for (std::size_t i = 0; i < details[key].size(); ++i) {
            all += line(i, details[key][i]);
        }
        all += details[key].empty() ? "  none\n" : "";
    };
    section("inputs", "inputs", [](std::size_t i, const Json& pin) { return pinText(i, pin, true); });
    section("outputs", "outputs", [](std::size_t i, const Json& pin) { return pinText(i, pin, false); });
    const auto value = [](std::size_t, const Json& one) { return valueText(one, 2); };
    section("properties, in \"values\" (mu: model units)", "properties", value);
    if (!details["storedKeys"].empty()) {
        section("other keys of \"values\"", "storedKeys", value);
    }
    const auto words = [&](const char* title, std::string_view text) {
        if (!text.empty()) {
            all += fmt::format("\n{}\n{}", title, wrappedMarkdown(text, 2));
        }
    };
    words("import, beside \"values\"", manual.import);
    for (const Json& member : details["importMembers"]) {
        all += valueText(member, 2);
    }
    words("formula", manual.formula);
    words("notes", manual.notes);
    for (const auto& [caption, document] : manual.examples) {
        all += fmt::format("\nexample{}{}\n", caption.empty() ? "" : ": ", caption);
        std::istringstream lines{std::string(document)};
        for (std::string line; std::getline(lines, line);) {
            all += "  " + line + "\n";
        }
    }
    return all;
}

} // namespace zrkcli

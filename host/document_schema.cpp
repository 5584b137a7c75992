#include "host/document_schema.h"

#include "formats/part.h"
#include "host/graph_document.h"
#include "host/type_lookup.h"
#include "model/file_import.h"
#include "model/graph_object.h"
#include "model/manual.h"
#include "model/property.h"
#include "model/registry.h"
#include "model/serialization.h"

#include <fmt/core.h>

#include <algorithm>
#include <cctype>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

using Registration = ZRKGraphObjectRegistration;

ZRKJson reference(std::string_view definition) { return {{"$ref", fmt::format("#/$defs/{}", definition)}}; }

ZRKJson described(ZRKJson schema, std::string_view description)
{
    if (!description.empty()) {
        schema["description"] = description;
    }
    return schema;
}

ZRKJson numbers(std::size_t count)
{
    return {{"type", "array"}, {"items", {{"type", "number"}}}, {"minItems", count}, {"maxItems", count}};
}

/// An array with a schema for each of its elements, and no more of them.
ZRKJson tuple(ZRKJson elements)
{
    const std::size_t count = elements.size();
    return {{"type", "array"},
            {"prefixItems", std::move(elements)},
            {"items", false},
            {"minItems", count},
            {"maxItems", count}};
}

ZRKJson wholeNumber(std::int64_t least, std::int64_t most)
{
    return {{"type", "integer"}, {"minimum", least}, {"maximum", most}};
}

/// An object with these members and no others.
ZRKJson closedObject(ZRKJson members, ZRKJson required = ZRKJson::array())
{
    ZRKJson schema{{"type", "object"}, {"properties", std::move(members)}};
    if (!required.empty()) {
        schema["required"] = std::move(required);
    }
    schema["additionalProperties"] = false;
    return schema;
}

/// The same of the document itself, where a comment may stand, too.
ZRKJson commentedObject(ZRKJson members, ZRKJson required = ZRKJson::array())
{
    members["comment"] = {{"description", "what you like to say; it isn't used"}};
    return closedObject(std::move(members), std::move(required));
}

/// One of several values, each with what it means.
ZRKJson oneOf(std::span<const ManualChoice> choices, bool isText)
{
    ZRKJson all = ZRKJson::array();
    for (const ManualChoice& choice : choices) {
        ZRKJson one;
        // Choices of an import are words without quotation marks.
        one["const"] =
            isText && !choice.value.starts_with('"') ? ZRKJson(choice.value) : ZRKJson::parse(choice.value);
        if (!choice.name.empty()) {
            one["title"] = choice.name;
        }
        all.push_back(described(std::move(one), choice.meaning));
    }
    return {{"oneOf", std::move(all)}};
}

/// What stands for a UUID in any case of its letters; editors complete it as it is registered.
ZRKJson anyCase(const std::string& uuid)
{
    std::string pattern = "^";
    for (const char c : uuid) {
        const auto letter = static_cast<unsigned char>(c);
        pattern += std::isalpha(letter) ? fmt::format("[{}{}]", static_cast<char>(std::toupper(letter)),
                                                      static_cast<char>(std::tolower(letter)))
                                        : std::string(1, c);
    }
    return {{"anyOf", {{{"const", uuid}}, {{"pattern", pattern + "$"}}}}};
}

// Values.

ZRKJson membersSchema(std::span<const ManualMember> members);

/// The values of a kind, a ZRKValueName or one of those of a manual.
ZRKJson kindSchema(std::string_view kind, std::span<const ManualMember> members)
{
    using Limits = std::numeric_limits<std::int32_t>;
    if (kind == "double") {
        return {{"type", "number"}};
    }
    if (kind == "int" || kind == "enum") {
        return wholeNumber(Limits::min(), Limits::max());
    }
    if (kind == "bool") {
        return {{"type", "boolean"}};
    }
    if (kind == "vector3" || kind == "vector4") {
        return numbers(kind == "vector3" ? 3 : 4);
    }
    if (kind == "matrix4") {
        return numbers(16);
    }
    if (kind == "geometry" || kind == "image2d" || kind == "image3d") {
        return {{"type", {"string", "null"}}};
    }
    if (kind == "falloff") {
        return membersSchema(members);
    }
    if (kind == "curve" || kind == "list") {
        return {{"type", "array"}, {"items", membersSchema(members)}};
    }
    return {{"type", "string"}};
}

ZRKJson valueSchema(const ManualMember& value, std::span<const ManualMember> members = {})
{
    ZRKJson schema = value.choices.empty() ? kindSchema(value.kind, members)
                                           : oneOf(value.choices, value.kind == "string");
    if (value.key == "op_name") { // what an operator stores that read a name of none
        schema["oneOf"].push_back(described({{"const", "noop"}}, "writes nothing"));
    }
    return described(std::move(schema), wordsOf(value));
}

/// The members of an object, or where their keys are places those of an array.
ZRKJson membersSchema(std::span<const ManualMember> members)
{
    ZRKJson list = ZRKJson::array();
    ZRKJson named = ZRKJson::object();
    for (const ManualMember& member : members) {
        (member.key == std::to_string(list.size()) ? list.emplace_back() : named[std::string(member.key)]) =
            valueSchema(member);
    }
    return list.empty() ? closedObject(std::move(named)) : tuple(std::move(list));
}

/// The keys that a component misses where its values have none.
ZRKJson requiredKeys(ZRKGraphObject& fresh)
{
    ZRKJson missed = ZRKJson::array();
    const ZRKJson none = ZRKJson::object();
    fresh.deserialize(
        ZRKDeserialization(none, nullptr, [&](const ZRKReadIssue& issue) { missed.push_back(issue.place); }));
    return missed;
}

ZRKJson valuesSchema(const Registration& type)
{
    const Manual& manual = manualOf(type);
    const auto object = type.factory();
    ZRKJson members = ZRKJson::object();
    const auto add = [&](const ManualValue& value, const ZRKJson& usual) {
        if (value.isStored) {
            ZRKJson schema = valueSchema(value, value.members);
            if (!usual.is_null()) {
                schema["default"] = usual;
            }
            members[std::string(value.key)] = std::move(schema);
        }
    };
    for (const ZRKPropertyBase* property : object->properties()) {
        const auto words = std::find_if(manual.properties.begin(), manual.properties.end(),
                                        [&](const auto& one) { return one.key == property->name(); });
        if (words != manual.properties.end()) {
            add(*words, property->valueJson());
        } else {
            members[property->name()] = {{"default", property->valueJson()}};
        }
    }
    for (const ManualValue& key : manual.storedKeys) {
        add(key, key.defaultValue.empty() ? ZRKJson() : ZRKJson::parse(key.defaultValue));
    }
    return described(closedObject(std::move(members), requiredKeys(*object)),
                     fmt::format("The values of {}. What is left out has its default.", type.strings.title));
}

// Nodes.

/// The system takes a byte of 0 for the end of a path.
ZRKJson pathSchema() { return {{"type", "string"}, {"pattern", "^[^\\u0000]*$"}}; }

ZRKJson pathsSchema()
{
    const ZRKJson path = pathSchema();
    return {{"anyOf", {path, {{"type", "array"}, {"items", path}, {"minItems", 1}}}}};
}

/// What stands beside "values" of a type that takes data from files; false of the others.
ZRKJson importSchema(const Registration& type)
{
    const auto object = type.factory();
    const auto* import = dynamic_cast<const ZRKFileImport*>(object.get());
    if (!import) {
        return false;
    }
    const Manual& manual = manualOf(type);
    ZRKJson members{{"path", described(pathsSchema(), "the path or the array of paths")}};
    const std::vector<std::string> options = import->importOptions();
    for (const ManualMember& member : manual.importMembers) {
        if (std::find(options.begin(), options.end(), member.key) != options.end()) {
            members[std::string(member.key)] = valueSchema(member);
        }
    }
    ZRKJson schema = pathsSchema();
    schema["anyOf"].push_back(commentedObject(std::move(members), {"path"}));
    return described(std::move(schema), manual.import);
}

/// The types that each type name stands for.
std::map<std::string, std::vector<const Registration*>> typesByName()
{
    std::map<std::string, std::vector<const Registration*>> types;
    for (const Registration& type : knownTypes()) {
        types[type.info.name].push_back(&type);
    }
    return types;
}

ZRKJson nodeSchema()
{
    const auto types = typesByName();
    ZRKJson names = ZRKJson::array();
    ZRKJson rules = ZRKJson::array();
    const auto addName = [&](const std::string& name, const std::string& description) {
        const ZRKJson one{{"const", name}, {"description", description}};
        if (std::find(names.begin(), names.end(), one) == names.end()) {
            names.push_back(one);
        }
    };
    const auto isNamed = [](const std::string& name) {
        return ZRKJson{{"properties", {{"type", {{"const", name}}}}}, {"required", {"type"}}};
    };
    for (const Registration& type : knownTypes()) {
        const auto& sharing = types.at(type.info.name);
        std::string description = type.strings.description;
        ZRKJson isMeant = isNamed(type.info.name);
        if (sharing.size() > 1) {
            description = "Several types have this name: add the uuid, or write the class name";
            isMeant["properties"]["uuid"] = anyCase(type.info.uuid);
            isMeant["required"].push_back("uuid");
        }
        addName(type.info.name, description);
        if (type.className.empty()) {
            continue; // nothing else names it, and nothing tells of it
        }
        addName(type.className, type.strings.description);
        rules.push_back(
            {{"if", {{"anyOf", {isNamed(type.className), isMeant}}}}, {"then", reference(type.className)}});
    }
    for (const auto& [name, sharing] : types) {
        if (sharing.size() > 1) {
            ZRKJson uuids = ZRKJson::array();
            for (const Registration* type : sharing) {
                uuids.push_back(described(anyCase(type->info.uuid), type->strings.description));
            }
            rules.push_back(
                {{"if", isNamed(name)},
                 {"then", {{"properties", {{"uuid", {{"anyOf", uuids}}}}}, {"required", {"uuid"}}}}});
        }
    }
    ZRKJson members{
        {"id", described(wholeNumber(0, kMaxNodeId), "a whole number that no other node has")},
        {"type", {{"description", "the type name or the class name"}, {"anyOf", std::move(names)}}},
        {"uuid",
         {{"description", "the type's UUID; it may be missing if the name alone says which type is meant"},
          {"type", "string"}}},
        {"values",
         {{"description", "the component's properties by name; without it they have their defaults"},
          {"type", "object"}}},
        {"import", {{"description", "files that the component takes its data from"}}},
        {"label", {{"description", "what an editor calls the node in place of its type"}}},
        {"bypass", {{"description", "what an editor keeps of a node that is passed over"}}},
        {"position", {{"description", "the place on an editor's canvas"}, {"examples", {{0, 0}}}}}};
    ZRKJson schema =
        described(commentedObject(std::move(members), {"id", "type"}), "a component, known by its id");
    schema["allOf"] = std::move(rules);
    return schema;
}

/// What the entry of a node may have if it is of this type.
ZRKJson typeSchema(const Registration& type)
{
    ZRKJson uuid = anyCase(type.info.uuid);
    uuid["anyOf"].push_back({{"const", ""}}); // counts as none
    return {{"title", type.strings.title},
            {"description", type.strings.description},
            {"properties",
             {{"uuid", std::move(uuid)}, {"values", valuesSchema(type)}, {"import", importSchema(type)}}}};
}

// Resources.

struct ShapeSchema {
    const char* name;
    const char* description;
    ZRKJson members;
    std::vector<const char*> optional;
};

std::vector<ShapeSchema> shapeSchemas()
{
    const ZRKJson point = reference("point");
    const ZRKJson radius{{"type", "number"}, {"minimum", 0}, {"maximum", 1e100}};
    const ZRKJson curve{{"points", {{"type", "array"}, {"items", point}, {"minItems", 2}}},
                        {"closed", {{"type", "boolean"}, {"default", false}}}};
    return {
        {"point", "a point", {{"position", point}}, {}},
        {"polyline", "a curve: straight lines from point to point", curve, {"closed"}},
        {"spline", "a curve: the centripetal Catmull-Rom spline through the points", curve, {"closed"}},
        {"circle", "a closed curve", {{"center", point}, {"axis", point}, {"radius", radius}}, {}},
        {"plane", "a surface, spanned by u and v", {{"origin", point}, {"u", point}, {"v", point}}, {}},
        {"sphere", "a surface and a solid", {{"center", point}, {"radius", radius}}, {}},
        {"box", "a solid between two corners", {{"min", point}, {"max", point}}, {}},
        {"mesh",
         "a solid from a mesh file, as it stands there",
         {{"path", described(pathSchema(), "OBJ, STL, PLY or 3MF")}},
         {}},
        {"group",
         "several geometries; it gives the distances to its members one after the other",
         {{"members",
           {{"type", "array"},
            {"items", {{"type", "string"}}},
            {"description", "uuids of geometries of this document"}}}},
         {}},
    };
}

/// Adds a kind of resource, known by the value of one of its members, with further members of its own.
void addResource(ZRKJson& rules, const char* key, const std::string& value, ZRKJson members,
                 const std::vector<const char*>& optional)
{
    ZRKJson required = ZRKJson::array();
    for (const auto& [name, schema] : members.items()) {
        const auto is = [&, &text = name](const char* one) { return text == one; };
        if (std::none_of(optional.begin(), optional.end(), is)) {
            required.push_back(name);
        }
    }
    for (const char* common : {"uuid", "kind", "name"}) {
        members[common] = true;
    }
    if (std::string_view(key) == "shape") {
        members["shape"] = true;
    }
    rules.push_back({{"if", {{"properties", {{key, {{"const", value}}}}}, {"required", {key}}}},
                     {"then", commentedObject(std::move(members), std::move(required))}});
}

ZRKJson resourceSchema()
{
    ZRKJson rules = ZRKJson::array();
    ZRKJson shapes = ZRKJson::array();
    const ZRKJson isGeometry{{"properties", {{"kind", {{"const", "geometry"}}}}}, {"required", {"kind"}}};
    for (const auto& [kind, what] :
         {std::pair("image2d", "a PNG, JPEG or TIFF picture"),
          std::pair("image3d", "a folder of slices, a TIFF file of many pages or a NumPy array")}) {
        ZRKJson path = described(pathSchema(), what);
        path["minLength"] = 1;
        addResource(rules, "kind", kind, {{"path", std::move(path)}}, {});
    }
    ZRKJson shapeRules = ZRKJson::array();
    for (const ShapeSchema& shape : shapeSchemas()) {
        shapes.push_back({{"const", shape.name}, {"description", shape.description}});
        addResource(shapeRules, "shape", shape.name, shape.members, shape.optional);
    }
    rules.push_back({{"if", isGeometry},
                     {"then",
                      {{"properties", {{"shape", {{"anyOf", shapes}}}}},
                       {"required", {"shape"}},
                       {"allOf", shapeRules}}}});
    return {{"type", "object"},
            {"description", "a geometry, picture or volume that nodes refer to by its uuid"},
            {"properties",
             {{"uuid",
               {{"type", "string"},
                {"pattern", "[^0-]"},
                {"description", "what nodes refer to it by; not all zeros"}}},
              {"kind", {{"enum", {"geometry", "image2d", "image3d"}}}},
              {"name", {{"description", "what lists call it"}}}}},
            {"required", {"uuid", "kind"}},
            {"allOf", rules}};
}

// The document.

ZRKJson contextSchema()
{
    const ZRKJson box = tuple({numbers(3), numbers(3)});
    ZRKJson units = ZRKJson::array();
    for (const zrk::NamedUnit& unit : zrk::lengthUnits()) {
        units.push_back(unit.name);
    }
    return described(
        commentedObject(
            {{"unit",
              {{"enum", units}, {"description", "what a length of 1 stands for; nothing is rescaled"}}},
             {"modelBounds",
              described(box, "two opposite corners in model units: the box that is sampled; without it that "
                             "from (0, 0, 0) to (1, 1, 1)")},
             {"modelLocalBounds", described(box, "two opposite corners in the model's own coordinates")},
             {"modelTransform",
              described(numbers(16), "the matrix from the model's own coordinates to those of the document, "
                                     "column by column")}}),
        "what components may ask about the model");
}

ZRKJson viewSchema()
{
    return {{"type", "object"},
            {"description", "how slices of the document are best seen; other members are left alone"},
            {"properties",
             {{"axis", {{"enum", {"x", "y", "z"}}, {"description", "the axis at right angles to the slice"}}},
              {"at",
               {{"type", "number"},
                {"minimum", 0},
                {"maximum", 1},
                {"description", "where along it: 0 at the lower, 1 at the upper bound"}}},
              {"range",
               described(numbers(2), "the values at the two ends of the colours, the smaller one first")}}}};
}

ZRKJson linkSchema()
{
    return described(commentedObject({{"from", described(reference("pin"), "[node, output index]")},
                                      {"to", described(reference("pin"), "[node, input index]")}},
                                     {"from", "to"}),
                     "the output that feeds an input");
}

ZRKJson listOf(const char* definition, const char* description)
{
    return {{"type", "array"}, {"items", reference(definition)}, {"description", description}};
}

} // namespace

std::string wordsOf(const ManualMember& value)
{
    std::string words(value.meaning);
    const auto add = [&](const std::string& sentence) { words += (words.empty() ? "" : ". ") + sentence; };
    if (!value.unit.empty()) {
        add(fmt::format("Unit: {}", value.unit == "mu" ? "model units" : value.unit));
    }
    if (value.kind == "geometry" || value.kind.starts_with("image")) {
        add(fmt::format("The uuid of a resource of the kind \"{}\"{}", value.kind,
                        value.range.empty() ? "" : fmt::format(" that is a {}", value.range)));
    } else if (!value.range.empty()) {
        add(fmt::format("Panels offer {}", value.range));
    }
    return words;
}

ZRKJson documentSchema()
{
    ZRKJson definitions{{"pin", tuple({wholeNumber(0, kMaxNodeId),
                                       wholeNumber(0, std::numeric_limits<std::uint8_t>::max())})},
                        {"point",
                         {{"type", "array"},
                          {"items", {{"type", "number"}, {"minimum", -1e100}, {"maximum", 1e100}}},
                          {"minItems", 3},
                          {"maxItems", 3}}},
                        {"link", linkSchema()},
                        {"resource", resourceSchema()},
                        {"node", nodeSchema()}};
    for (const Registration& type : knownTypes()) {
        if (!type.className.empty()) {
            definitions[type.className] = typeSchema(type);
        }
    }
    ZRKJson members{
        {"$schema", {{"description", "the schema by which editors check the document"}}},
        {"zrkGraph", {{"const", 1}, {"description", "the format version"}}},
        {"context", contextSchema()},
        {"resources", listOf("resource", "geometry, pictures and volumes that nodes refer to by uuid")},
        {"nodes", listOf("node", "the components")},
        {"links", listOf("link", "which output feeds which input; an input takes one link")},
        {"output",
         {{"anyOf", {reference("pin"), {{"type", "null"}}}},
          {"description", "the pin that commands sample by default: [node id, output index]"}}},
        {"view", viewSchema()}};
    ZRKJson schema{{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                   {"title", "zrk graph document"},
                   {"description", "Nodes, the links between them, and the output that is sampled."}};
    schema.update(commentedObject(std::move(members), {"zrkGraph"}));
    schema["$defs"] = std::move(definitions);
    return schema;
}

} // namespace zrkmodel

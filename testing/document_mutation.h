#pragma once

#include "components/registration.h"
#include "host/document_json.h"
#include "host/document_values.h"
#include "model/graph_object.h"
#include "model/json.h"
#include "model/registry.h"
#include "testing/source_folder.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace zrktest {

/// The examples, with resolutions and steps lowered so that hundreds a second can be loaded and sampled.
/// Their paths lead to small files of the same names where they are read as if they lay in fuzz/fixtures.
inline std::vector<zrkmodel::ZRKJson> smallExamples()
{
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(sourceFolder() / "examples")) {
        if (entry.path().string().ends_with(".zrk.json")) {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    std::vector<zrkmodel::ZRKJson> documents;
    for (const auto& path : paths) {
        std::ifstream file(path, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        documents.push_back(zrk::valueOrThrow(zrkmodel::parseDocumentJson(text, path.string())));
        for (auto& node : documents.back()["nodes"]) {
            for (const auto& [key, most] : {std::pair("resolution", 6), std::pair("steps", 2)}) {
                if (node.contains("values") && node["values"].contains(key)) {
                    node["values"][key] = most;
                }
            }
        }
    }
    return documents;
}

/// Changes documents so that most of them stay documents: members are moved, swapped, renamed and replaced by
/// values of other types and at the edges of what numbers can be; nodes, links, resources and imports come,
/// change and go. The same numbers give the same documents.
class DocumentMutation {
public:
    using Json = zrkmodel::ZRKJson;

    explicit DocumentMutation(std::vector<Json> beginnings) : _beginnings(std::move(beginnings))
    {
        zrkmodel::ZRKGraphComponentsInit::initializeModule();
    }

    /// A text after a few changes. Instead of one that is no JSON object or has grown large, and now and then
    /// of another, one of the documents that this was made with is changed.
    std::string changed(const std::string& text, std::uint32_t seed)
    {
        constexpr std::size_t kLarge = 20000;
        _random.seed(seed);
        auto read = zrkmodel::parseDocumentJson(text, "bytes");
        Json document = read && text.size() < kLarge && below(20) > 0 ? std::move(*read) : pick(_beginnings);
        for (std::size_t left = 1 + below(4); left > 0; --left) {
            change(document);
        }
        return document.dump(-1, ' ', false, Json::error_handler_t::replace);
    }

private:
    std::vector<Json> _beginnings;
    std::mt19937 _random;

    std::size_t below(std::size_t count) { return _random() % count; }

    template <class List>
    auto pick(const List& list) -> std::decay_t<decltype(*std::begin(list))>
    {
        return *(std::begin(list) + static_cast<std::ptrdiff_t>(below(std::size(list))));
    }

    void change(Json& document)
    {
        switch (below(13)) {
        case 0:
        case 1:
            *pick(places(document)) = anyValue();
            break;
        case 2:
        case 3:
            changeNumber(document);
            break;
        case 4: {
            const Json part = *pick(places(document));
            *pick(places(document)) = part;
            break;
        }
        case 5:
            changeMembers(document);
            break;
        case 6:
            swapMembers(document);
            break;
        case 7:
            addNode(document);
            break;
        case 8:
            changeType(document);
            break;
        case 9:
            addLink(document);
            break;
        case 10:
            addResource(document);
            break;
        case 11:
            useResource(document);
            break;
        default:
            usePath(document);
            break;
        }
    }

    /// All values of a document, itself among them.
    static std::vector<Json*> places(Json& document)
    {
        std::vector<Json*> found{&document};
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (found[i]->is_structured()) {
                for (Json& member : *found[i]) {
                    found.push_back(&member);
                }
            }
        }
        return found;
    }

    template <class Choice>
    std::vector<Json*> placesOf(Json& document, const Choice& isChosen)
    {
        std::vector<Json*> found = places(document);
        std::erase_if(found, [&](const Json* value) { return !isChosen(*value); });
        return found;
    }

    Json anyNumber()
    {
        static constexpr double kReals[] = {0.0,   -0.0,   0.5,     -1.5,     1e-3,  1e-300,  5e-324, 1e12,
                                            1e150, -1e150, 1.7e308, -1.7e308, 1e-12, 3.14159, 255.5};
        static constexpr std::int64_t kWhole[] = {0,
                                                  1,
                                                  -1,
                                                  2,
                                                  3,
                                                  7,
                                                  64,
                                                  255,
                                                  256,
                                                  1000,
                                                  65534,
                                                  65535,
                                                  65536,
                                                  1 << 20,
                                                  1 << 30,
                                                  2147483647,
                                                  2147483648,
                                                  -2147483648,
                                                  9007199254740993,
                                                  std::numeric_limits<std::int64_t>::max(),
                                                  std::numeric_limits<std::int64_t>::min()};
        return below(2) == 0 ? Json(pick(kReals)) : Json(pick(kWhole));
    }

    Json anyValue()
    {
        static const std::vector<Json> kValues = {nullptr,
                                                  true,
                                                  false,
                                                  "",
                                                  "minimum",
                                                  "curve",
                                                  "\x1b[2J",
                                                  std::string(300, 'x'),
                                                  Json::array(),
                                                  Json::object(),
                                                  {0, 0, 0},
                                                  {{0, 0, 0}, {1, 1, 1}},
                                                  {{0, 0, 0}, {0, 0, 0}},
                                                  {1, 0},
                                                  std::numeric_limits<std::uint64_t>::max()};
        return below(2) == 0 ? anyNumber() : pick(kValues);
    }

    void changeNumber(Json& document)
    {
        const auto numbers = placesOf(document, [](const Json& value) { return value.is_number(); });
        if (numbers.empty()) {
            return;
        }
        Json& number = *pick(numbers);
        const double before = number.get<double>();
        static constexpr double kFactors[] = {0, -1, 2, 0.5, 1e3, 1e-3, 1e100, 1e-100, 1.0000001};
        switch (below(4)) {
        case 0:
            number = anyNumber();
            break;
        case 1:
            // Another of the document's numbers, so that values coincide.
            number = *pick(numbers);
            break;
        case 2:
            number = before < 1e15 && before > -1e15 ? Json(static_cast<std::int64_t>(before) + 1) : Json(1);
            break;
        default: {
            const double after = before * pick(kFactors);
            number =
                after <= std::numeric_limits<double>::max() && after >= std::numeric_limits<double>::lowest()
                    ? Json(after)
                    : Json(0.0);
            break;
        }
        }
    }

    /// Removes or doubles an element of an array; removes or renames a member of an object, or gives its
    /// value to another key too.
    void changeMembers(Json& document)
    {
        const auto groups =
            placesOf(document, [](const Json& value) { return value.is_structured() && !value.empty(); });
        if (groups.empty()) {
            return;
        }
        Json& group = *pick(groups);
        if (group.is_array()) {
            const auto place = group.begin() + static_cast<std::ptrdiff_t>(below(group.size()));
            if (below(2) == 0) {
                group.erase(place);
            } else {
                group.push_back(Json(*place));
            }
            return;
        }
        const auto [key, value] = pick(group.get_ref<const Json::object_t&>());
        if (below(2) == 0) {
            group.erase(key);
        }
        if (below(2) == 0) {
            const auto objects =
                placesOf(document, [](const Json& v) { return v.is_object() && !v.empty(); });
            if (!objects.empty()) {
                group[pick(pick(objects)->get_ref<const Json::object_t&>()).first] = value;
            }
        }
    }

    /// Swaps two members of an object or two elements of an array, the keys staying.
    void swapMembers(Json& document)
    {
        const auto groups =
            placesOf(document, [](const Json& value) { return value.is_structured() && value.size() > 1; });
        if (!groups.empty()) {
            std::vector<Json*> members;
            for (Json& member : *pick(groups)) {
                members.push_back(&member);
            }
            std::swap(*pick(members), *pick(members));
        }
    }

    /// The elements of one of the document's lists that are objects.
    std::vector<Json*> entries(Json& document, const char* list)
    {
        std::vector<Json*> found;
        if (document.is_object() && document.contains(list) && document[list].is_array()) {
            for (Json& entry : document[list]) {
                if (entry.is_object()) {
                    found.push_back(&entry);
                }
            }
        }
        return found;
    }

    void append(Json& document, const char* list, Json entry)
    {
        if (!document.is_object()) {
            document = Json::object();
        }
        if (!document.contains(list) || !document[list].is_array()) {
            document[list] = Json::array();
        }
        document[list].push_back(std::move(entry));
    }

    Json anyNode()
    {
        const auto& types = zrkmodel::ZRKGraphObject::registry().entries();
        const auto& type = types[below(types.size())];
        return {{"type", type.info.name},
                {"uuid", type.info.uuid},
                {"values", zrkmodel::storedForm(*type.factory())}};
    }

    void addNode(Json& document)
    {
        Json node = anyNode();
        node["id"] = below(40);
        const Json id = node["id"];
        append(document, "nodes", std::move(node));
        if (below(2) == 0) {
            document["output"] = {id, 0};
        }
        addLink(document);
    }

    void changeType(Json& document)
    {
        const auto nodes = entries(document, "nodes");
        if (nodes.empty()) {
            return;
        }
        const Json other = anyNode();
        Json& node = *pick(nodes);
        node["type"] = other["type"];
        node["uuid"] = other["uuid"];
        if (below(2) == 0) {
            node["values"] = other["values"];
        }
    }

    Json anyId(Json& document)
    {
        const auto nodes = entries(document, "nodes");
        return nodes.empty() ? Json(below(10)) : pick(nodes)->value("id", Json(1));
    }

    void addLink(Json& document)
    {
        append(document, "links",
               {{"from", {anyId(document), below(8) / 7}}, {"to", {anyId(document), below(3)}}});
    }

    void addResource(Json& document)
    {
        static const std::vector<Json> kResources = {
            {{"kind", "image2d"}, {"path", "pictures/flower_normals.png"}},
            {{"kind", "image2d"}, {"path", "pictures/gear.png"}},
            {{"kind", "image3d"}, {"path", "pictures/shell"}},
            {{"kind", "image3d"}, {"path", "volume.npy"}},
            {{"kind", "geometry"}, {"shape", "point"}, {"position", {0.5, 0, 0}}},
            {{"kind", "geometry"},
             {"shape", "polyline"},
             {"points", {{0, 0, 0}, {1, 0, 0}, {1, 1, 1}}},
             {"closed", true}},
            {{"kind", "geometry"},
             {"shape", "spline"},
             {"points", {{0, 0, 0}, {1, 0, 0}, {1, 1, 1}, {0, 1, 2}}}},
            {{"kind", "geometry"},
             {"shape", "circle"},
             {"center", {0, 0, 0}},
             {"axis", {0, 0, 1}},
             {"radius", 1}},
            {{"kind", "geometry"},
             {"shape", "plane"},
             {"origin", {0, 0, 0}},
             {"u", {1, 0, 0}},
             {"v", {0, 1, 0}}},
            {{"kind", "geometry"}, {"shape", "sphere"}, {"center", {0, 0, 0}}, {"radius", 1}},
            {{"kind", "geometry"}, {"shape", "box"}, {"min", {0, 0, 0}}, {"max", {1, 1, 1}}},
            {{"kind", "geometry"}, {"shape", "mesh"}, {"path", "torus_knot.obj"}},
            {{"kind", "geometry"}, {"shape", "group"}, {"members", Json::array()}},
        };
        Json resource = pick(kResources);
        resource["uuid"] = "a" + std::to_string(below(8));
        const auto others = entries(document, "resources");
        if (resource.contains("members") && !others.empty()) {
            for (int i = 0; i < 3; ++i) {
                resource["members"].push_back(pick(others)->value("uuid", Json()));
            }
        }
        append(document, "resources", std::move(resource));
        useResource(document);
    }

    /// Lets a property refer to a resource.
    void useResource(Json& document)
    {
        const auto resources = entries(document, "resources");
        const auto nodes = entries(document, "nodes");
        if (resources.empty() || nodes.empty()) {
            return;
        }
        Json& node = *pick(nodes);
        if (!node.contains("values") || !node["values"].is_object()) {
            return;
        }
        const auto texts =
            placesOf(node["values"], [](const Json& value) { return value.is_string() || value.is_null(); });
        if (!texts.empty()) {
            *pick(texts) = pick(resources)->value("uuid", Json());
        }
    }

    /// Lets an import or a resource name another file.
    void usePath(Json& document)
    {
        static const std::vector<Json> kPaths = {
            "torus_knot.obj",
            "pictures/gear.png",
            "pictures/shell",
            "volume.npy",
            "",
            ".",
            "..",
            "../fixtures/volume.npy",
            "/dev/zero",
            "missing",
            {"pictures/shell/slice_00.png", "pictures/shell/slice_01.png"},
            std::string("a\0b", 3)};
        const auto nodes = entries(document, "nodes");
        const auto resources = entries(document, "resources");
        if (!nodes.empty() && below(2) == 0) {
            (*pick(nodes))["import"] = pick(kPaths);
        } else if (!resources.empty()) {
            (*pick(resources))["path"] = pick(kPaths);
        }
    }
};

} // namespace zrktest

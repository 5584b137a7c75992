#include "host/editing/fragment.h"

#include "host/document_json.h"
#include "host/document_values.h"
#include "host/editing/value_delta.h"
#include "host/graph_document.h"
#include "host/stored_paths.h"
#include "model/uuid.h"

#include <fmt/core.h>

#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

constexpr const char* kName = "clipboard";

zrk::Result<void> checkShape(const ZRKJson& fragment)
{
    const auto refuse = [](const std::string& place, const std::string& found, const std::string& expected) {
        return zrk::refused({fmt::format("{}, {}", kName, place), found, expected, "copy the nodes again"});
    };
    for (const char* key : {"nodes", "links", "resources"}) {
        if (fragment.contains(key) && !fragment[key].is_array()) {
            return refuse(fmt::format("\"{}\"", key), shown(fragment[key]), "an array");
        }
    }
    if (!fragment.contains("nodes") || fragment["nodes"].empty()) {
        return refuse("\"nodes\"", "none", "a node to paste");
    }
    std::set<int> ids;
    for (std::size_t i = 0; i < fragment["nodes"].size(); ++i) {
        const ZRKJson& entry = fragment["nodes"][i];
        const bool isNumbered = entry.is_object() && entry.contains("id") &&
                                entry["id"].is_number_integer() && entry["id"] >= 0 &&
                                entry["id"] <= kMaxNodeId;
        if (!isNumbered || !ids.insert(entry["id"].get<int>()).second) {
            return refuse(fmt::format("nodes[{}]", i), shown(entry), "an object with an id of its own");
        }
    }
    const ZRKJson links = fragment.value("links", ZRKJson::array());
    for (std::size_t i = 0; i < links.size(); ++i) {
        const bool isWithin = links[i].is_object() && isPinPair(links[i], "from") &&
                              isPinPair(links[i], "to") && ids.contains(links[i]["from"][0].get<int>()) &&
                              ids.contains(links[i]["to"][0].get<int>());
        if (!isWithin) {
            return refuse(fmt::format("links[{}]", i), shown(links[i]),
                          "a link between nodes that are copied");
        }
    }
    return {};
}

} // namespace

bool isPinPair(const ZRKJson& link, const char* key)
{
    const auto pair = link.find(key);
    return pair != link.end() && pair->is_array() && pair->size() == 2 && (*pair)[0].is_number_integer() &&
           (*pair)[1].is_number_integer() && (*pair)[0] >= 0 && (*pair)[0] <= kMaxNodeId && (*pair)[1] >= 0 &&
           (*pair)[1] <= 255;
}

void shiftPosition(ZRKJson& entry, double dx, double dy)
{
    const auto position = entry.find("position");
    if (position != entry.end() && isNumbers(*position, 2) && (dx != 0 || dy != 0)) {
        *position = ZRKJson{(*position)[0].get<double>() + dx, (*position)[1].get<double>() + dy};
    }
}

bool isSameResource(const ZRKJson& a, const ZRKJson& b)
{
    ZRKJson own = a;
    ZRKJson other = b;
    own.erase("uuid");
    other.erase("uuid");
    return isSameValue(own, other);
}

ZRKJson fragmentOf(const ZRKJson& document, const std::set<std::uint16_t>& nodes, const std::string& base)
{
    ZRKJson copied{{"zrkGraph", document["zrkGraph"]}, {"base", base}};
    copied["resources"] = ZRKJson::array();
    copied["nodes"] = ZRKJson::array();
    copied["links"] = ZRKJson::array();
    copied["outerLinks"] = ZRKJson::array();
    for (const ZRKJson& entry : document["nodes"]) {
        if (nodes.contains(entry["id"].get<std::uint16_t>())) {
            copied["nodes"].push_back(entry);
        }
    }
    for (const ZRKJson& link : document["links"]) {
        if (nodes.contains(link["to"][0].get<std::uint16_t>())) {
            const bool isInner = nodes.contains(link["from"][0].get<std::uint16_t>());
            copied[isInner ? "links" : "outerLinks"].push_back(link);
        }
    }
    // Groups bring their members, however deep.
    const ZRKJson resources = document.value("resources", ZRKJson::array());
    std::vector<bool> isUsed(resources.size());
    for (bool isNew = true; isNew;) {
        isNew = false;
        for (std::size_t i = 0; i < resources.size(); ++i) {
            const auto uuid = resources[i]["uuid"].get<std::string>();
            bool isWanted = mentions(copied["nodes"], uuid);
            for (std::size_t j = 0; j < resources.size(); ++j) {
                isWanted =
                    isWanted || (isUsed[j] && mentions(resources[j].value("members", ZRKJson()), uuid));
            }
            isNew = isNew || (isWanted && !isUsed[i]);
            isUsed[i] = isWanted;
        }
    }
    for (std::size_t i = 0; i < resources.size(); ++i) {
        if (isUsed[i]) {
            copied["resources"].push_back(resources[i]);
        }
    }
    for (const char* key : {"resources", "outerLinks"}) {
        if (copied[key].empty()) {
            copied.erase(key);
        }
    }
    return copied;
}

zrk::Result<ZRKJson> readFragment(const std::string& text)
{
    return parseDocumentJson(text, kName).and_then([](ZRKJson fragment) -> zrk::Result<ZRKJson> {
        // The version is refused as that of a document is.
        const auto version = fragment.find("zrkGraph");
        const ZRKJson only = version == fragment.end() ? ZRKJson::object() : ZRKJson{{"zrkGraph", *version}};
        DocumentWarnings warnings;
        if (const auto read = GraphDocument::parse(only.dump(), kName, warnings); !read) {
            return zrk::refused(read.error());
        }
        return checkShape(fragment).map([&] { return std::move(fragment); });
    });
}

void rebasePaths(ZRKJson& fragment, const std::filesystem::path& folder)
{
    const auto base = fragment.find("base");
    if (base == fragment.end() || !base->is_string() || base->get<std::string>() == folder.string()) {
        return;
    }
    rebaseDocument(fragment, base->get<std::string>(), folder);
}

} // namespace zrkmodel

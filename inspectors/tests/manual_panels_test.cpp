#include "inspectors/describe.h"
#include "model/document.h"
#include "model/graph_object.h"
#include "model/manual.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>

namespace zrkui {
namespace {

using zrkmodel::Manual;
using zrkmodel::ManualMember;
using zrkmodel::ManualValue;
using zrkmodel::ZRKJson;

using Names = std::set<std::string>;

/// What a panel's controls offer: ranges and choices of properties by name, kinds of geometries that are
/// picked for them, ranges of the items of lists, and choices of no property.
struct Offers {
    std::map<std::string, Names> ranges;
    std::map<std::string, Names> choices;
    std::map<std::string, std::string> geometries;
    Names rangesOfItems;
    std::set<Names> otherChoices;
};

std::string rangeText(double least, double most)
{
    std::ostringstream text;
    text.precision(15);
    text << least << " to " << most;
    return text.str();
}

void collect(const ZRKJson& node, bool isItem, Offers& offers)
{
    for (const char* part : {"children", "buttons"}) {
        for (const ZRKJson& child : node.value(part, ZRKJson::array())) {
            collect(child, isItem, offers);
        }
    }
    if (node.contains("item")) {
        collect(node["item"], true, offers);
    }
    const std::string property = node.value("property", "");
    if (node.value("widget", "") == "combo") {
        const auto items = node["items"].get<Names>();
        property.empty() ? void(offers.otherChoices.insert(items)) : void(offers.choices[property] = items);
    }
    if (node.value("widget", "") == "geometry" && !isItem) {
        const std::map<unsigned, std::string> kinds{{zrkmodel::kPointGeometry, "point"},
                                                    {zrkmodel::kCurveGeometry, "curve"},
                                                    {zrkmodel::kSurfaceGeometry, "surface"},
                                                    {zrkmodel::kAnyGeometry, ""}};
        offers.geometries[property] = kinds.at(node.value("filter", zrkmodel::kAnyGeometry));
    }
    // The limits of a gradient's editor are those of its picture.
    if (!node.contains("min") || node.value("widget", "") == "gradient") {
        return;
    }
    const std::string range = rangeText(node["min"].get<double>(), node["max"].get<double>());
    if (isItem) {
        offers.rangesOfItems.insert(range);
    } else if (!property.empty()) {
        offers.ranges[property].insert(range);
    }
}

/// What a panel calls the choices of a value: their names, or the texts that are stored.
Names choicesOf(const ManualMember& value)
{
    Names names;
    for (const auto& choice : value.choices) {
        const ZRKJson stored = ZRKJson::parse(choice.value);
        names.insert(stored.is_string() ? stored.get<std::string>() : std::string(choice.name));
    }
    return names;
}

// A property without a range or choices in its manual has none in its panel, and the other way round.
TEST(Manuals, TellWhatThePanelsOffer)
{
    for (const auto& type : zrkmodel::ZRKGraphObject::registry().entries()) {
        SCOPED_TRACE(type.className);
        const ZRKJson panel = describePanels({type.className})[type.className];
        Offers shown;
        if (!panel.is_null()) {
            collect(panel, false, shown);
        }
        const Manual& manual = zrkmodel::manualOf(type);
        for (const ManualValue& property : manual.properties) {
            const std::string name(property.key);
            if (property.kind == "geometry") {
                EXPECT_TRUE(!shown.geometries.contains(name) || shown.geometries[name] == property.range)
                    << name;
                continue;
            }
            Names told;
            if (!property.range.empty()) {
                told.emplace(property.range);
            }
            EXPECT_EQ(shown.ranges[name], told) << name;
            if (shown.choices.contains(name)) {
                EXPECT_EQ(shown.choices[name], choicesOf(property)) << name;
            }
        }
        for (const ManualValue& key : manual.storedKeys) {
            EXPECT_TRUE(key.choices.empty() || shown.otherChoices.contains(choicesOf(key))) << key.key;
            for (const ManualMember& member : key.members) {
                EXPECT_TRUE(member.range.empty() || shown.rangesOfItems.contains(std::string(member.range)))
                    << key.key << ", " << member.key;
            }
        }
    }
}

} // namespace
} // namespace zrkui

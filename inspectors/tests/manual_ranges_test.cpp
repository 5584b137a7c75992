#include "inspectors/describe.h"
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

/// The ranges that a panel's controls offer: those of properties by name, and those of the items of lists.
struct Ranges {
    std::map<std::string, std::set<std::string>> ofProperties;
    std::set<std::string> ofItems;
};

std::string rangeText(double least, double most)
{
    std::ostringstream text;
    text.precision(15);
    text << least << " to " << most;
    return text.str();
}

void collect(const ZRKJson& node, bool isItem, Ranges& ranges)
{
    for (const char* part : {"children", "buttons"}) {
        for (const ZRKJson& child : node.value(part, ZRKJson::array())) {
            collect(child, isItem, ranges);
        }
    }
    if (node.contains("item")) {
        collect(node["item"], true, ranges);
    }
    // The limits of a gradient's editor are those of its picture.
    if (!node.contains("min") || node.value("widget", "") == "gradient") {
        return;
    }
    const std::string range = rangeText(node["min"].get<double>(), node["max"].get<double>());
    if (isItem) {
        ranges.ofItems.insert(range);
    } else if (node.contains("property")) {
        ranges.ofProperties[node["property"].get<std::string>()].insert(range);
    }
}

// A property without a range in its manual has none in its panel, and the other way round.
TEST(ManualRanges, AreThoseOfThePanels)
{
    for (const auto& type : zrkmodel::ZRKGraphObject::registry().entries()) {
        SCOPED_TRACE(type.className);
        const ZRKJson panel = describePanels({type.className})[type.className];
        Ranges shown;
        collect(panel, false, shown);
        const Manual& manual = zrkmodel::manualOf(type);
        for (const ManualValue& property : manual.properties) {
            const std::string name(property.key);
            std::set<std::string> told;
            if (!property.range.empty()) {
                told.emplace(property.range);
            }
            EXPECT_EQ(shown.ofProperties[name], told) << name;
        }
        for (const ManualValue& list : manual.storedKeys) {
            for (const ManualMember& member : list.members) {
                EXPECT_TRUE(member.range.empty() || shown.ofItems.contains(std::string(member.range)))
                    << list.key << ", " << member.key;
            }
        }
    }
}

} // namespace
} // namespace zrkui

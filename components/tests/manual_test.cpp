#include "model/file_import.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/manual.h"
#include "model/property.h"
#include "model/serialization.h"

#include "testing/registered_components.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <span>
#include <string>
#include <vector>

// What the manual of a component says, against the component itself.

namespace zrkmodel {
namespace {

using Registration = ZRKGraphObjectRegistration;

class Manuals : public ::testing::TestWithParam<const Registration*> {
protected:
    const Manual& manual() const { return manualOf(*GetParam()); }
    std::shared_ptr<ZRKGraphObject> make() const { return GetParam()->factory(); }

    static ZRKJson stored(const ZRKGraphObject& object)
    {
        ZRKSerialization s;
        object.serialize(s);
        return s.root();
    }
};

std::vector<std::string> keysOf(const ZRKJson& object)
{
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) {
        keys.push_back(key);
    }
    return keys;
}

template <class Named>
std::vector<std::string> namesOf(std::span<const Named> values)
{
    std::vector<std::string> names;
    for (const Named& value : values) {
        if constexpr (requires { value.key; }) {
            names.emplace_back(value.key);
        } else {
            names.emplace_back(value.name);
        }
    }
    return names;
}

std::vector<std::string> sorted(std::vector<std::string> names)
{
    std::sort(names.begin(), names.end());
    return names;
}

/// A text of the manual that must be JSON.
ZRKJson json(std::string_view text) { return ZRKJson::parse(text); }

/// Whether a value of the manual's kind looks so in a document.
bool isOfKind(const ZRKJson& value, std::string_view kind)
{
    const auto areNumbers = [&](std::size_t count) { return value.is_array() && value.size() == count; };
    return kind == "bool"                      ? value.is_boolean()
           : kind == "int" || kind == "enum"   ? value.is_number_integer()
           : kind == "double"                  ? value.is_number()
           : kind == "vector3"                 ? areNumbers(3)
           : kind == "vector4"                 ? areNumbers(4)
           : kind == "matrix4"                 ? areNumbers(16)
           : kind == "list" || kind == "curve" ? value.is_array()
           : kind == "falloff"                 ? value.is_object()
                                               : value.is_string(); // a text, or a resource's uuid
}

/// Choices and default of a value fit its kind, and the default is among the choices and within the range.
void expectConsistent(const ManualMember& value)
{
    SCOPED_TRACE(value.key);
    EXPECT_NE(value.meaning, "");
    std::set<std::string_view> choices;
    for (const ManualChoice& choice : value.choices) {
        EXPECT_TRUE(isOfKind(json(choice.value), value.kind)) << choice.value;
        EXPECT_TRUE(choices.insert(choice.value).second) << choice.value << " stands there twice";
    }
    EXPECT_EQ(value.kind == "enum" && choices.empty(), false) << "an enum without its values";
    if (!value.defaultValue.empty()) {
        EXPECT_TRUE(isOfKind(json(value.defaultValue), value.kind)) << value.defaultValue;
        EXPECT_TRUE(choices.empty() || choices.contains(value.defaultValue)) << value.defaultValue;
    }
    if (value.kind == "geometry") {
        EXPECT_TRUE(std::set<std::string_view>({"", "point", "curve", "surface"}).contains(value.range));
    } else if (!value.range.empty() && value.kind != "list") {
        const std::string range(value.range);
        const double least = std::stod(range);
        const double most = std::stod(range.substr(range.find(" to ") + 4));
        EXPECT_LT(least, most);
        const ZRKJson byDefault = json(value.defaultValue);
        for (const ZRKJson& number : byDefault.is_array() ? byDefault : ZRKJson::array({byDefault})) {
            EXPECT_TRUE(number >= least && number <= most) << number << " isn't within " << range;
        }
    }
}

TEST_P(Manuals, TellsWhatTheTypeIs)
{
    const Registration& type = *GetParam();
    EXPECT_EQ(manual().className, type.className);
    EXPECT_EQ(manual().summary, type.strings.description);
    EXPECT_NE(manual().family, "");
    EXPECT_NE(manual().formula, "");
    EXPECT_FALSE(manual().examples.empty());
}

TEST_P(Manuals, TellsWhatAnImportTakes)
{
    const auto object = make();
    const auto* import = dynamic_cast<ZRKFileImport*>(object.get());
    EXPECT_EQ(manual().import.empty(), import == nullptr);
    std::vector<std::string> members;
    if (import) {
        members = import->importOptions();
        members.insert(members.begin(), "path");
    }
    EXPECT_EQ(namesOf(manual().importMembers), members);
    for (const ManualMember& member : manual().importMembers) {
        expectConsistent(member);
    }
}

TEST_P(Manuals, HasTheProperties)
{
    const auto object = make();
    const ZRKJson values = stored(*object);
    std::vector<std::string> names;
    for (const ZRKPropertyBase* property : object->properties()) {
        names.push_back(property->name());
    }
    ASSERT_EQ(namesOf(manual().properties), names);
    for (const ManualValue& told : manual().properties) {
        SCOPED_TRACE(told.key);
        const ZRKPropertyBase& property = *object->findProperty(std::string(told.key));
        EXPECT_EQ(told.kind, property.valueType());
        EXPECT_EQ(json(told.defaultValue), property.valueJson());
        EXPECT_EQ(told.isStored, values.contains(property.name()));
        expectConsistent(told);
    }
}

TEST_P(Manuals, HasAllKeysThatAreStored)
{
    const ZRKJson values = stored(*make());
    std::vector<std::string> told = namesOf(manual().storedKeys);
    for (const ManualValue& property : manual().properties) {
        if (property.isStored) {
            told.emplace_back(property.key);
        }
    }
    EXPECT_EQ(sorted(told), sorted(keysOf(values)));
    for (const ManualValue& key : manual().storedKeys) {
        SCOPED_TRACE(key.key);
        EXPECT_EQ(json(key.defaultValue), values.value(std::string(key.key), ZRKJson()));
        expectConsistent(key);
    }
}

/// The value with one item where it is a list, each with all members that may be stored.
ZRKJson withOneItem(const ManualValue& value, const ZRKJson& byDefault)
{
    if (!value.isList || !byDefault.empty()) {
        return value.isList ? byDefault[0] : byDefault;
    }
    ZRKJson item = ZRKJson::object();
    for (const ManualMember& member : value.members) {
        // What stands for another value where it is set, as a reference in place of a point.
        item[std::string(member.key)] = member.kind == "bool" ? ZRKJson(true) : json(member.defaultValue);
    }
    return item;
}

// The lists are read with one item, and what is stored then must be its members, with the defaults told where
// the item has none.
TEST_P(Manuals, HasTheMembersOfWhatIsStored)
{
    for (const auto& values : {manual().properties, manual().storedKeys}) {
        for (const ManualValue& value : values) {
            SCOPED_TRACE(value.key);
            for (const ManualMember& member : value.members) {
                expectConsistent(member);
            }
            const std::string key(value.key);
            const auto storedWith = [&](const ZRKJson& item) {
                const auto object = make();
                ZRKJson document = stored(*object);
                document[key] = value.isList ? ZRKJson::array({item}) : item;
                object->deserialize(ZRKDeserialization(document));
                const ZRKJson read = stored(*object)[key];
                return value.isList ? read[0] : read;
            };
            const bool isObject = value.kind == "falloff" || value.kind == "list";
            if (isObject) {
                const ZRKJson full = withOneItem(value, json(value.defaultValue));
                EXPECT_EQ(keysOf(storedWith(full)), namesOf(value.members));
                const ZRKJson empty = storedWith(ZRKJson::object());
                for (const auto& [name, byDefault] : empty.items()) {
                    const auto told = std::find_if(value.members.begin(), value.members.end(),
                                                   [&](const ManualMember& m) { return m.key == name; });
                    ASSERT_NE(told, value.members.end()) << name;
                    EXPECT_EQ(json(told->defaultValue), byDefault) << name;
                }
            } else if (value.kind == "curve") {
                const ZRKJson point = storedWith(json(value.defaultValue)[0]);
                ASSERT_EQ(point.size(), value.members.size());
                for (std::size_t i = 0; i < point.size(); ++i) {
                    EXPECT_EQ(value.members[i].key, std::to_string(i));
                    EXPECT_TRUE(isOfKind(point[i], value.members[i].kind)) << i;
                }
            } else {
                EXPECT_TRUE(value.members.empty());
            }
        }
    }
}

TEST_P(Manuals, HasThePins)
{
    const auto graph = ZRKGraph::create();
    const auto node = graph->getNodePtr(graph->addNode(make()).id());
    const auto names = [](const auto& pins) {
        std::vector<std::string> all;
        for (const auto& pin : pins) {
            all.push_back(pin.name);
        }
        return all;
    };
    EXPECT_EQ(namesOf(manual().inputs), names(node->inputs));
    EXPECT_EQ(namesOf(manual().outputs), names(node->outputs));
}

INSTANTIATE_TEST_SUITE_P(Components, Manuals, ::testing::ValuesIn(testing::registeredComponents()),
                         [](const auto& info) { return info.param->className; });

TEST(Manual, OfATypeWithoutOneIsEmpty)
{
    Registration type;
    type.className = "ZRKNobodyKnows";
    EXPECT_EQ(manualOf(type).summary, "");
    EXPECT_TRUE(manualOf(type).properties.empty());
}

} // namespace
} // namespace zrkmodel

#include "model/value_list.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zrkmodel {
namespace {

using Numbers = std::vector<double>;

/// An owner with a list, and what it has heard.
class ValueList : public ::testing::Test {
protected:
    struct Owner final : ZRKObject {
        std::vector<std::string> told;
        ZRKValueList<double> list{"numbers", this, [this](const double* replaced) {
                                      told.push_back(replaced ? "replaced " + std::to_string(int(*replaced))
                                                              : "changed");
                                  }};
    };

    Owner owner;
    nod::scoped_connection listener =
        owner.addListener([this](const ZRKEvent& event) { owner.told.push_back(event.name); });

    void read(const char* text)
    {
        const ZRKJson json = ZRKJson::parse(text);
        owner.list.deserialize(ZRKDeserialization(json));
    }
    const Numbers& values() const { return owner.list.values(); }
};

TEST_F(ValueList, TakesOneItemOrAllFromAView)
{
    struct Case {
        const char* name;
        Numbers items;
        int index;
        Numbers expected;
        const char* told = "changed";
    };
    const Case cases[] = {
        {"one: the others stay", {7, 8, 9}, 1, {1, 8, 3}, "replaced 2"},
        {"the last one", {7, 8, 9}, 2, {1, 2, 9}, "replaced 3"},
        {"no index", {7, 8, 9}, -1, {7, 8, 9}},
        {"an index beyond", {7, 8, 9}, 3, {7, 8, 9}},
        {"one more", {7, 8, 9, 10}, 1, {7, 8, 9, 10}},
        {"one less", {7, 8}, 1, {7, 8}},
        {"none", {}, 0, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        read(R"({"numbers": [1, 2, 3]})");
        owner.told.clear();
        owner.list.edit(c.items, c.index);
        EXPECT_EQ(values(), c.expected);
        EXPECT_EQ(owner.told, (std::vector<std::string>{c.told, "numbers"}));
    }
}

TEST_F(ValueList, GrowsAndShrinks)
{
    owner.list.add(1);
    owner.list.add(2);
    owner.list.add(3);
    EXPECT_EQ(values(), (Numbers{1, 2, 3}));
    owner.list.remove(1);
    EXPECT_EQ(values(), (Numbers{1, 3}));

    owner.told.clear();
    owner.list.remove(2);
    owner.list.remove(-1);
    EXPECT_EQ(values(), (Numbers{1, 3}));
    EXPECT_TRUE(owner.told.empty()) << "nothing was removed";

    owner.list.clear();
    EXPECT_TRUE(values().empty());
    EXPECT_EQ(owner.told.back(), "numbers");
}

TEST_F(ValueList, IsStoredAsAnArray)
{
    read(R"({"numbers": [1, "two", 3]})");
    EXPECT_EQ(values(), (Numbers{1, 0, 3})) << "a bad entry stays a default";
    ZRKSerialization s;
    owner.list.serialize(s);
    EXPECT_EQ(s.root().dump(), R"({"numbers":[1.0,0.0,3.0]})");
    for (const char* none : {"{}", R"({"numbers": {}})", R"({"numbers": []})"}) {
        read(R"({"numbers": [1]})");
        read(none);
        EXPECT_TRUE(values().empty()) << none;
    }
    EXPECT_EQ(std::count(owner.told.begin(), owner.told.end(), "numbers"), 0) << "reading tells no one";
}

} // namespace
} // namespace zrkmodel

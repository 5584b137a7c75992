#include "model/component.h"

#include "model/property.h"

#include <gtest/gtest.h>

namespace zrkmodel {
namespace {

/// Counts its objects, and notes what is known of it when its prototype is asked to register.
struct Counted final : ZRKComponent<Counted> {
    static inline int made = 0;
    static inline int alive = 0;
    static inline int registeredWith = 0; ///< objects alive at that moment

    Counted() { ++made, ++alive; }
    Counted(const Counted& other) : ZRKComponent(other) { ++made, ++alive; }
    Counted& operator=(const Counted&) = default;
    ~Counted() override { --alive; }

    static ComponentIdentity identity()
    {
        return {
            .className = "Counted",
            .typeName = "counted things",
            .uuid = "C0",
            .icon = icon<IconColor::Color, 0x01>("dot"),
            .strings = {"counted", "Counted", "Counts its objects.", "Tests"},
            .inputs = {Tag::Any},
            .outputs = {Tag::Color},
        };
    }
    void onTypeRegistration(ZRKTypeInfo& info) const override
    {
        registeredWith = alive;
        EXPECT_EQ(&info, &_typeInfo);
        EXPECT_EQ(info.uuid, "C0");
        EXPECT_EQ(info.name, "counted things");
        EXPECT_TRUE(info.factory);
        EXPECT_EQ(ZRKTypeInfo::find("C0", "counted things"), nullptr) << "the type table comes last";
        ZRKComponent::onTypeRegistration(info);
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override { return {}; }
};

TEST(ComponentRegistration, MakesOnePrototypeAndEntersWhatTheClassStates)
{
    ASSERT_EQ(Counted::made, 0);
    Counted::registerType();
    EXPECT_EQ(Counted::made, 1);
    EXPECT_EQ(Counted::registeredWith, 1);
    EXPECT_EQ(Counted::alive, 0);

    const auto* entry = ZRKGraphObject::registry().find("C0", "counted things");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->className, "Counted");
    EXPECT_EQ(entry->signature.inputs, std::vector<Tag>{Tag::Any});
    EXPECT_EQ(entry->signature.outputs, std::vector<Tag>{Tag::Color});
    EXPECT_EQ(IconResources::find("dot"), entry->iconResource.pixels);
    EXPECT_STREQ(ZRKUIStrings::find("counted").title, "Counted");
    ASSERT_NE(ZRKTypeInfo::find("C0", "counted things"), nullptr);
    EXPECT_EQ(Counted::made, 1) << "asking makes no object";

    // Two objects of the registry's factory have one type info.
    EXPECT_EQ(&entry->factory()->typeInfo(), &entry->factory()->typeInfo());
    EXPECT_EQ(&entry->factory()->typeInfo(), &Counted::_typeInfo);
}

// What `_typeInfo` in another shared library comes to, where functions of templates are copies.
TEST(TypeInfoOfClass, IsTheFirstOneForAllThatAskLater)
{
    struct Class {};
    const ZRKTypeInfo& first = ZRKTypeInfo::ofClass(typeid(Class), [] {
        return ZRKTypeInfo{"A", "first", nullptr};
    });
    const ZRKTypeInfo& second = ZRKTypeInfo::ofClass(typeid(Class), [] {
        return ZRKTypeInfo{"A", "second", nullptr};
    });
    EXPECT_EQ(&first, &second);
    EXPECT_EQ(second.name, "first");
}

} // namespace
} // namespace zrkmodel

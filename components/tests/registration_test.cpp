#include "components/registration.h"

#include "model/graph_object.h"
#include "model/registry.h"
#include "model/type_info.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace zrkmodel {
namespace {

const ComponentEntry& entryOf(const std::string& className)
{
    const auto& all = allComponents();
    return *std::find_if(all.begin(), all.end(),
                         [&](const ComponentEntry& e) { return e.className == className; });
}

TEST(Registration, ListsTheTypesInTheOrderThatTheRegistryHas)
{
    ASSERT_EQ(allComponents().size(), 48u);
    EXPECT_EQ(allComponents().front().className, "ZRKSphereUVW");
    EXPECT_EQ(allComponents().back().className, "ZRKCurveLength");
    std::vector<std::string> listed;
    std::set<std::string> classes;
    for (const ComponentEntry& entry : allComponents()) {
        classes.insert(entry.className);
        listed.push_back(entry.className);
    }
    EXPECT_EQ(classes.size(), 48u);
    std::vector<std::string> registered;
    for (const auto& registration : ZRKGraphObject::registry().entries()) {
        registered.push_back(registration.className);
    }
    EXPECT_EQ(registered, listed);
}

// Saved documents carry these; nobody may repair them.
TEST(Registration, KeepsTheOddIdentities)
{
    EXPECT_EQ(entryOf("ZRKNormalizeVec3").uuid, entryOf("ZRKColorFromVec3").uuid);
    EXPECT_EQ(entryOf("ZRKInvert").typeName, entryOf("ZRKLevelsetIsoValue").typeName);
    EXPECT_NE(entryOf("ZRKInvert").uuid, entryOf("ZRKLevelsetIsoValue").uuid);
    EXPECT_EQ(entryOf("ZRK2DImageExtrude").typeName, entryOf("ZRK3DImage").typeName);
    EXPECT_EQ(entryOf("ZRKBeamSDF").uuid, "ebd8fcf-fbf7-48e6-a881-41dabd05dce8");
    EXPECT_EQ(entryOf("ZRKMask").typeName, "mask");
    EXPECT_EQ(entryOf("ZRKMultipoleUVW").typeName, "Multipole UVW");
    EXPECT_EQ(entryOf("ZRKBinaryOperator").inputs, std::vector<Tag>{Tag::Any}); // though it has two pins
}

TEST(Registration, EveryTypeIsFoundByItsPairAndMakesItsClass)
{
    for (const ComponentEntry& entry : allComponents()) {
        SCOPED_TRACE(entry.className);
        const auto* registration = ZRKGraphObject::registry().find(entry.uuid, entry.typeName);
        ASSERT_NE(registration, nullptr);
        EXPECT_EQ(registration->className, entry.className);
        EXPECT_EQ(registration->signature.inputs, entry.inputs);
        EXPECT_EQ(registration->signature.outputs, entry.outputs);
        const ZRKTypeInfo* info = ZRKTypeInfo::find(entry.uuid, entry.typeName);
        ASSERT_NE(info, nullptr);
        const ZRKJson nothing = ZRKJson::object();
        const auto made = info->factory(ZRKDeserialization(nothing));
        EXPECT_EQ(&made->typeInfo(), &registration->factory()->typeInfo());
        EXPECT_EQ(made->typeInfo().uuid, entry.uuid);
    }
}

} // namespace
} // namespace zrkmodel

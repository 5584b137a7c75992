#include "model/geometry.h"
#include "model/graph_object.h"
#include "model/panel_table.h"
#include "model/property_pack.h"
#include "model/registry.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zrkmodel {
namespace {

struct Alpha : ZRKGraphObject {
    ZRKProperty<double> size{"size", 1.0, this};
    ZRKProperty<std::shared_ptr<ZRKImage2d>> image{"image", nullptr, this};
    ZRKProperty<bool> wrap{"wrap", true, this};
};
struct Beta : ZRKGraphObject {};

template <class Object>
ZRKGraphObjectRegistration* enter(ZRKGraphObjectRegistry& registry, const char* uuid, const char* name)
{
    ZRKTypeInfo info;
    info.uuid = uuid;
    info.name = name;
    return registry.add(
        info, {{Tag::Any}, {Tag::Scalar}}, [] { return std::make_shared<Object>(); }, {}, ZRKIcon());
}

TEST(Registry, AcceptsDuplicatesAndTellsThemApartByThePair)
{
    ZRKGraphObjectRegistry registry;
    enter<Alpha>(registry, "AA-1", "same")->className = "Alpha";
    enter<Beta>(registry, "BB-2", "same")->className = "Beta";
    enter<Beta>(registry, "aa-1", "other");
    ASSERT_EQ(registry.entries().size(), 3u);
    EXPECT_EQ(registry.findByName("same").size(), 2u);
    EXPECT_EQ(registry.findByUuid("Aa-1").size(), 2u);
    EXPECT_EQ(registry.find("aa-1", "same")->className, "Alpha");
    EXPECT_EQ(registry.find("BB-2", "same")->className, "Beta");
    EXPECT_EQ(registry.find("AA-1", "other"), &registry.entries()[2]);
    EXPECT_EQ(registry.find("BB-2", "other"), nullptr);
    EXPECT_EQ(registry.findByName("Same").size(), 0u);
    EXPECT_EQ(registry.findByClass("Beta"), &registry.entries()[1]);
    EXPECT_EQ(registry.entries()[2].info.uuid, "aa-1"); // as given
    EXPECT_EQ(registry.entries()[2].className, "");     // nobody stated one
    EXPECT_TRUE(std::dynamic_pointer_cast<Alpha>(registry.entries()[0].factory()));
}

TEST(TypeInfo, TableIsSearchedLikeTheRegistry)
{
    ZRKTypeInfo::registerType({"Test-1", "twin", nullptr});
    ZRKTypeInfo::registerType({"Test-2", "twin", nullptr});
    EXPECT_EQ(ZRKTypeInfo::findByName("twin").size(), 2u);
    EXPECT_EQ(ZRKTypeInfo::findByUuid("TEST-2").size(), 1u);
    EXPECT_EQ(ZRKTypeInfo::find("test-2", "twin")->uuid, "Test-2");
    EXPECT_EQ(ZRKTypeInfo::find("test-2", "single"), nullptr);
}

TEST(Icons, AreDrawnFromTheirBitmaps)
{
    // A ring: transparent in the middle, opaque blue beside it.
    constexpr IconResource kRing = icon<IconColor::Vector, 0x3C7EFFE7E7FF7E3C>("ring");
    const ZRKIcon::Image image = ZRKIcon::create(kRing.pixels);
    EXPECT_EQ(image.dims[0], 16);
    EXPECT_EQ(image.dims[1], 16);
    const auto pixel = [&](int i, int j) { return &image.data[static_cast<std::size_t>(4 * (i + 16 * j))]; };
    EXPECT_EQ(pixel(7, 7)[3], 0);
    EXPECT_EQ(pixel(3, 7)[3], 0xFF);
    EXPECT_GT(pixel(3, 7)[2], pixel(3, 7)[0]);
    // Rows from the top, columns from the left: only the first pixel of the first row.
    const ZRKIcon::Image corner =
        ZRKIcon::create(icon<IconColor::Scalar, 0x8000000000000000>("corner").pixels);
    EXPECT_EQ(std::count(corner.data.begin(), corner.data.end(), 0xFF), 4);
    EXPECT_EQ(corner.data[3], 0xFF);
}

TEST(PropertyPack, DescribesThePropertiesThatHaveAnEntry)
{
    const auto alpha = std::make_shared<Alpha>();
    ZRKDynamicPropertyPack pack(alpha);
    alpha->getProperties(pack);
    ASSERT_EQ(pack.entries().size(), 2u);
    EXPECT_EQ(std::get<ZRKPDouble>(pack.entries()[0]).property, &alpha->size);
    EXPECT_FALSE(std::get<ZRKPDouble>(pack.entries()[0]).ranged);
    EXPECT_EQ(std::get<ZRKPBool>(pack.entries()[1]).property, &alpha->wrap);
    pack.add(alpha->size, 0.0, 2.0, true);
    EXPECT_EQ(std::get<ZRKPDouble>(pack.entries()[2]).max, 2.0);
}

TEST(Panels, AreFoundByClassAndOptional)
{
    int shown = 0;
    zrkui::ZRKPanelTable table;
    table.add<Alpha>(
        [&](Alpha& alpha, auto&, const auto&) { shown += static_cast<int>(alpha.size.value()); });
    EXPECT_TRUE(table.find(typeid(Alpha)));
    EXPECT_FALSE(table.find(typeid(Beta)));
    Beta beta;
    EXPECT_TRUE(beta.onInspection(nullptr, {})); // no panel: adds nothing, and says it is done
}

} // namespace
} // namespace zrkmodel

#include "apps/workbench/look/families.h"

#include "model/categories.h"
#include "model/manual.h"

#include <string_view>
#include <utility>

namespace zrkworkbench {

using zrkmodel::Tag;
using Role = zrkui::ZRKCSSStyle::Role;

namespace {

constexpr Family kFamilies[] = {
    {"primitives", "Primitives", Role::familyPrimitives},
    {"patterns", "Patterns", Role::familyPatterns},
    {"coordinates", "Coordinates", Role::familyCoordinates},
    {"transforms", "Transforms", Role::familyTransforms},
    {"operators", "Operators", Role::familyOperators},
    {"mesh", "Meshes", Role::familyMesh},
    {"raster", "Rasters", Role::familyRaster},
    {"transport", "Transport", Role::familyTransport},
};

constexpr std::pair<const char*, const char*> kFamilyOfCategory[] = {
    {zrkmodel::category::kPrimitives, "primitives"},
    {zrkmodel::category::kPatterns, "patterns"},
    {zrkmodel::category::kCoordinates, "coordinates"},
    {zrkmodel::category::kTransforms, "transforms"},
    {zrkmodel::category::kVectors, "transforms"},
    {zrkmodel::category::kOperators, "operators"},
    {zrkmodel::category::kMesh, "mesh"},
    {zrkmodel::category::kImages, "raster"},
};

const Family* familyByKey(std::string_view key)
{
    for (const Family& family : kFamilies) {
        if (key == family.key) {
            return &family;
        }
    }
    return nullptr;
}

} // namespace

std::span<const Family> families() { return kFamilies; }

const Family& familyOf(const zrkmodel::ZRKGraphObjectRegistration& type)
{
    if (const Family* family = familyByKey(zrkmodel::manualOf(type).family)) {
        return *family;
    }
    for (const auto& [category, key] : kFamilyOfCategory) {
        if (std::string_view(type.strings.category) == category) {
            return *familyByKey(key);
        }
    }
    return *familyByKey("operators");
}

const Family& familyOf(const zrkmodel::ZRKGraphObjectRegistration* type)
{
    return type ? familyOf(*type) : *familyByKey("operators");
}

QString iconNameOf(const zrkmodel::ZRKGraphObjectRegistration* type)
{
    return type ? QString::fromStdString(type->className) : QString();
}

Role roleOf(Tag tag)
{
    return tag == Tag::Scalar     ? Role::tagScalar
           : tag == Tag::Vector3d ? Role::tagVector
           : tag == Tag::Color    ? Role::tagColor
                                  : Role::tagNone;
}

QString nameOf(Tag tag)
{
    return tag == Tag::Scalar     ? "scalar"
           : tag == Tag::Vector3d ? "vector"
           : tag == Tag::Color    ? "colour"
                                  : "any";
}

} // namespace zrkworkbench

#include "components/registration.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/pins.h"
#include "model/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <typeinfo>
#include <variant>

// What saved documents and hosts know each component by. Documents carry these texts, odd ones included, so a
// row is never edited, only added: at the place that the class has in components/registration.cpp.

namespace zrkmodel {
namespace {

/// A pin is "name:Tag", an input that passes positions through "name:Tag:Coordinates", one with a default
/// "name:Tag=1". Names may be empty.
struct Row {
    const char* className;
    const char* typeName;
    const char* uuid;
    const char* icon;
    const char* strings;
    const char* signature; ///< registered, which need not be that of the pins
    const char* pins;
};

// clang-format off
const Row kRows[] = {
    {"ZRKSphereUVW", "ZRKSphereUVW", "65FE6E5A-E3F7-4C12-89E7-3B899AEDA5B4", "uvw_sphere", "spherical_coordinates", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKTorusUVW", "ZRKTorusUVW", "B1360CF0-36E7-4B0E-9A94-6814A5137397", "uvw_torus", "toroidal_coordinates", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKCylinderUVW", "CylinderUVW", "98790207-7A9E-47EF-B7CB-A9676CDBEF08", "uvw_cylinder", "cylindrical_coordinates", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKRasterFX", "RasterFX", "245E6576-8E77-4C71-8AC3-5D25D92F40BA", "", "image_rasterFX", "Scalar -> Scalar", ":Scalar -> :Scalar"},
    {"ZRKVector3SplitComponents", "Vector3SplitComponents", "FFC2A888-571E-415E-A0B7-1287877D793C", "uvw_x_split", "split_vector", "Vector3d -> Scalar", "coords:Vector3d -> x:Scalar y:Scalar z:Scalar"},
    {"ZRKRGBASplitComponents", "RGBASplitComponents", "5C9C3D16-3A8E-4307-B13A-75D9C11CF3A6", "rgb_x_split", "split_color", "Color -> Scalar", "color:Color -> red:Scalar green:Scalar blue:Scalar alpha:Scalar"},
    {"ZRKQuantizeTransform", "QuantizeTransform", "115C2121-9BF9-416D-A8D4-51CE55819748", "uvw_x_quantize", "voxelate", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKTwistTransform", "TwistTransform", "C84CB689-1D93-4026-BBAE-3D6B2F5F29F4", "uvw_x_twist", "twist", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKBendTransform", "BendTransform", "56344C70-CEF0-4CF9-89FB-80A636B9C76C", "uvw_x_bend", "bend", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKNormalizeVec3", "NormalizeVec3", "031925FC-C101-4C3E-A80D-0D0F3AB4E05E", "uvw_x_vector_normalize", "normalize_vector", "Vector3d -> Vector3d", "coords:Vector3d -> |coords|:Vector3d"},
    {"ZRKNormVec3", "NormVec3", "8436CEDC-2A2B-4F7A-A41D-B82B8428CA91", "uvw_x_vector_norm", "norm_of_vector", "Vector3d -> Scalar", "coords:Vector3d -> norm:Scalar"},
    {"ZRKColorFromVec3", "ColorFromVec3", "031925FC-C101-4C3E-A80D-0D0F3AB4E05E", "rgb_x_from_uvw", "color_from_vector", "Vector3d -> Color", "rgb:Vector3d alpha:Scalar=1 -> color:Color"},
    {"ZRKPositionVec3", "PositionVec3", "268591C2-C91D-4B9A-B498-9F0A3C917785", "uvw_coord_system", "coordinate_system", "-> Vector3d", "-> coords:Vector3d"},
    {"ZRKMask", "mask", "4B550F53-36E0-44FE-A3AE-6794BD09FFF0", "comp_x_mask", "apply_mask", "Any -> Any", "f:Any mask:Scalar -> masked(f):Any"},
    {"ZRKBinaryOperator", "BinaryOperator", "FD99F113-273B-43E6-8A40-D978F004230E", "comp_x_binary_operator", "binary_operator", "Any -> Any", "a:Any b:Any -> a<>b:Any"},
    {"ZRKMultiply", "Multiply", "CD969AF7-D5C0-40A0-B03C-A59C0E3BA1F4", "comp_x_multiply_scalar", "multiply_with_scalar", "Any -> Any", "a:Any b:Scalar=1 -> a*b:Any"},
    {"ZRKMatrixTransform", "MatrixTransform", "A85E7973-181A-4891-9D5E-395A0E24F73B", "uvw_x_affine", "matrix_transformation", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKMeshSDF", "MeshSDF", "BC569064-23FF-426D-8301-9C92F9913E33", "sc_sdf_sphere", "mesh_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKMultipoleUVW", "Multipole UVW", "DD3B8046-432A-40DC-864C-C70DF0E6E0EC", "uvw_multipole", "multipole_coordinates", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKPatternDesigner", "PatternDesigner", "AE4FDE65-6F8E-4F44-B786-0C3F41F584FF", "pattern_waves", "periodic_wave_pattern", "-> Scalar", "-> density:Scalar"},
    {"ZRKSphereSDF", "SphereSDF", "6E8C3D87-C1B8-4F58-A88A-E8E774076AFF", "sc_sdf_sphere", "sphere_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKBoxSDF", "BoxSDF", "643A5F35-7A73-481F-8D10-DACAA3EF38AB", "sc_sdf_box", "box_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKPlaneSDF", "PlaneSDF", "70E951B9-FC76-416E-9A80-B6A070DC68F3", "sc_sdf_plane", "plane_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKTorusSDF", "TorusSDF", "890BF42A-366D-47B9-BE62-4007C09F9710", "sc_sdf_torus", "torus_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKCylinderSDF", "CylinderSDF", "30011FD2-A3B6-4C43-A917-5F5D83C4F37A", "sc_sdf_cylinder", "cylinder_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKPipeSDF", "PipeSDF", "5F0E65B0-DAE5-4B6A-A475-2471D28D1D08", "sc_sdf_curve", "pipe_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKGyroid", "Gyroid", "D5364AB6-2EC3-4FDD-93B9-A8EDA9026EC8", "pattern_gyroid", "gyroid_pattern", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> density:Scalar"},
    {"ZRKCross", "Cross", "E22BE999-A552-4034-ADA4-2DB5E2AF90C7", "pattern_cross", "tricross_pattern", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> density:Scalar"},
    {"ZRKCurveUVW", "Curve UVW", "BEF9FB2E-3341-45CA-A705-8095C01BAE92", "uvw_curve2", "curve_coordinates", "-> Vector3d", "-> coords:Vector3d"},
    {"ZRKGradDerivative", "GradDerivative", "DEB32B4F-6A7B-490A-A25C-2F026CDFF30C", "uvw_x_vector_Dgradient", "derivative_gradient", "Scalar -> Vector3d", ":Scalar -> grad:Vector3d"},
    {"ZRKFaceUVW", "Face UVW", "C68B78B3-58D5-4CBB-A5AE-D944CC69D379", "uvw_surface", "surface_coordinates", "-> Vector3d", "-> coords:Vector3d"},
    {"ZRKShell", "Shell", "B00F743F-1B53-4430-BB0D-8C729EBC099B", "sc_x_shell", "shell", "Scalar -> Scalar", "sdf:Scalar offset:Scalar=1 thickness:Scalar=1 -> sdf:Scalar"},
    {"ZRKFallOff", "FallOff", "2D1DEAEA-8E22-4856-8261-07E67671B5C7", "sc_x_falloff", "falloff_gradient", "Scalar -> Scalar", "sdf:Scalar -> :Scalar"},
    {"ZRKInvert", "Invert", "BD624C1E-A801-44C6-954A-14A44BE779BB", "sc_x_invert", "invert", "Scalar -> Scalar", ":Scalar -> :Scalar"},
    {"ZRKLevelsetIsoValue", "Invert", "A72F2EDE-422B-487F-8CBB-4642CA90A7E7", "sc_x_levelset_from_density", "density_to_levelset", "Scalar -> Scalar", "density:Scalar -> sdf:Scalar"},
    {"ZRKGeometryBlend", "geometry blend", "B4E613F3-592C-4214-B323-15644932F6AC", "sc_geometry_blend", "geometry_blend", "-> Scalar", "coords:Vector3d:Coordinates -> density:Scalar"},
    {"ZRKScalarImageSampler", "ScalarImageSampler", "F47194BC-F7C9-458D-A8EF-9E38169F3A2B", "sc_image2d", "scalar_image", "Any -> Scalar", "coords:Vector3d:Coordinates -> :Scalar"},
    {"ZRKVector3ImageSampler", "Vector3ImageSampler", "78EC2DBE-A2C0-4F50-8902-0122395634FC", "uvw_image2d", "vector_image", "Any -> Vector3d", "coords:Vector3d:Coordinates -> :Vector3d"},
    {"ZRKRGBAImageSampler", "RGBAImageSampler", "B9893F8A-2F45-42B1-B94B-870AE0D8ED0C", "rgb_image2d", "color_image", "Any -> Color", "coords:Vector3d:Coordinates -> :Color"},
    {"ZRKImageSweep", "ImageSweep", "FA437C86-7ABF-4B30-9085-270ADB6606B6", "sc_image_sweep", "image_blend_sweep", "-> Scalar", "coords:Vector3d:Coordinates -> :Scalar"},
    {"ZRK2DImageExtrude", "2DImageExtrude", "11CAA672-4ABD-4161-9BBB-AB3D24FD3B81", "sc_image_extrude", "image_triaxial_blend", "-> Scalar", "coords:Vector3d:Coordinates -> :Scalar"},
    {"ZRK3DImage", "2DImageExtrude", "494094F4-A6E5-4388-980F-7CEE65934F97", "sc_image3d", "image_volume", "-> Scalar", "coords:Vector3d:Coordinates -> :Scalar"},
    {"ZRKAffineTransform", "AffineTransform", "527CC3B7-95C3-44FC-93BC-E1888B31DDD5", "uvw_x_affine2", "basic_transformation", "Vector3d -> Vector3d", "coords:Vector3d:Coordinates -> coords:Vector3d"},
    {"ZRKApplyTransform", "ApplyTransform", "AB6F6413-0642-4CEE-9880-BBFDE9019667", "uvw_x_apply_instance", "apply_transformation", "Vector3d Any -> Vector3d", "coords:Vector3d :Any -> :Any"},
    {"ZRKBeamSDF", "BeamSDF", "ebd8fcf-fbf7-48e6-a881-41dabd05dce8", "sc_sdf_beam", "beam_sdf", "Vector3d -> Scalar", "coords:Vector3d:Coordinates -> sdf:Scalar"},
    {"ZRKVector3CombineComponents", "Vector3CombineComponents", "7CF3D8F6-00BD-411A-A6A3-63675F96231C", "uvw_x_assemble", "assemble_vector", "Scalar -> Vector3d", "x:Scalar y:Scalar z:Scalar -> :Vector3d"},
    {"ZRKRGBACombineComponents", "RGBACombineComponents", "71DA975C-E73E-4252-8409-691DEF5031A4", "rgb_x_assemble", "assemble_color", "Scalar -> Color", "red:Scalar green:Scalar blue:Scalar alpha:Scalar -> :Color"},
    {"ZRKCurveLength", "Curve Length", "659C17DF-6560-4ADD-B4D3-0378730CE97F", "sc_curve_gradient", "curve_length_gradient", "-> Scalar", "-> density:Scalar"},
};
// clang-format on

std::string textOf(const ZRKGraphObjectSignature& signature)
{
    std::string text;
    for (const Tag tag : signature.inputs) {
        text += std::string(tag.name()) + " ";
    }
    text += "->";
    for (const Tag tag : signature.outputs) {
        text += std::string(" ") + tag.name();
    }
    return text;
}

std::string textOf(const ZRKGraphPin& pin)
{
    std::ostringstream text;
    text << pin.name << ":" << pin.tag.name();
    if (pin.opt == ZRKPinOpt::Coordinates) {
        text << ":Coordinates";
    } else if (pin.opt == ZRKPinOpt::DefaultValue) {
        text << "=" << pin.defaultValue.components[0];
    }
    return text.str();
}

std::string pinsOf(const ZRKGraphObjectRegistration& registration)
{
    const auto graph = ZRKGraph::create();
    const ZRKGraph::Node node = graph->addNode(registration.factory());
    std::string text;
    for (const ZRKGraphPin& pin : node.record()->inputs) {
        text += textOf(pin) + " ";
    }
    text += "->";
    for (const ZRKGraphPin& pin : node.record()->outputs) {
        text += " " + textOf(pin);
    }
    return text;
}

TEST(Identity, IsWhatDocumentsAndHostsKnow)
{
    ZRKGraphComponentsInit::initializeModule();
    const auto& entries = ZRKGraphObject::registry().entries();
    ASSERT_EQ(entries.size(), std::size(kRows)) << "a component needs a row in this file's table";
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Row& row = kRows[i];
        const ZRKGraphObjectRegistration& entry = entries[i];
        SCOPED_TRACE(row.className);
        EXPECT_EQ(entry.className, row.className);
        EXPECT_EQ(entry.info.name, row.typeName);
        EXPECT_EQ(entry.info.uuid, row.uuid);
        EXPECT_STREQ(entry.iconResource.name, row.icon);
        EXPECT_STREQ(entry.strings.key, row.strings);
        EXPECT_EQ(textOf(entry.signature), row.signature);
        EXPECT_EQ(pinsOf(entry), row.pins);
    }
}

// A class name in one identity, copied from another, would make a document's node another class.
TEST(Identity, NamesTheClassThatTheFactoryMakes)
{
    for (const ZRKGraphObjectRegistration& entry : ZRKGraphObject::registry().entries()) {
        const auto made = entry.factory();
        const auto& object = *made;
        // A mangled name holds the class name behind its length.
        EXPECT_THAT(typeid(object).name(),
                    ::testing::HasSubstr(std::to_string(entry.className.size()) + entry.className));
    }
}

TEST(Identity, IsTheSameInTheRegistryAndInTheTypeTable)
{
    for (const ZRKGraphObjectRegistration& entry : ZRKGraphObject::registry().entries()) {
        SCOPED_TRACE(entry.className);
        EXPECT_EQ(ZRKGraphObject::registry().find(entry.info.uuid, entry.info.name), &entry);
        const ZRKTypeInfo* info = ZRKTypeInfo::find(entry.info.uuid, entry.info.name);
        ASSERT_NE(info, nullptr);
        const ZRKJson nothing = ZRKJson::object();
        const auto made = info->factory(ZRKDeserialization(nothing));
        EXPECT_EQ(&made->typeInfo(), &entry.factory()->typeInfo());
        EXPECT_EQ(made->typeInfo().uuid, entry.info.uuid);
    }
}

TEST(Identity, SharesThePixelsOfIconsThatShareAName)
{
    std::set<const unsigned int*> pixels;
    std::set<std::string> names;
    for (const ZRKGraphObjectRegistration& entry : ZRKGraphObject::registry().entries()) {
        SCOPED_TRACE(entry.className);
        const IconResource& icon = entry.iconResource;
        EXPECT_EQ(IconResources::find(icon.name), icon.pixels);
        ASSERT_EQ(icon.pixels == nullptr, std::string(icon.name).empty());
        if (icon.pixels) {
            pixels.insert(icon.pixels);
            names.insert(icon.name);
            EXPECT_EQ(std::get<ZRKIcon::Image>(entry.icon.source).data, ZRKIcon::create(icon.pixels).data);
        }
    }
    EXPECT_EQ(pixels.size(), names.size()) << "two names of one picture";
    EXPECT_EQ(IconResources::find("sc_sdf_Sphere"), nullptr);
}

TEST(Identity, GivesEachTypeTextsOfItsOwn)
{
    std::set<std::string> keys;
    std::set<std::string> titles;
    const auto& entries = ZRKGraphObject::registry().entries();
    for (const ZRKGraphObjectRegistration& entry : entries) {
        SCOPED_TRACE(entry.className);
        const ZRKUIStrings::info_t found = ZRKUIStrings::find(entry.strings.key);
        EXPECT_STREQ(found.title, entry.strings.title);
        EXPECT_STRNE(found.category, "");
        EXPECT_EQ(std::string(found.description).back(), '.');
        keys.insert(entry.strings.key);
        titles.insert(entry.strings.title);
    }
    EXPECT_EQ(keys.size(), entries.size());
    EXPECT_EQ(titles.size(), entries.size());
    EXPECT_STREQ(ZRKUIStrings::find("none of them").title, "");
}

} // namespace
} // namespace zrkmodel

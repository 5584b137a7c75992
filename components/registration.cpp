#include "components/registration.h"

#include "coordinates/curve_length.h"
#include "coordinates/curve_uvw.h"
#include "coordinates/face_uvw.h"
#include "frame/host/component.h"
#include "operators/binary_operator.h"
#include "operators/falloff.h"
#include "operators/geometry_blend.h"
#include "operators/invert.h"
#include "operators/levelset_iso_value.h"
#include "operators/mask.h"
#include "operators/multiply.h"
#include "operators/shell.h"
#include "patterns/cross.h"
#include "patterns/gyroid.h"
#include "primitives/box_sdf.h"
#include "primitives/cylinder_sdf.h"
#include "primitives/pipe_sdf.h"
#include "primitives/plane_sdf.h"
#include "primitives/sphere_sdf.h"
#include "primitives/torus_sdf.h"
#include "transforms/bend_transform.h"
#include "transforms/quantize_transform.h"
#include "transforms/twist_transform.h"

namespace zrkmodel {

namespace {

template <class Component>
ComponentEntry built()
{
    const ComponentIdentity self = Component::identity();
    return {self.className, self.typeName, self.uuid, self.inputs, self.outputs, &Component::registerType};
}

ComponentEntry planned(const char* className, const char* typeName, const char* uuid, std::vector<Tag> inputs,
                       std::vector<Tag> outputs)
{
    return {className, typeName, uuid, std::move(inputs), std::move(outputs), nullptr};
}

/// Registers all classes when the library is loaded. The order of the list is the order of the registry.
const bool registered = [] {
    for (const ComponentEntry& entry : allComponents()) {
        if (entry.isBuilt()) {
            entry.registerType();
        }
    }
    return true;
}();

} // namespace

// clang-format off
const std::vector<ComponentEntry>& allComponents()
{
    static const std::vector<ComponentEntry> components{
        planned("ZRKSphereUVW", "ZRKSphereUVW", "65FE6E5A-E3F7-4C12-89E7-3B899AEDA5B4", {Tag::Vector3d}, {Tag::Vector3d}),
        planned("ZRKTorusUVW", "ZRKTorusUVW", "B1360CF0-36E7-4B0E-9A94-6814A5137397", {Tag::Vector3d}, {Tag::Vector3d}),
        planned("ZRKCylinderUVW", "CylinderUVW", "98790207-7A9E-47EF-B7CB-A9676CDBEF08", {Tag::Vector3d}, {Tag::Vector3d}),
        planned("ZRKRasterFX", "RasterFX", "245E6576-8E77-4C71-8AC3-5D25D92F40BA", {Tag::Scalar}, {Tag::Scalar}),
        planned("ZRKVector3SplitComponents", "Vector3SplitComponents", "FFC2A888-571E-415E-A0B7-1287877D793C", {Tag::Vector3d}, {Tag::Scalar}),
        planned("ZRKRGBASplitComponents", "RGBASplitComponents", "5C9C3D16-3A8E-4307-B13A-75D9C11CF3A6", {Tag::Color}, {Tag::Scalar}),
        built<ZRKQuantizeTransform>(),
        built<ZRKTwistTransform>(),
        built<ZRKBendTransform>(),
        planned("ZRKNormalizeVec3", "NormalizeVec3", "031925FC-C101-4C3E-A80D-0D0F3AB4E05E", {Tag::Vector3d}, {Tag::Vector3d}),
        planned("ZRKNormVec3", "NormVec3", "8436CEDC-2A2B-4F7A-A41D-B82B8428CA91", {Tag::Vector3d}, {Tag::Scalar}),
        // The UUID of ZRKNormalizeVec3 once more: saved documents carry it.
        planned("ZRKColorFromVec3", "ColorFromVec3", "031925FC-C101-4C3E-A80D-0D0F3AB4E05E", {Tag::Vector3d}, {Tag::Color}),
        planned("ZRKPositionVec3", "PositionVec3", "268591C2-C91D-4B9A-B498-9F0A3C917785", {}, {Tag::Vector3d}),
        built<ZRKMask>(),
        built<ZRKBinaryOperator>(),
        built<ZRKMultiply>(),
        planned("ZRKMatrixTransform", "MatrixTransform", "A85E7973-181A-4891-9D5E-395A0E24F73B", {Tag::Vector3d}, {Tag::Vector3d}),
        planned("ZRKMeshSDF", "MeshSDF", "BC569064-23FF-426D-8301-9C92F9913E33", {Tag::Vector3d}, {Tag::Scalar}),
        planned("ZRKMultipoleUVW", "Multipole UVW", "DD3B8046-432A-40DC-864C-C70DF0E6E0EC", {Tag::Vector3d}, {Tag::Vector3d}),
        planned("ZRKPatternDesigner", "PatternDesigner", "AE4FDE65-6F8E-4F44-B786-0C3F41F584FF", {}, {Tag::Scalar}),
        built<ZRKSphereSDF>(),
        built<ZRKBoxSDF>(),
        built<ZRKPlaneSDF>(),
        built<ZRKTorusSDF>(),
        built<ZRKCylinderSDF>(),
        built<ZRKPipeSDF>(),
        built<ZRKGyroid>(),
        built<ZRKCross>(),
        built<ZRKCurveUVW>(),
        planned("ZRKGradDerivative", "GradDerivative", "DEB32B4F-6A7B-490A-A25C-2F026CDFF30C", {Tag::Scalar}, {Tag::Vector3d}),
        built<ZRKFaceUVW>(),
        built<ZRKShell>(),
        built<ZRKFallOff>(),
        built<ZRKInvert>(),
        // The type name of ZRKInvert once more.
        built<ZRKLevelsetIsoValue>(),
        built<ZRKGeometryBlend>(),
        planned("ZRKScalarImageSampler", "ScalarImageSampler", "F47194BC-F7C9-458D-A8EF-9E38169F3A2B", {Tag::Any}, {Tag::Scalar}),
        planned("ZRKVector3ImageSampler", "Vector3ImageSampler", "78EC2DBE-A2C0-4F50-8902-0122395634FC", {Tag::Any}, {Tag::Vector3d}),
        planned("ZRKRGBAImageSampler", "RGBAImageSampler", "B9893F8A-2F45-42B1-B94B-870AE0D8ED0C", {Tag::Any}, {Tag::Color}),
        planned("ZRKImageSweep", "ImageSweep", "FA437C86-7ABF-4B30-9085-270ADB6606B6", {}, {Tag::Scalar}),
        planned("ZRK2DImageExtrude", "2DImageExtrude", "11CAA672-4ABD-4161-9BBB-AB3D24FD3B81", {}, {Tag::Scalar}),
        // The type name of ZRK2DImageExtrude once more.
        planned("ZRK3DImage", "2DImageExtrude", "494094F4-A6E5-4388-980F-7CEE65934F97", {}, {Tag::Scalar}),
        planned("ZRKAffineTransform", "AffineTransform", "527CC3B7-95C3-44FC-93BC-E1888B31DDD5", {Tag::Vector3d}, {Tag::Vector3d}),
        planned("ZRKApplyTransform", "ApplyTransform", "AB6F6413-0642-4CEE-9880-BBFDE9019667", {Tag::Vector3d, Tag::Any}, {Tag::Vector3d}),
        // 35 characters, the first group one short: kept as documents have it.
        planned("ZRKBeamSDF", "BeamSDF", "ebd8fcf-fbf7-48e6-a881-41dabd05dce8", {Tag::Vector3d}, {Tag::Scalar}),
        planned("ZRKVector3CombineComponents", "Vector3CombineComponents", "7CF3D8F6-00BD-411A-A6A3-63675F96231C", {Tag::Scalar}, {Tag::Vector3d}),
        planned("ZRKRGBACombineComponents", "RGBACombineComponents", "71DA975C-E73E-4252-8409-691DEF5031A4", {Tag::Scalar}, {Tag::Color}),
        built<ZRKCurveLength>(),
    };
    return components;
}
// clang-format on

void ZRKGraphComponentsInit::initializeModule() {}

} // namespace zrkmodel

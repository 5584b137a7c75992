#include "components/registration.h"

#include "coordinates/curve_length.h"
#include "coordinates/curve_uvw.h"
#include "coordinates/cylinder_uvw.h"
#include "coordinates/face_uvw.h"
#include "coordinates/multipole_uvw.h"
#include "coordinates/sphere_uvw.h"
#include "coordinates/torus_uvw.h"
#include "frame/host/component.h"
#include "mesh/beam_sdf.h"
#include "mesh/mesh_sdf.h"
#include "operators/binary_operator.h"
#include "operators/falloff.h"
#include "operators/geometry_blend.h"
#include "operators/grad_derivative.h"
#include "operators/invert.h"
#include "operators/levelset_iso_value.h"
#include "operators/mask.h"
#include "operators/multiply.h"
#include "operators/shell.h"
#include "patterns/cross.h"
#include "patterns/gyroid.h"
#include "patterns/pattern_designer.h"
#include "primitives/box_sdf.h"
#include "primitives/cylinder_sdf.h"
#include "primitives/pipe_sdf.h"
#include "primitives/plane_sdf.h"
#include "primitives/sphere_sdf.h"
#include "primitives/torus_sdf.h"
#include "raster/image_extrude.h"
#include "raster/image_sampler.h"
#include "raster/image_stack.h"
#include "raster/raster_fx.h"
#include "transforms/affine_transform.h"
#include "transforms/apply_transform.h"
#include "transforms/bend_transform.h"
#include "transforms/color_from_vec3.h"
#include "transforms/combine_components.h"
#include "transforms/matrix_transform.h"
#include "transforms/norm_vec3.h"
#include "transforms/normalize_vec3.h"
#include "transforms/position_vec3.h"
#include "transforms/quantize_transform.h"
#include "transforms/split_components.h"
#include "transforms/twist_transform.h"
#include "transport/image_sweep.h"

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
        built<ZRKSphereUVW>(),
        built<ZRKTorusUVW>(),
        built<ZRKCylinderUVW>(),
        built<ZRKRasterFX>(),
        built<ZRKVector3SplitComponents>(),
        built<ZRKRGBASplitComponents>(),
        built<ZRKQuantizeTransform>(),
        built<ZRKTwistTransform>(),
        built<ZRKBendTransform>(),
        built<ZRKNormalizeVec3>(),
        built<ZRKNormVec3>(),
        // The UUID of ZRKNormalizeVec3 once more: saved documents carry it.
        built<ZRKColorFromVec3>(),
        built<ZRKPositionVec3>(),
        built<ZRKMask>(),
        built<ZRKBinaryOperator>(),
        built<ZRKMultiply>(),
        built<ZRKMatrixTransform>(),
        built<ZRKMeshSDF>(),
        built<ZRKMultipoleUVW>(),
        built<ZRKPatternDesigner>(),
        built<ZRKSphereSDF>(),
        built<ZRKBoxSDF>(),
        built<ZRKPlaneSDF>(),
        built<ZRKTorusSDF>(),
        built<ZRKCylinderSDF>(),
        built<ZRKPipeSDF>(),
        built<ZRKGyroid>(),
        built<ZRKCross>(),
        built<ZRKCurveUVW>(),
        built<ZRKGradDerivative>(),
        built<ZRKFaceUVW>(),
        built<ZRKShell>(),
        built<ZRKFallOff>(),
        built<ZRKInvert>(),
        // The type name of ZRKInvert once more.
        built<ZRKLevelsetIsoValue>(),
        built<ZRKGeometryBlend>(),
        built<ZRKScalarImageSampler>(),
        built<ZRKVector3ImageSampler>(),
        built<ZRKRGBAImageSampler>(),
        built<ZRKImageSweep>(),
        built<ZRK2DImageExtrude>(),
        // The type name of ZRK2DImageExtrude once more.
        built<ZRK3DImage>(),
        built<ZRKAffineTransform>(),
        built<ZRKApplyTransform>(),
        // 35 characters, the first group one short: kept as documents have it.
        built<ZRKBeamSDF>(),
        built<ZRKVector3CombineComponents>(),
        built<ZRKRGBACombineComponents>(),
        built<ZRKCurveLength>(),
    };
    return components;
}
// clang-format on

void ZRKGraphComponentsInit::initializeModule() {}

} // namespace zrkmodel

#include "components/registration.h"

#include "components/coordinates/curve_length.h"
#include "components/coordinates/curve_uvw.h"
#include "components/coordinates/cylinder_uvw.h"
#include "components/coordinates/face_uvw.h"
#include "components/coordinates/multipole_uvw.h"
#include "components/coordinates/sphere_uvw.h"
#include "components/coordinates/torus_uvw.h"
#include "components/manuals.h"
#include "components/mesh/beam_sdf.h"
#include "components/mesh/mesh_sdf.h"
#include "components/operators/binary_operator.h"
#include "components/operators/fall_off.h"
#include "components/operators/geometry_blend.h"
#include "components/operators/grad_derivative.h"
#include "components/operators/invert.h"
#include "components/operators/levelset_iso_value.h"
#include "components/operators/mask.h"
#include "components/operators/multiply.h"
#include "components/operators/shell.h"
#include "components/patterns/cross.h"
#include "components/patterns/gyroid.h"
#include "components/patterns/pattern_designer.h"
#include "components/primitives/box_sdf.h"
#include "components/primitives/cylinder_sdf.h"
#include "components/primitives/pipe_sdf.h"
#include "components/primitives/plane_sdf.h"
#include "components/primitives/sphere_sdf.h"
#include "components/primitives/torus_sdf.h"
#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "components/raster/raster_fx.h"
#include "components/transforms/affine_transform.h"
#include "components/transforms/apply_transform.h"
#include "components/transforms/bend_transform.h"
#include "components/transforms/color_from_vec3.h"
#include "components/transforms/combine_components.h"
#include "components/transforms/matrix_transform.h"
#include "components/transforms/norm_vec3.h"
#include "components/transforms/normalize_vec3.h"
#include "components/transforms/position_vec3.h"
#include "components/transforms/quantize_transform.h"
#include "components/transforms/split_components.h"
#include "components/transforms/twist_transform.h"
#include "components/transport/image_sweep.h"

namespace zrkmodel {

namespace {

/// All components. The order is the order of the registry, which hosts and documents rely on.
constexpr void (*kComponents[])() = {
    &ZRKSphereUVW::registerType,
    &ZRKTorusUVW::registerType,
    &ZRKCylinderUVW::registerType,
    &ZRKRasterFX::registerType,
    &ZRKVector3SplitComponents::registerType,
    &ZRKRGBASplitComponents::registerType,
    &ZRKQuantizeTransform::registerType,
    &ZRKTwistTransform::registerType,
    &ZRKBendTransform::registerType,
    &ZRKNormalizeVec3::registerType,
    &ZRKNormVec3::registerType,
    // The UUID of ZRKNormalizeVec3 once more: saved documents carry it.
    &ZRKColorFromVec3::registerType,
    &ZRKPositionVec3::registerType,
    &ZRKMask::registerType,
    &ZRKBinaryOperator::registerType,
    &ZRKMultiply::registerType,
    &ZRKMatrixTransform::registerType,
    &ZRKMeshSDF::registerType,
    &ZRKMultipoleUVW::registerType,
    &ZRKPatternDesigner::registerType,
    &ZRKSphereSDF::registerType,
    &ZRKBoxSDF::registerType,
    &ZRKPlaneSDF::registerType,
    &ZRKTorusSDF::registerType,
    &ZRKCylinderSDF::registerType,
    &ZRKPipeSDF::registerType,
    &ZRKGyroid::registerType,
    &ZRKCross::registerType,
    &ZRKCurveUVW::registerType,
    &ZRKGradDerivative::registerType,
    &ZRKFaceUVW::registerType,
    &ZRKShell::registerType,
    &ZRKFallOff::registerType,
    &ZRKInvert::registerType,
    // The type name of ZRKInvert once more.
    &ZRKLevelsetIsoValue::registerType,
    &ZRKGeometryBlend::registerType,
    &ZRKScalarImageSampler::registerType,
    &ZRKVector3ImageSampler::registerType,
    &ZRKRGBAImageSampler::registerType,
    &ZRKImageSweep::registerType,
    &ZRK2DImageExtrude::registerType,
    // The type name of ZRK2DImageExtrude once more.
    &ZRK3DImage::registerType,
    &ZRKAffineTransform::registerType,
    &ZRKApplyTransform::registerType,
    // 35 characters, the first group one short: kept as documents have it.
    &ZRKBeamSDF::registerType,
    &ZRKVector3CombineComponents::registerType,
    &ZRKRGBACombineComponents::registerType,
    &ZRKCurveLength::registerType,
};

/// Registers all classes and their manuals when the library is loaded.
const bool registered = [] {
    addManuals(componentManuals());
    for (const auto registerType : kComponents) {
        registerType();
    }
    return true;
}();

} // namespace

void ZRKGraphComponentsInit::initializeModule() {}

} // namespace zrkmodel

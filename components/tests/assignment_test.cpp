#include "components/coordinates/curve_length.h"
#include "components/coordinates/curve_uvw.h"
#include "components/coordinates/cylinder_uvw.h"
#include "components/coordinates/face_uvw.h"
#include "components/coordinates/multipole_uvw.h"
#include "components/coordinates/sphere_uvw.h"
#include "components/coordinates/torus_uvw.h"
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
#include "testing/component_checks.h"

#include <type_traits>

// Assigning one component to another gives it what a clone would get.

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

/// Another value for each property; for a resource a reference that isn't resolved.
void edit(ZRKObject& object)
{
    for (ZRKPropertyBase* property : object.properties()) {
        ZRKJson value = property->valueJson();
        if (value.is_boolean()) {
            value = !value.get<bool>();
        } else if (value.is_number()) {
            value = value.get<double>() == 1 ? 0 : 1;
        } else if (value.is_string()) {
            value = "another";
        } else if (value.is_array() && value[0].is_array()) {
            value.erase(0); // one key point less
        } else {
            for (ZRKJson& element : value) {
                element = element.is_number() ? ZRKJson(element.get<double>() + 0.5) : element;
            }
        }
        const ZRKJson root{{"value", value}};
        property->read(ZRKDeserialization(root), "value");
    }
}

ZRKJson values(const ZRKObject& object)
{
    ZRKJson all = ZRKJson::object();
    for (const ZRKPropertyBase* property : object.properties()) {
        all[property->name()] = property->valueJson();
    }
    return all;
}

template <class Component>
void expectAssignable()
{
    SCOPED_TRACE(Component::identity().className);
    static_assert(std::is_copy_assignable_v<Component>);
    const auto target = std::make_shared<Component>();
    int changes = 0;
    target->addListener([&](const ZRKEvent&) { ++changes; });
    const auto properties = target->properties();
    ZRKJson expected;
    {
        const auto source = std::make_shared<Component>();
        edit(*source);
        expected = values(*source->clone());
        *target = *source;
    }
    EXPECT_EQ(values(*target), expected);
    const Component fresh;
    for (const ZRKPropertyBase* property : fresh.properties()) {
        EXPECT_NE(expected[property->name()], property->valueJson()) << property->name();
    }
    EXPECT_EQ(target->properties(), properties);
    EXPECT_EQ(changes, 0);
    for (const ZRKPropertyBase* property : properties) {
        EXPECT_EQ(property->owner(), target) << property->name();
    }
    const Component& same = *target;
    *target = same;
    EXPECT_EQ(values(*target), expected);
}

template <class... Components>
void expectAllAssignable()
{
    (expectAssignable<Components>(), ...);
}

TEST(Assignment, OfEachComponentIsThatOfItsValues)
{
    expectAllAssignable<ZRKSphereUVW, ZRKTorusUVW, ZRKCylinderUVW, ZRKRasterFX, ZRKVector3SplitComponents,
                        ZRKRGBASplitComponents, ZRKQuantizeTransform, ZRKTwistTransform, ZRKBendTransform,
                        ZRKNormalizeVec3, ZRKNormVec3, ZRKColorFromVec3, ZRKPositionVec3, ZRKMask,
                        ZRKBinaryOperator, ZRKMultiply, ZRKMatrixTransform, ZRKMeshSDF, ZRKMultipoleUVW,
                        ZRKPatternDesigner, ZRKSphereSDF, ZRKBoxSDF, ZRKPlaneSDF, ZRKTorusSDF, ZRKCylinderSDF,
                        ZRKPipeSDF, ZRKGyroid, ZRKCross, ZRKCurveUVW, ZRKGradDerivative, ZRKFaceUVW, ZRKShell,
                        ZRKFallOff, ZRKInvert, ZRKLevelsetIsoValue, ZRKGeometryBlend, ZRKScalarImageSampler,
                        ZRKVector3ImageSampler, ZRKRGBAImageSampler, ZRKImageSweep, ZRK2DImageExtrude,
                        ZRK3DImage, ZRKAffineTransform, ZRKApplyTransform, ZRKBeamSDF,
                        ZRKVector3CombineComponents, ZRKRGBACombineComponents, ZRKCurveLength>();
}

// A clone starts without them. What holds them goes on telling its own owner.
TEST(Assignment, TakesListsOver)
{
    const auto target = std::make_shared<ZRKMultipoleUVW>();
    std::vector<std::string> told;
    target->addListener([&](const ZRKEvent& event) { told.push_back(event.name); });
    {
        ZRKMultipoleUVW source;
        source.poles.add({{1, 2, 3}, 0.5});
        *target = source;
    }
    EXPECT_TRUE(told.empty());
    ASSERT_EQ(target->poles.values().size(), 1u);
    EXPECT_EQ(target->poles.values()[0].get_point(), (Vector{1, 2, 3}));
    target->poles.clear();
    EXPECT_EQ(told, (std::vector<std::string>{"poles"}));

    ZRKPatternDesigner designer;
    designer.waves.add({});
    ZRKPatternDesigner other;
    other.waves.add({});
    other.waves.add({});
    designer = other;
    EXPECT_EQ(designer.waves.values().size(), 2u);
}

TEST(Assignment, SharesLattices)
{
    ZRKBeamSDF source;
    ZRKBeamSDF target;
    const auto former = target.lattice();
    target = source; // which has none yet
    EXPECT_NE(target.lattice(), former);
    target = source;
    const auto lattice = source.lattice();
    EXPECT_NE(target.lattice(), lattice);
    target = source;
    EXPECT_EQ(target.lattice(), lattice);
}

} // namespace
} // namespace zrkmodel

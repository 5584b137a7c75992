#include "components/coordinates/multipole_uvw.h"
#include "components/mesh/beam_sdf.h"
#include "components/mesh/mesh_sdf.h"
#include "components/operators/binary_operator.h"
#include "components/operators/geometry_blend.h"
#include "components/patterns/pattern_designer.h"
#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "components/raster/raster_fx.h"
#include "components/transport/image_sweep.h"
#include "model/image_library.h"
#include "testing/component_checks.h"

#include <gtest/gtest.h>

// What components announce when they are edited beside their properties, and what they must not announce:
// the host builds new evaluators at each event, and its undo takes each for an edit.

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

/// The names of the events that a component sends during some work, each followed by a blank.
template <class Component, class Work>
std::string eventsOf(Work work)
{
    const auto component = std::make_shared<Component>();
    std::string events;
    component->addListener([&](const ZRKEvent& event) {
        EXPECT_EQ(event.source, component.get());
        events += event.name + " ";
    });
    work(*component);
    return events;
}

std::shared_ptr<ZRKImage2d> onePixel()
{
    return std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{zrk::Raster<1, 2, double>(1, 1)});
}

/// A library without any folder.
struct NoFolder final : ZRKImage3dLibraryView {
    std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string&) override { return nullptr; }
};

struct NoMembers final : ZRKGeometry {
    std::vector<SignedDistance> getSDFUngroup() const override { return {}; }
};

template <class Component>
void buildEvaluator(Component& component)
{
    sample(std::static_pointer_cast<ZRKGraphObject>(component.shared_from_this()), {0, 0, 0});
}

TEST(Events, NameWhatWasEdited)
{
    struct Case {
        const char* name;
        std::string events;
        const char* expected;
    };
    NoFolder library;
    const Case cases[] = {
        {"an image is picked", eventsOf<ZRKRGBAImageSampler>([](auto& c) { c.pick(onePixel()); }), "image "},
        {"while silent", eventsOf<ZRKRGBAImageSampler>([](auto& c) {
             c.setSilent(true);
             c.pick(onePixel());
             EXPECT_NE(c.image.value(), nullptr);
         }),
         ""},
        {"an image for a slot", eventsOf<ZRK2DImageExtrude>([](auto& c) { c.pick(1, onePixel()); }),
         "imageYZ "},
        {"a compositing", eventsOf<ZRK2DImageExtrude>([](auto& c) { c.chooseCompositing(2); }),
         "compositing "},
        {"one that isn't there", eventsOf<ZRK2DImageExtrude>([](auto& c) { c.chooseCompositing(4); }), ""},
        {"a known compositing is shown", eventsOf<ZRK2DImageExtrude>([](auto& c) { c.shownCompositing(); }),
         ""},
        {"an unknown one", eventsOf<ZRK2DImageExtrude>([](auto& c) {
             c.compositing.set("screen", false);
             c.shownCompositing();
         }),
         "compositing "},
        {"a folder is loaded, the image silently",
         eventsOf<ZRK3DImage>([&](auto& c) { c.loadFolder(library, ""); }), "raster "},
        {"the image is removed", eventsOf<ZRK3DImage>([](auto& c) { c.removeImage(); }), "raster "},
        {"no slices are chosen", eventsOf<ZRK3DImage>([](auto& c) { c.loadSlices({}, nullptr); }), ""},
        {"a slice is shown", eventsOf<ZRK3DImage>([](auto& c) { c.preview(0.5); }), ""},
        {"an update is asked for", eventsOf<ZRKRasterFX>([](auto& c) { c.update(); }), "update "},
        {"a raster is built", eventsOf<ZRKRasterFX>([](auto& c) {
             c.autoUpdate.set(true, false);
             buildEvaluator(c);
         }),
         ""},
        {"an image for a sweep", eventsOf<ZRKImageSweep>([](auto& c) { c.pick(c.imageB, onePixel()); }),
         "imageB "},
        {"a sweep is computed", eventsOf<ZRKImageSweep>([](auto& c) { c.compute(); }), "raster "},
        {"sliders are moved", eventsOf<ZRKImageSweep>([](auto& c) {
             c.moveTransport(0.5);
             c.moveSmoothing(0.5);
         }),
         "transport smoothing "},
        {"a volume is made anew", eventsOf<ZRKImageSweep>([](auto& c) {
             c.invalidateOutputRaster();
             buildEvaluator(c);
         }),
         ""},
        {"an operation and its parameter", eventsOf<ZRKBinaryOperator>([](auto& c) {
             c.selectOperation(4);
             c.setParameter(0, 0.25);
         }),
         "op op "},
        {"a geometry is picked",
         eventsOf<ZRKGeometryBlend>([](auto& c) { c.pick({std::make_shared<NoMembers>()}); }), "geometries "},
        {"none is picked", eventsOf<ZRKGeometryBlend>([](auto& c) { c.pick({}); }), ""},
        {"poles are added and removed", eventsOf<ZRKMultipoleUVW>([](auto& c) {
             c.poles.add({});
             c.poles.remove(7);
             c.poles.remove(0);
         }),
         "poles poles "},
        {"waves are added and removed", eventsOf<ZRKPatternDesigner>([](auto& c) {
             c.waves.add({});
             c.waves.clear();
         }),
         "waves waves "},
        {"no mesh is imported", eventsOf<ZRKMeshSDF>([](auto& c) { c.importFiles({}, nullptr); }), ""},
        {"a lattice is made", eventsOf<ZRKBeamSDF>([](auto& c) { c.importFiles({}, nullptr); }), ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.events, c.expected) << c.name;
    }
}

} // namespace
} // namespace zrkmodel

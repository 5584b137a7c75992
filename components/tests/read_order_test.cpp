#include "components/operators/binary_operator.h"
#include "components/operators/fall_off.h"
#include "components/operators/geometry_blend.h"
#include "components/operators/grad_derivative.h"
#include "components/operators/invert.h"
#include "components/operators/levelset_iso_value.h"
#include "components/operators/mask.h"
#include "components/operators/multiply.h"
#include "components/operators/shell.h"
#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "components/raster/raster_fx.h"
#include "model/image_library.h"
#include "testing/component_checks.h"

#include <gtest/gtest.h>

// In which order an evaluator reads its inputs and the position. A host's own closures see it.

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

/// A source whose closure notes that it is asked.
class NotedSource final : public ZRKExtensionBase {
public:
    NotedSource(Tag tag, char sign, std::string& notes) : _tag(tag), _sign(sign), _notes(notes) {}

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addOutputPin(node, _tag, "out");
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override
    {
        return [this](zrk::EvaluationContext& context) {
            _notes += _sign;
            if (_tag == Tag::Vector3d) {
                context.writeOutput(Vector{0.25, 0.5, 0.75}, 0.5);
            } else {
                context.writeOutput(0.25, 0.5);
            }
        };
    }

private:
    Tag _tag;
    char _sign;
    std::string& _notes;
};

/// A host's node that reads the component's output.
class Reader final : public ZRKExtensionBase {
public:
    explicit Reader(Tag tag) : _tag(tag) {}

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addInputPin(node, _tag, "in");
        addOutputPin(node, Tag::Scalar, "out");
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override
    {
        return [](zrk::EvaluationContext& context) { context.writeOutput(context.readInput(0)[0], 1); };
    }

private:
    Tag _tag;
};

struct UnitBall final : ZRKGeometry {
    std::vector<SignedDistance> getSDFUngroup() const override
    {
        return {[](const Vector& p) { return std::sqrt(dot(p, p)) - 1; }};
    }
};

struct UnitBox final : ZRKContext {
    std::optional<zrk::BBox<double>> modelBounds() const override
    {
        return zrk::BBox<double>({0, 0, 0}, {1, 1, 1});
    }
};

struct OnePixel final : ZRKImage3dLibraryView {
    std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string&) override
    {
        auto entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1"));
        entry->resolve(std::make_shared<ZRKImage3d>(
            std::vector<ZRKImage3d::Channel>{zrk::Raster<1, 3, double>(1, 1, 1)}));
        return entry;
    }
};

std::shared_ptr<ZRKImage2d> onePixel()
{
    return std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{zrk::Raster<1, 2, double>(1, 1)});
}

template <class Component, class... Setup>
std::shared_ptr<Component> made(Setup... setup)
{
    auto component = std::make_shared<Component>();
    (setup(*component), ...);
    return component;
}

struct Case {
    const char* name;
    std::shared_ptr<ZRKExtensionBase> component;
    int connected;       ///< so many of the first inputs
    const char* sampled; ///< readings of an evaluator that is called for a sample: pins' numbers, and p
    const char* run;     ///< readings of inputs when the engine runs it, for itself or for a closure
};

std::vector<Case> cases()
{
    const auto withGeometry = [](auto& c) { c.geometries.set(std::make_shared<UnitBall>()); };
    const auto withImage = [](auto& c) { c.pick(onePixel()); };
    const auto withSlot = [](auto& c) { c.pick(1, onePixel()); };
    const auto replacing = [](auto& c) { c.replace.set(true); };
    const auto updating = [](auto& c) { c.autoUpdate.set(true); };
    const auto withFolder = [](auto& c) {
        OnePixel library;
        c.loadFolder(library, "scan");
    };
    return {
        {"binary operator", made<ZRKBinaryOperator>(), 2, "01", "01"},
        {"mask", made<ZRKMask>(), 2, "10p", "10"},
        {"replacing mask", made<ZRKMask>(replacing), 2, "10p", "10"},
        {"multiply", made<ZRKMultiply>(), 2, "01", "01"},
        {"multiply by a number", made<ZRKMultiply>(), 1, "0", "0"},
        {"shell", made<ZRKShell>(), 3, "012", "012"},
        {"fall-off", made<ZRKFallOff>(), 1, "0", "0"},
        {"invert", made<ZRKInvert>(), 1, "0", "0"},
        {"iso value", made<ZRKLevelsetIsoValue>(), 1, "0", "0"},
        {"gradient, which asks its own chain at four corners", made<ZRKGradDerivative>(), 1, "p00000",
         "00000"},
        {"geometry blend", made<ZRKGeometryBlend>(withGeometry), 1, "0", "0"},
        {"image sampler", made<ZRKVector3ImageSampler>(withImage), 1, "0", "0"},
        {"extrusion", made<ZRK2DImageExtrude>(withSlot), 1, "0", "0"},
        {"stack", made<ZRK3DImage>(withFolder), 1, "0", "0"},
        {"raster effect", made<ZRKRasterFX>(updating), 1, "p", ""},
    };
}

TEST(ReadOrder, IsThatOfTheComponent)
{
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        std::string notes;
        const auto graph = ZRKGraph::create();
        graph->setContext(std::make_shared<UnitBox>());
        const ZRKGraph::Node node = graph->addNode(c.component);
        for (int k = 0; k < c.connected; ++k) {
            const auto pin = static_cast<std::uint8_t>(k);
            const Tag tag = node.record()->inputs[pin].tag == Tag::Vector3d ? Tag::Vector3d : Tag::Scalar;
            const auto source = std::make_shared<NotedSource>(tag, static_cast<char>('0' + k), notes);
            ASSERT_EQ(graph->connect(out(graph->addNode(source)), in(node, pin)), ZRKLinkResult::Done);
        }
        zrk::FieldSampler sampler(outputField(node).generator(),
                                  std::make_shared<zrk::PointListDomain>(std::vector<Vector>{{0, 0, 0}}));
        sampler.prepare();
        notes.clear(); // a raster is built by now
        zrk::EvaluationContext(sampler.slots).run(0, 0);
        EXPECT_EQ(notes, c.run);

        const ZRKGraph::Node reader =
            graph->addNode(std::make_shared<Reader>(effectiveTag(outputPin(node, 0))));
        ASSERT_EQ(graph->connect(out(node), in(reader)), ZRKLinkResult::Done);
        const zrk::IField read = outputField(reader);
        notes.clear();
        sample(read, {0, 0, 0});
        EXPECT_EQ(notes, c.run) << "read by a closure";

        notes.clear();
        zrk::EvaluationContext context(sampler.slots);
        auto& positions = context.slots[static_cast<std::size_t>(sampler.coordinatesNode.slotIndex)];
        positions.buffer = nullptr; // so that its evaluator is asked
        positions.evaluator = [&notes](zrk::EvaluationContext& running) {
            notes += 'p';
            running.writeOutput(Vector{0, 0, 0}, 1);
        };
        context.pushSlot(sampler.targetNode.slotIndex);
        context.slot->evaluator(context);
        EXPECT_EQ(notes, c.sampled);
    }
}

} // namespace
} // namespace zrkmodel

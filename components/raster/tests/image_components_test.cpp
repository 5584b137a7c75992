#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "core/engine/prepared_field.h"
#include "model/deferred_work.h"
#include "testing/component_checks.h"
#include "testing/special_values.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <random>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Numbers = std::vector<double>;

using zrk::testing::kNaN;

/// An image of doubles, one list of values a channel.
std::shared_ptr<ZRKImage2d> imageOf(int width, int height, const std::vector<Numbers>& channels)
{
    std::vector<ZRKImage2d::Channel> rasters;
    for (const Numbers& values : channels) {
        zrk::Raster<1, 2, double> raster(width, height);
        raster.data = values;
        rasters.emplace_back(std::move(raster));
    }
    return std::make_shared<ZRKImage2d>(std::move(rasters));
}

std::shared_ptr<ZRKImage3d> volume(int nx, int ny, int nz, Numbers values)
{
    zrk::Raster<1, 3, double> raster(nx, ny, nz);
    raster.data = std::move(values);
    return std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{raster});
}

Numbers randomNumbers(std::size_t count, unsigned seed)
{
    std::mt19937_64 random(seed);
    Numbers numbers(count);
    for (double& number : numbers) {
        number = std::uniform_real_distribution<double>(0, 1)(random);
    }
    return numbers;
}

/// The resources of a document, for reading references.
class OneResource final : public ZRKResourceLibrary {
public:
    explicit OneResource(std::shared_ptr<ZRKSerializableObject> object)
        : _entry(std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1")))
    {
        object->setUuid(ZRKuuid("a-1"));
        _entry->resolve(std::move(object));
    }
    ZRKResourceHandle find(const ZRKuuid& uuid) override
    {
        return uuid == _entry->uuid() ? ZRKResourceHandle(_entry) : ZRKResourceHandle();
    }

private:
    std::shared_ptr<ZRKResourceEntry> _entry;
};

void loadWith(ZRKSerializableObject& component, const char* values,
              const std::shared_ptr<ZRKSerializableObject>& resource)
{
    component.deserialize(
        ZRKDeserialization(ZRKJson::parse(values), std::make_shared<OneResource>(resource)));
}

TEST(ImageComponents, HaveTheirPinsAndStoredForm)
{
    const std::string sampler = R"({"wrap":true,"image":""})";
    EXPECT_EQ(stored(ZRKScalarImageSampler()), sampler);
    EXPECT_EQ(stored(ZRKVector3ImageSampler()), sampler);
    EXPECT_EQ(stored(ZRKRGBAImageSampler()), sampler);
    EXPECT_EQ(
        stored(ZRK2DImageExtrude()),
        R"({"wrap":true,"size x":1.0,"size y":1.0,"size z":1.0,"compositing":"add","imageXY":"","imageYZ":"","imageXZ":""})");
    EXPECT_EQ(stored(ZRK3DImage()), R"({"wrap":true,"size x":1.0,"size y":1.0,"size z":1.0,"image":""})");

    const auto extrude = std::make_shared<ZRK2DImageExtrude>();
    const char* edited =
        R"({"wrap":false,"size x":2.0,"size y":3.0,"size z":4.0,"compositing":"union","imageXY":"","imageYZ":"a-1","imageXZ":""})";
    loadWith(*extrude, edited, imageOf(1, 1, {{1}}));
    EXPECT_EQ(stored(*extrude), edited);
    EXPECT_EQ(stored(dynamic_cast<ZRK2DImageExtrude&>(*extrude->clone())), edited);
    EXPECT_THROW(load(*extrude, ZRKJson{{"compositing", 3}}), ZRKJson::type_error);
}

TEST(ImageSamplers, ReadTheFirstTwoCoordinates)
{
    const auto image = imageOf(4, 2, {{0, 1, 2, 3, 10, 11, 12, 13}});
    const auto scalar = std::make_shared<ZRKScalarImageSampler>();
    scalar->pick(image);
    EXPECT_EQ(sample(scalar, {0, 0, 7}), (Numbers{0, 1}));
    EXPECT_EQ(sample(scalar, {1, 1, -9}), (Numbers{13, 1}));
    EXPECT_EQ(sample(scalar, {1. / 3, 0.5, 0}), (Numbers{6, 1})) << "u runs along a row";
    EXPECT_EQ(sample(scalar, {3.5 / 3, 0, 0}), (Numbers{1.5, 1}))
        << "wrapped: half of the last and half of the first";
    scalar->wrap.set(false);
    EXPECT_EQ(sample(scalar, {3.5 / 3, 0, 0}), (Numbers{3, 1}));
    const auto source = std::make_shared<Source>(Tag::Vector3d, Numbers{0, 1, 0, 0.25});
    EXPECT_EQ(sample(scalar, {1, 0, 0}, source), (Numbers{10, 0.25})) << "the weight is handed on";
    EXPECT_TRUE(std::isnan(sample(scalar, {kNaN, 0, 0})[0]));

    const auto vector = std::make_shared<ZRKVector3ImageSampler>();
    vector->pick(imageOf(1, 1, {{0.25}, {0.5}}));
    EXPECT_EQ(sample(vector, {0.3, 0.3, 0}), (Numbers{0.25, 0.5, 0.5, 1}));
    const auto colour = std::make_shared<ZRKRGBAImageSampler>();
    colour->pick(imageOf(1, 1, {{0.25}, {0.5}, {0.75}}));
    EXPECT_EQ(sample(colour, {0.3, 0.3, 0}), (Numbers{0.25, 0.5, 0.75, 1, 1}));
}

TEST(ImageSamplers, WriteNothingWithoutAUsableImage)
{
    const auto colour = std::make_shared<ZRKRGBAImageSampler>();
    const Numbers nothing{0, 0, 0, 0, 0};
    EXPECT_EQ(sample(colour, {0, 0, 0}), nothing);
    colour->pick(imageOf(0, 4, {{}}));
    EXPECT_EQ(sample(colour, {0, 0, 0}), nothing);
    colour->pick(std::make_shared<ZRKImage2d>());
    EXPECT_EQ(sample(colour, {0, 0, 0}), nothing);
    loadWith(*colour, R"({"image":"a-1"})", volume(1, 1, 1, {1}));
    EXPECT_EQ(sample(colour, {0, 0, 0}), nothing) << "a resource of another kind";
}

/// Built evaluators keep their values while `change` edits the component; new ones have others.
template <class Component>
void expectBuiltFieldStays(const std::shared_ptr<Component>& component, const Vector& p,
                           const std::function<void(Component&)>& change)
{
    const auto graph = ZRKGraph::create();
    const ZRKGraph::Node node = graph->addNode(component);
    const zrk::IField field = outputField(node);
    const Numbers before = sample(field, p);
    zrk::FieldSampler sampler(field.generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>{p}));
    sampler.prepare();
    change(*component);
    zrk::EvaluationContext context(sampler.slots);
    context.run(0, 0);
    EXPECT_EQ(sampler.targetNode.sampleBuffer->data, before);
    EXPECT_NE(sample(outputField(node), p), before);
}

TEST(ImageComponents, KeepBuiltEvaluatorsThroughEdits)
{
    const auto sampler = std::make_shared<ZRKScalarImageSampler>();
    sampler->pick(imageOf(2, 1, {{1, 2}}));
    expectBuiltFieldStays<ZRKScalarImageSampler>(sampler, {1.5, 0, 0}, [](auto& c) { c.wrap.set(false); });
    expectBuiltFieldStays<ZRKScalarImageSampler>(sampler, {0, 0, 0},
                                                 [](auto& c) { c.pick(imageOf(1, 1, {{5}})); });
    const auto extrude = std::make_shared<ZRK2DImageExtrude>();
    extrude->pick(1, imageOf(1, 1, {{0.25}}));
    expectBuiltFieldStays<ZRK2DImageExtrude>(extrude, {0, 0, 0}, [](auto& c) { c.pick(1, nullptr); });
    const auto stack = std::make_shared<ZRK3DImage>();
    loadWith(*stack, R"({"image":"a-1"})", volume(1, 1, 1, {0.5}));
    expectBuiltFieldStays<ZRK3DImage>(stack, {0, 0, 0}, [](auto& c) { c.removeImage(); });
}

// A window that builds evaluators isn't held by large pictures.
TEST(ImageComponents, PutTheConversionOff)
{
    zrk::Raster<1, 2, std::uint8_t> grey(2, 2);
    grey.data = {0, 51, 102, 255};
    const auto picture = std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{grey});
    zrk::Raster<1, 3, std::uint16_t> voxels(2, 2, 1);
    voxels.data = {0, 13107, 26214, 65535};
    const auto scan = std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{voxels});
    struct Library final : ZRKImage3dLibraryView {
        std::shared_ptr<ZRKResourceEntry> entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1"));
        std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string&) override { return entry; }
    } library;
    library.entry->resolve(scan);
    const auto sampler = std::make_shared<ZRKScalarImageSampler>();
    sampler->pick(picture);
    const auto colours = std::make_shared<ZRKRGBAImageSampler>();
    colours->pick(picture);
    const auto extrude = std::make_shared<ZRK2DImageExtrude>();
    extrude->pick(0, picture);
    extrude->pick(2, picture);
    const auto stack = std::make_shared<ZRK3DImage>();
    stack->loadFolder(library, "scan");
    stack->onInspection(nullptr, {});
    for (const std::shared_ptr<ZRKGraphObject>& component :
         std::initializer_list<std::shared_ptr<ZRKGraphObject>>{sampler, colours, extrude, stack}) {
        SCOPED_TRACE(component->typeInfo().name);
        const auto bytes = [&] {
            std::size_t sum = 0;
            for (const auto& part : dynamic_cast<const ZRKDataHolder&>(*component).held().parts) {
                sum += part.bytes;
            }
            return sum;
        };
        const auto graph = ZRKGraph::create();
        const ZRKGraph::Node node = graph->addNode(component);
        const auto field = [&] {
            const ZRKDeferredBuilding building;
            return zrk::PreparedField(outputField(node));
        }();
        EXPECT_EQ(bytes(), 0u);
        const double p[] = {0.75, 1.0, 0.25};
        double value = 0;
        field.evaluate(p, p + 1, p + 2, 1, &value);
        EXPECT_GT(bytes(), 0u) << "the component has it then";
        EXPECT_EQ(value, sample(outputField(node), {0.75, 1.0, 0.25})[0]);
        EXPECT_NE(value, 0);
    }
}

TEST(ImageSamplers, KeepTheirImageUntilAnotherIsPickedOrRead)
{
    const auto scalar = std::make_shared<ZRKScalarImageSampler>();
    scalar->pick(imageOf(1, 1, {{1}}));
    EXPECT_EQ(sample(scalar, {0, 0, 0})[0], 1);
    int changes = 0;
    scalar->addListener([&](const ZRKEvent& event) {
        ++changes;
        EXPECT_EQ(event.name, "image");
    });
    scalar->pick(imageOf(1, 1, {{2}}));
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(sample(scalar, {0, 0, 0})[0], 2);
    EXPECT_EQ(sample(std::dynamic_pointer_cast<ZRKScalarImageSampler>(scalar->clone()), {0, 0, 0})[0], 2);
    loadWith(*scalar, R"({"image":"a-1"})", imageOf(1, 1, {{3}}));
    EXPECT_EQ(sample(scalar, {0, 0, 0})[0], 3);
}

/// The extrusion of the images that are there, computed anew in plain steps.
double expectedExtrusion(const std::string& compositing, const Numbers& samples)
{
    double a = compositing == "subtract" || compositing == "multiply" ? 1 : 0;
    for (const double s : samples) {
        a = compositing == "add"        ? a + s
            : compositing == "subtract" ? a - s
            : compositing == "multiply" ? a * s
                                        : std::max(a, s);
    }
    return std::min(1.0, std::max(0.0, a));
}

TEST(ImageExtrude, CompositesEverySetOfImages)
{
    // Two pixels along each axis: at a corner of the unit cube, an image's value is one of its pixels.
    const Numbers pixels[3] = {randomNumbers(4, 1), randomNumbers(4, 2), randomNumbers(4, 3)};
    const std::size_t axes[3][2] = {{0, 1}, {1, 2}, {0, 2}};
    for (unsigned set = 1; set < 8; ++set) {
        for (const std::string& name : ZRK2DImageExtrude::compositingNames()) {
            SCOPED_TRACE(name + " of the set " + std::to_string(set));
            const auto extrude = std::make_shared<ZRK2DImageExtrude>();
            extrude->compositing.set(name);
            extrude->sizeX.set(2);
            extrude->sizeY.set(4);
            extrude->sizeZ.set(8);
            for (std::size_t slot = 0; slot < 3; ++slot) {
                extrude->pick(slot, (set >> slot & 1u) != 0 ? imageOf(2, 2, {pixels[slot]}) : nullptr);
            }
            for (unsigned corner = 0; corner < 8; ++corner) {
                const std::size_t at[3] = {corner & 1u, corner >> 1 & 1u, corner >> 2 & 1u};
                Numbers samples;
                for (std::size_t slot = 0; slot < 3; ++slot) {
                    if ((set >> slot & 1u) != 0) {
                        samples.push_back(pixels[slot][at[axes[slot][0]] + 2 * at[axes[slot][1]]]);
                    }
                }
                const Vector p{2.0 * static_cast<double>(at[0]), 4.0 * static_cast<double>(at[1]),
                               8.0 * static_cast<double>(at[2])};
                EXPECT_EQ(sample(extrude, p), (Numbers{expectedExtrusion(name, samples), 1}));
            }
        }
    }
}

TEST(ImageExtrude, WritesNothingWithoutImageOrOperator)
{
    const auto extrude = std::make_shared<ZRK2DImageExtrude>();
    extrude->compositing.set("subtract");
    EXPECT_EQ(sample(extrude, {0, 0, 0}), (Numbers{0, 0}));
    extrude->pick(2, imageOf(1, 1, {{0.25}}));
    EXPECT_EQ(sample(extrude, {5, 5, 5}), (Numbers{0.75, 1}));
    extrude->compositing.set("Subtract");
    EXPECT_EQ(sample(extrude, {0, 0, 0}), (Numbers{0, 0}));
}

TEST(ImageExtrude, OffersItsCompositings)
{
    const auto extrude = std::make_shared<ZRK2DImageExtrude>();
    EXPECT_EQ(ZRK2DImageExtrude::compositingNames(),
              (std::vector<std::string>{"add", "subtract", "multiply", "union"}));
    extrude->chooseCompositing(3);
    EXPECT_EQ(extrude->compositing.value(), "union");
    EXPECT_EQ(extrude->shownCompositing(), 3u);
    for (const int row : {-1, 4}) {
        extrude->chooseCompositing(row);
        EXPECT_EQ(extrude->compositing.value(), "union");
    }
    extrude->compositing.set("screen");
    EXPECT_EQ(extrude->shownCompositing(), 0u);
    EXPECT_EQ(extrude->compositing.value(), "add");
}

// A picker's label names the axes of its image: up along the rows, then right along the columns. The arrows
// are UTF-8 encoded twice.
TEST(ImageExtrude, LabelsItsPickersByTheAxesOfTheirImages)
{
    const char* labels[] = {"y\u00e2\u2020\u2018x\u00e2\u2020\u2019",
                            "z\u00e2\u2020\u2018y\u00e2\u2020\u2019",
                            "z\u00e2\u2020\u2018x\u00e2\u2020\u2019"};
    const auto axisOf = [](char name) { return static_cast<std::size_t>(name - 'x') % 3; };
    for (std::size_t slot = 0; slot < ZRK2DImageExtrude::kSlots; ++slot) {
        const std::string label = ZRK2DImageExtrude::pickerLabel(slot);
        EXPECT_EQ(label, labels[slot]);
        const auto extrude = std::make_shared<ZRK2DImageExtrude>();
        extrude->wrap.set(false);
        extrude->pick(slot, imageOf(2, 2, {{0, 0.25, 0.5, 0.75}}));
        Vector right{0, 0, 0};
        Vector up{0, 0, 0};
        up[axisOf(label[0])] = 1;
        right[axisOf(label[label.size() / 2])] = 1;
        EXPECT_EQ(sample(extrude, right)[0], 0.25);
        EXPECT_EQ(sample(extrude, up)[0], 0.5);
    }
}

TEST(ImageStack, IsScaledByItsSizes)
{
    const auto stack = std::make_shared<ZRK3DImage>();
    loadWith(*stack, R"({"wrap":false,"size x":2,"size y":4,"size z":8,"image":"a-1"})",
             volume(2, 2, 2, {0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(sample(stack, {2, 0, 0}), (Numbers{1, 1}));
    EXPECT_EQ(sample(stack, {0, 4, 0}), (Numbers{2, 1}));
    EXPECT_EQ(sample(stack, {0, 0, 8}), (Numbers{4, 1}));
    EXPECT_EQ(sample(stack, {1, 2, 4}), (Numbers{3.5, 1}));
    EXPECT_EQ(sample(stack, {-9, 99, 99}), (Numbers{6, 1}));
    stack->wrap.set(true);
    EXPECT_EQ(sample(stack, {3, 0, 0}), (Numbers{0.5, 1})) << "half-way between the last and the first";
}

TEST(ImageStack, BuildsEvaluatorsWithoutACopy)
{
    constexpr int kEdge = 128;
    const auto stack = std::make_shared<ZRK3DImage>();
    loadWith(*stack, R"({"image":"a-1"})", volume(kEdge, kEdge, kEdge, Numbers(kEdge * kEdge * kEdge, 0.5)));
    const auto graph = ZRKGraph::create();
    const ZRKGraph::Node node = graph->addNode(stack);
    const auto start = std::chrono::steady_clock::now();
    std::vector<zrk::Evaluation> built;
    for (int i = 0; i < 1000; ++i) {
        built.push_back(stack->getEvaluatorForPin(outputPin(node, 0), graph->context()));
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    EXPECT_LT(time.count(), 1.0) << "1000 copies are 16 GiB";
}

} // namespace
} // namespace zrkmodel

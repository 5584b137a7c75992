#include "components/operators/mask.h"
#include "components/operators/mask_formula.h"
#include "components/operators/multiply.h"
#include "components/operators/multiply_formula.h"
#include "testing/component_checks.h"
#include "testing/formula_agreement.h"
#include "testing/special_values.h"

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using zrk::MaskMode;

using zrk::testing::kNaN;

/// A component with sources at its inputs.
struct OneNode {
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();
    ZRKGraph::Node node;

    OneNode(const std::shared_ptr<ZRKGraphObject>& component, const ZRKJson& values)
        : node(graph->addNode(component))
    {
        load(*component, values);
    }
    void connect(std::uint8_t k, Tag tag, const std::vector<double>& record)
    {
        const ZRKGraph::Node source = graph->addNode(std::make_shared<Source>(tag, record));
        EXPECT_EQ(graph->connect(out(source), in(node, k)), ZRKLinkResult::Done);
    }
    Tag outputTag() const { return effectiveTag(outputPin(node, 0)); }
    std::vector<double> record() const { return sample(outputField(node), {0, 0, 0}); }
};

/// Records of every data type, of the given weight.
std::vector<std::pair<Tag, std::vector<double>>> recordsOf(double weight)
{
    return {{Tag::Scalar, {2, weight}},
            {Tag::Vector3d, {2, -3, 4, weight}},
            {Tag::Color, {2, -3, 4, 0.5, weight}}};
}

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST(Mask, WritesWeightsAndKeepsComponents)
{
    struct Case {
        const char* name;
        double multiplier;
        double mask;
        double maskWeight;
        double weight;
        double lowered;
        double replaced;
    };
    const Case cases[] = {
        {"half of 1", 1, 0.5, 1, 1, 0.5, 0.5},
        {"a smaller weight stays", 1, 0.5, 1, 0.25, 0.25, 0.5},
        {"multiplied", 0.25, 2, 1, 0.75, 0.5, 0.5},
        {"cut to 1", 4, 1, 1, 0.5, 0.5, 1},
        {"cut to 0", -1, 1, 1, 0.5, 0, 0},
        {"mask of weight 0", 1, 0.5, 0, 0.25, 0.25, 0.25},
        {"mask of weight 0 cuts all the same", 1, 0.5, 0, 3, 1, 1},
        {"half a mask", 1, 0.25, 0.5, 0.75, 0.5, 0.5},
        {"half a mask above the weight", 1, 1, 0.5, 0.5, 0.5, 0.75},
        {"weight beyond 1 extrapolates", 1, 0.5, 2, 0.75, 0.25, 0.25},
        {"NaN in the mask: the smaller of two is the first", 1, kNaN, 1, 0.5, 0.5, kNaN},
        {"NaN in its weight", 1, 0.5, kNaN, 0.5, kNaN, kNaN},
        {"NaN in the field's weight", 1, 0.5, 1, kNaN, kNaN, kNaN},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        for (const bool replace : {false, true}) {
            for (const auto& [tag, record] : recordsOf(c.weight)) {
                OneNode mask(std::make_shared<ZRKMask>(),
                             {{"multiplier", c.multiplier}, {"replace", replace}});
                mask.connect(0, tag, record);
                mask.connect(1, Tag::Scalar, {c.mask, c.maskWeight});
                EXPECT_EQ(mask.outputTag(), tag);
                std::vector<double> result = mask.record();
                const double expected = replace ? c.replaced : c.lowered;
                EXPECT_TRUE(same(result.back(), expected)) << result.back() << ", expected " << expected;
                result.back() = c.weight;
                EXPECT_TRUE(std::equal(result.begin(), result.end(), record.begin(), record.end(), same));
            }
        }
    }
}

TEST(Mask, ChangesNothingWithoutAMask)
{
    OneNode mask(std::make_shared<ZRKMask>(), {{"replace", true}});
    mask.connect(0, Tag::Scalar, {7, 0.25});
    EXPECT_EQ(mask.record(), (std::vector<double>{7, 0.25}));
}

TEST(Multiply, ScalesEveryComponent)
{
    for (const auto& [tag, record] : recordsOf(0.25)) {
        std::vector<double> tripled = record;
        std::vector<double> withField = record;
        for (std::size_t i = 0; i + 1 < record.size(); ++i) {
            tripled[i] *= 3;
            withField[i] *= -1.5;
        }
        OneNode multiply(std::make_shared<ZRKMultiply>(), {{"multiplier", 3}});
        multiply.connect(0, tag, record);
        EXPECT_EQ(multiply.record(), tripled);
        multiply.connect(1, Tag::Scalar, {-0.5, 9});
        EXPECT_EQ(multiply.record(), withField);
        EXPECT_EQ(multiply.outputTag(), tag);
    }
}

TEST(Multiply, DoesNotConsultTheDefaultOfItsPin)
{
    OneNode multiply(std::make_shared<ZRKMultiply>(), ZRKJson::object());
    multiply.connect(0, Tag::Scalar, {5, 1});
    multiply.node.record()->inputs[1].defaultValue = zrk::TensorVariant<double>(100.0);
    EXPECT_EQ(multiply.record().front(), 5);
}

TEST(MaskAndMultiply, WriteNothingWithoutAField)
{
    for (const auto& component : {std::shared_ptr<ZRKExtensionBase>(std::make_shared<ZRKMask>()),
                                  std::shared_ptr<ZRKExtensionBase>(std::make_shared<ZRKMultiply>())}) {
        OneNode built(component, ZRKJson::object());
        built.connect(1, Tag::Scalar, {0.5, 1});
        EXPECT_EQ(built.outputTag(), Tag::None);
        EXPECT_FALSE(component->getEvaluatorForPin(outputPin(built.node, 0), built.graph->context()));
    }
}

TEST(MaskAndMultiply, HaveTheirStoredForm)
{
    expectStoredForm<ZRKMask>(R"({"multiplier":1.0,"replace":false})",
                              R"({"multiplier":2.0,"replace":true})");
    expectStoredForm<ZRKMultiply>(R"({"multiplier":1.0})", R"({"multiplier":2.0})");
}

TEST(MaskAndMultiply, AgreeInAllValueTypes)
{
    using zrk::agreement::expectAgreement;
    expectAgreement(zrk::Masking<MaskMode::lower, 3>{0.7}, 0);
    expectAgreement(zrk::Masking<MaskMode::replace, 1>{-1.5}, 0);
    expectAgreement(zrk::Scaling<4>{-0.7}, 0);
    expectAgreement(zrk::ScalingByField<3>{0.7}, 0);
}

} // namespace
} // namespace zrkmodel

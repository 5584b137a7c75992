#include "model/channel_names.h"
#include "model/component.h"
#include "model/pins.h"
#include "model/property.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zrkmodel {
namespace {

using Node = ZRKNodeBase<0, ZRKGraphObject>;
using ConstNode = ZRKNodeBase<1, ZRKGraphObject>;

/// Overrides all that a component may, as programs that use the library do. That it compiles is what is
/// tested: a hook of another name or signature, changed here and in our own components alike, would break
/// theirs.
class EveryHook final : public ZRKComponent<EveryHook> {
public:
    ZRKProperty<double, ZRKPropertyBinder<double>> size{"size", 1.0, this};

    EveryHook() = default;
    EveryHook(const EveryHook& other) : ZRKComponent(other) {}
    EveryHook& operator=(const EveryHook&) = default;

    static ComponentIdentity identity()
    {
        return {"EveryHook", "every hook", "E0", {}, {}, {Tag::Vector3d()}, {Tag::Scalar}};
    }

    std::shared_ptr<ZRKObject> onClone() const override { return ZRKComponent::onClone(); }
    void _copyTo(ZRKObject* target) const override { ZRKComponent::_copyTo(target); }
    ~EveryHook() override = default;
    void getProperties(ZRKDynamicPropertyPack&) override {}
    bool setSilent(bool silent) override { return ZRKComponent::setSilent(silent); }
    void _onPropertyChanged(const ZRKEvent&) override {}

    void onAddedToGraph(const Node& node) override
    {
        const Pin_ref<1> input = addInputPin(node, Tag::Vector3d, "|" + ChannelNames::pin_coords() + "|");
        const zrk::Field<1, 3> scalar = inputField(input);
        const zrk::IField any = inputField(node, 0);
        EXPECT_FALSE(scalar || any);
    }
    void onUpstreamChange(const Node&, const ZRKEvent&) override {}
    zrk::IField realizeField(const ConstNode& node, unsigned char outputIndex) override
    {
        return ZRKComponent::realizeField(node, outputIndex);
    }
    Tag queryEffectiveOutputPinTag(const Pin_ref<1>&) override { return Tag::None; }
    zrkui::ZRKExtensionBaseGraphItem* createGraphItem(const Node&) const override { return nullptr; }
    void onUpdateGraphItem(zrkui::ZRKExtensionBaseGraphItem*, const Node&) const override {}
    bool onInspection(zrkui::ZRKPropertyView*, const Node&) override { return true; }
    void onInspectionEnd(zrkui::ZRKPropertyView*) override {}
    void onSerialize(ZRKSerialization&) const override {}
    void onDeserialize(const ZRKDeserialization&) override {}

    std::optional<std::vector<ZRKExtensionBase::InputField>> collectInputFields(const ConstNode&) override
    {
        return std::nullopt;
    }
    void onBuildEvaluator(zrk::EvaluatorBuilder<double>&, const Pin_ref<1>&) const override {}
    std::function<void(zrk::EvaluationContextT<double>&)> getEvaluatorForPin(const Pin_ref<1>&,
                                                                             const ZRKContext&) const override
    {
        return {};
    }

    void serialize(ZRKSerialization&) const override {}
    void deserialize(const ZRKDeserialization&) override {}
    void deserializeAndPreserveUUID(const ZRKDeserialization&) override {}
    const ZRKuuid& uuid() const override { return ZRKComponent::uuid(); }
    const ZRKTypeInfo& typeInfo() const override { return _typeInfo; }
    void onTypeRegistration(ZRKTypeInfo&) const override {}
    std::string to_json(const std::shared_ptr<ZRKResourceLibrary>&) const override { return {}; }
    void from_json(const std::string&, bool, const std::shared_ptr<ZRKResourceLibrary>&,
                   const ZRKAnyData&) override
    {}
};

TEST(Hooks, OfAComponentFromElsewhereAreThoseOfTheLibrary)
{
    const auto component = std::make_shared<EveryHook>();
    EXPECT_TRUE(ZRKGraph::create()->addNode(component).isAlive());
    EXPECT_NE(component->clone(), nullptr);
}

} // namespace
} // namespace zrkmodel

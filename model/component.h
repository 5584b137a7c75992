#pragma once

#include "model/extension_base.h"
#include "model/icons.h"
#include "model/registry.h"
#include "model/tag.h"
#include "model/type_info.h"
#include "model/ui_strings.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zrkmodel {

/// What a component class says of itself: all that there is to edit for it to be known, shown and found.
struct ComponentIdentity {
    const char* className;
    /// @{ What saved documents carry: letter by letter, odd ones included.
    const char* typeName;
    const char* uuid;
    /// @}
    IconResource icon; ///< `{}` for none
    ZRKUIStrings::info_t strings;
    std::vector<Tag> inputs; ///< the registered signature, which need not equal the pins
    std::vector<Tag> outputs;
};

/// The part that is the same in every component: cloning, type information, registration and
/// the stored form. `Derived` supplies `static ComponentIdentity identity()`, the pins and the evaluator:
///
///     class ZRKSphereSDF final : public ZRKComponent<ZRKSphereSDF> {
///     public:
///         ZRKProperty<double> radius{"radius", 1.0, this};
///
///         ZRKSphereSDF() = default;
///         ZRKSphereSDF(const ZRKSphereSDF& other) : ZRKComponent(other) {}
///         ZRKSphereSDF& operator=(const ZRKSphereSDF&) = default;
///
///         static ComponentIdentity identity();
///         void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
///         zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override;
///     };
///
/// `Base` is a template level between components and ZRKExtensionBase, where several share one.
template <class Derived, class Base = ZRKExtensionBase>
class ZRK_API ZRKComponent : public Base {
public:
    /// A copy starts from the defaults; values arrive through `_copyTo`.
    std::shared_ptr<ZRKObject> onClone() const override
    {
        return std::make_shared<Derived>(static_cast<const Derived&>(*this));
    }

    const ZRKTypeInfo& typeInfo() const override { return ownTypeInfo(); }

    void onTypeRegistration(ZRKTypeInfo& info) const override
    {
        const ComponentIdentity self = Derived::identity();
        ZRKGraphObjectRegistration* registration = ZRKGraphObject::registry().add(
            info, ZRKGraphObjectSignature(self.inputs, self.outputs),
            [] { return std::make_shared<Derived>(); }, self.strings,
            self.icon.pixels ? ZRKIcon(ZRKIcon::create(self.icon.pixels)) : ZRKIcon());
        registration->className = self.className;
        registration->iconResource = self.icon;
    }

    /// Enters the class in the registry and in the type table, with one prototype that lives for as long as
    /// that takes. Called once, while the library loads.
    static void registerType()
    {
        ZRKTypeInfo& info = ownTypeInfo();
        const auto prototype = std::make_shared<Derived>();
        prototype->onTypeRegistration(info);
        ZRKTypeInfo::registerType(info);
    }

    /// The class's one type info, the same object in every library. Not to be used while libraries load: it
    /// may not be bound yet.
    static ZRKTypeInfo& _typeInfo;

protected:
    ZRKComponent() = default;
    ZRKComponent(const ZRKComponent&) = default;

private:
    /// What `_typeInfo` is bound to. Made on first use, since registration runs before the static members of
    /// a template are initialised.
    static ZRKTypeInfo& ownTypeInfo()
    {
        static ZRKTypeInfo& info = ZRKTypeInfo::ofClass(typeid(Derived), [] {
            const ComponentIdentity self = Derived::identity();
            const auto make = [](const ZRKDeserialization&) -> std::shared_ptr<ZRKSerializable> {
                return std::make_shared<Derived>();
            };
            return ZRKTypeInfo{self.uuid, self.typeName, make};
        });
        return info;
    }
};

template <class Derived, class Base>
ZRKTypeInfo& ZRKComponent<Derived, Base>::_typeInfo = ownTypeInfo();

} // namespace zrkmodel

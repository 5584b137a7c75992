#pragma once

#include "core/values/export.h"
#include "model/property.h"
#include "model/resource.h"

#include <memory>
#include <optional>
#include <utility>
#include <variant>
#include <vector>

namespace zrkmodel {

// Descriptors of properties for panels. The properties belong to the pack's owner, and are never null. What
// limits are missing is left to the panel.

struct ZRKPDouble {
    ZRKProperty<double>* property;
    std::optional<double> min, max;
    bool ranged; ///< shown as a slider from min to max
};
struct ZRKPInt {
    ZRKProperty<int>* property;
    std::optional<int> min, max;
    bool ranged;
};
struct ZRKPBool {
    ZRKProperty<bool>* property;
};
struct ZRKPString {
    ZRKProperty<std::string>* property;
};
struct ZRKPVector3d {
    ZRKProperty<zrk::Tensor<3, double>>* property;
    std::optional<zrk::Tensor<3, double>> min, max;
};
struct ZRKPGeometry {
    ZRKProperty<std::shared_ptr<ZRKGeometry>>* property;
};

/// A property of a kind that no component describes by itself, known by its base.
template <int Kind>
struct ZRKPOther {
    ZRKPropertyBase* property;
};
using ZRKPInterval1d = ZRKPOther<0>;
using ZRKPVector4d = ZRKPOther<1>;
using ZRKPVector2d = ZRKPOther<2>;
using ZRKPScalarGrad = ZRKPOther<3>;
using ZRKPColorGrad = ZRKPOther<4>;

/// Descriptors of some properties of one owner, which it keeps alive.
class ZRK_API ZRKDynamicPropertyPack {
public:
    using Entry = std::variant<ZRKPDouble, ZRKPInt, ZRKPBool, ZRKPInterval1d, ZRKPVector4d, ZRKPVector3d,
                               ZRKPVector2d, ZRKPGeometry, ZRKPScalarGrad, ZRKPColorGrad, ZRKPString>;

    explicit ZRKDynamicPropertyPack(const std::shared_ptr<ZRKObject>& owner) : _owner(owner) {}

    void add(ZRKProperty<double>& property, std::optional<double> min, std::optional<double> max, bool ranged)
    {
        _entries.push_back(ZRKPDouble{&property, min, max, ranged});
    }
    void add(ZRKProperty<int>& property, std::optional<int> min, std::optional<int> max, bool ranged)
    {
        _entries.push_back(ZRKPInt{&property, min, max, ranged});
    }
    void add(ZRKProperty<zrk::Tensor<3, double>>& property, std::optional<zrk::Tensor<3, double>> min,
             std::optional<zrk::Tensor<3, double>> max)
    {
        _entries.push_back(ZRKPVector3d{&property, min, max});
    }
    void add(ZRKProperty<bool>& property) { _entries.push_back(ZRKPBool{&property}); }
    /// Without limits, by the property's type. Adds nothing for a type that has no entry.
    void add(ZRKPropertyBase& property);

    const std::shared_ptr<ZRKObject>& owner() const { return _owner; }
    const std::vector<Entry>& entries() const { return _entries; }

private:
    std::shared_ptr<ZRKObject> _owner;
    std::vector<Entry> _entries;
};

} // namespace zrkmodel

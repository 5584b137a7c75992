#include "model/property_pack.h"

#include "model/geometry.h"

namespace zrkmodel {

void ZRKDynamicPropertyPack::add(ZRKPropertyBase& property)
{
    if (auto* number = dynamic_cast<ZRKProperty<double>*>(&property)) {
        add(*number, std::nullopt, std::nullopt, false);
    } else if (auto* integer = dynamic_cast<ZRKProperty<int>*>(&property)) {
        add(*integer, std::nullopt, std::nullopt, false);
    } else if (auto* vector = dynamic_cast<ZRKProperty<zrk::Tensor<3, double>>*>(&property)) {
        add(*vector, std::nullopt, std::nullopt);
    } else if (auto* flag = dynamic_cast<ZRKProperty<bool>*>(&property)) {
        add(*flag);
    } else if (auto* text = dynamic_cast<ZRKProperty<std::string>*>(&property)) {
        _entries.push_back(ZRKPString{text});
    } else if (auto* geometry = dynamic_cast<ZRKProperty<std::shared_ptr<ZRKGeometry>>*>(&property)) {
        _entries.push_back(ZRKPGeometry{geometry});
    }
}

} // namespace zrkmodel

#pragma once

#include "model/geometry.h"
#include "model/property.h"

#include <memory>
#include <vector>

namespace zrkmodel {

using ZRKGeometryProperty = ZRKProperty<std::shared_ptr<ZRKGeometry>>;
using PickedGeometries = std::vector<std::shared_ptr<ZRKGeometry>>;

/// A geometry as one of its interfaces; null for none and for one without that interface.
template <class Interface>
std::shared_ptr<Interface> geometryAs(const ZRKGeometryProperty& property)
{
    return property.value() ? std::dynamic_pointer_cast<Interface>(property.value()->geometry()) : nullptr;
}

/// What a picker of one geometry does: takes the first of the selection over, or empties the property.
inline void takePick(ZRKGeometryProperty& property, const PickedGeometries& selection)
{
    property.set(selection.empty() ? nullptr : selection.front());
}

} // namespace zrkmodel

#pragma once

#include "model/geometry.h"
#include "model/property.h"

#include <memory>
#include <vector>

namespace zrkmodel {

using ZRKGeometryProperty = ZRKProperty<std::shared_ptr<ZRKGeometry>>;
using PickedGeometries = std::vector<std::shared_ptr<ZRKGeometry>>;

/// Returns the property's geometry as one of its interfaces, or null if there is no geometry or it lacks the
/// interface.
template <class Interface>
std::shared_ptr<Interface> geometryAs(const ZRKGeometryProperty& property)
{
    return property.value() ? std::dynamic_pointer_cast<Interface>(property.value()->geometry()) : nullptr;
}

/// Sets the property to the first geometry of a picker's selection, or empties it if nothing is selected.
/// The property announces the change.
inline void takePick(ZRKGeometryProperty& property, const PickedGeometries& selection)
{
    property.set(selection.empty() ? nullptr : selection.front());
}

} // namespace zrkmodel

#pragma once

#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

/// Declares the pins of a pattern in space: coordinates in, a density out.
inline void addDensityPins(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Scalar, ChannelNames::pin_density());
}

} // namespace zrkmodel

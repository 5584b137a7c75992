#pragma once

#include "frame/host/channel_names.h"
#include "frame/host/pins.h"

namespace zrkmodel {

/// The pins of a coordinate system: positions in, positions in its own coordinates out.
inline void addCoordinateSystemPins(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
}

} // namespace zrkmodel

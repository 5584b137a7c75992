#pragma once

#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

/// The pins of a warp or a coordinate system: positions in, moved or re-expressed positions out.
inline void addPositionPins(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Vector3d, ChannelNames::pin_coords());
}

} // namespace zrkmodel

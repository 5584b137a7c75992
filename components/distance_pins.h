#pragma once

#include "model/channel_names.h"
#include "model/pins.h"

namespace zrkmodel {

/// The pins of every distance field: coordinates in, a signed distance out.
inline void addDistancePins(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Scalar, ChannelNames::pin_sdf());
}

} // namespace zrkmodel

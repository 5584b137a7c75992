#pragma once

#include "model/channel_names.h"
#include "model/tag.h"

namespace zrkmodel {

/// The pins of what takes an N-component value apart or puts it together: the tag and name of the value, and
/// the names of its components.
template <int N>
struct ComponentPins;

template <>
struct ComponentPins<3> {
    static constexpr Tag tag = Tag::Vector3d;
    static constexpr const char* name = ChannelNames::pin_coords();
    static constexpr const char* components[] = {ChannelNames::pin_x(), ChannelNames::pin_y(),
                                                 ChannelNames::pin_z()};
};

template <>
struct ComponentPins<4> {
    static constexpr Tag tag = Tag::Color;
    static constexpr const char* name = ChannelNames::pin_color();
    static constexpr const char* components[] = {ChannelNames::pin_red(), ChannelNames::pin_green(),
                                                 ChannelNames::pin_blue(), ChannelNames::pin_alpha()};
};

} // namespace zrkmodel

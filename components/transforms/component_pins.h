#pragma once

#include "model/channel_names.h"
#include "model/tag.h"

#include <array>
#include <string>

namespace zrkmodel {

/// The pins of what takes an N-component value apart or puts it together: the tag and name of the value, and
/// the names of its components.
template <int N>
struct ComponentPins;

template <>
struct ComponentPins<3> {
    static constexpr Tag tag = Tag::Vector3d;
    static std::string name() { return ChannelNames::pin_coords(); }
    static std::array<std::string, 3> components()
    {
        return {ChannelNames::pin_x(), ChannelNames::pin_y(), ChannelNames::pin_z()};
    }
};

template <>
struct ComponentPins<4> {
    static constexpr Tag tag = Tag::Color;
    static std::string name() { return ChannelNames::pin_color(); }
    static std::array<std::string, 4> components()
    {
        return {ChannelNames::pin_red(), ChannelNames::pin_green(), ChannelNames::pin_blue(),
                ChannelNames::pin_alpha()};
    }
};

} // namespace zrkmodel

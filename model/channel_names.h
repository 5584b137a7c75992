#pragma once

namespace zrkmodel {

/// Names of the pins that several components share.
struct ChannelNames {
    static constexpr const char* pin_coords() { return "coords"; }
    static constexpr const char* pin_sdf() { return "sdf"; }
    static constexpr const char* pin_density() { return "density"; }
    static constexpr const char* pin_color() { return "color"; }
    static constexpr const char* pin_x() { return "x"; }
    static constexpr const char* pin_y() { return "y"; }
    static constexpr const char* pin_z() { return "z"; }
    static constexpr const char* pin_red() { return "red"; }
    static constexpr const char* pin_green() { return "green"; }
    static constexpr const char* pin_blue() { return "blue"; }
    static constexpr const char* pin_alpha() { return "alpha"; }
};

} // namespace zrkmodel

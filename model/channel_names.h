#pragma once

#include <string>

namespace zrkmodel {

/// Names of the pins that several components share.
struct ChannelNames {
    static std::string pin_coords() { return "coords"; }
    static std::string pin_sdf() { return "sdf"; }
    static std::string pin_density() { return "density"; }
    static std::string pin_color() { return "color"; }
    static std::string pin_x() { return "x"; }
    static std::string pin_y() { return "y"; }
    static std::string pin_z() { return "z"; }
    static std::string pin_red() { return "red"; }
    static std::string pin_green() { return "green"; }
    static std::string pin_blue() { return "blue"; }
    static std::string pin_alpha() { return "alpha"; }
};

} // namespace zrkmodel

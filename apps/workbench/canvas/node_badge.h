#pragma once

#include <QString>

namespace zrkworkbench {

/// What is told of a node beside its name. One at a time: an error before a warning before computing before
/// frozen.
struct NodeBadge {
    enum class Kind { none, frozen, computing, warning, error };

    Kind kind = Kind::none;
    double progress = -1; ///< 0 to 1 while computing; below 0 where it isn't known
    QString text{};       ///< what is wrong, or what is computed where that isn't plain
    QString remedy{};

    friend bool operator==(const NodeBadge&, const NodeBadge&) = default;
};

} // namespace zrkworkbench

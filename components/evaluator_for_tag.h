#pragma once

#include "core/engine/kernel.h"
#include "model/tag.h"

#include <cstdint>
#include <type_traits>

namespace zrkmodel {

/// The evaluator of a wildcard operator: make(n) for the data type that the tag names, with the
/// number of its components as n(); empty for every other tag.
///
///     return evaluatorForTag(tag, [&](auto n) { return zrk::evaluator(zrk::Scaling<n()>{factor}); });
template <class Make>
zrk::Evaluation evaluatorForTag(Tag tag, Make make)
{
    if (tag == Tag::Scalar) {
        return make(std::integral_constant<std::uint32_t, 1>());
    }
    if (tag == Tag::Color) {
        return make(std::integral_constant<std::uint32_t, 4>());
    }
    if (tag == Tag::Vector3d) {
        return make(std::integral_constant<std::uint32_t, 3>());
    }
    return {};
}

} // namespace zrkmodel

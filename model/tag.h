#pragma once

#include <cstdint>
#include <type_traits>

namespace zrkmodel {

/// A pin's data type.
struct Tag {
    std::uint32_t components = 0;
    std::uint32_t kind = 0;

    static const Tag None;     ///< no type; the answer when types can't be united
    static const Tag Any;      ///< wildcard: takes its type from what it is connected to
    static const Tag Scalar;   ///< one double
    static const Tag Vector3d; ///< three doubles
    static const Tag Color;    ///< four doubles: red, green, blue, alpha

    /// Lets the constants be written as calls too: `Tag::Vector3d()`.
    constexpr Tag operator()() const { return *this; }

    friend constexpr bool operator==(const Tag&, const Tag&) = default;

    /// "None", "Any", "Scalar", "Vector3d" or "Color"; "unknown" for any other value.
    constexpr const char* name() const;
};

inline constexpr Tag Tag::None{0, 0};
inline constexpr Tag Tag::Any{0, 1};
inline constexpr Tag Tag::Scalar{1, 2};
inline constexpr Tag Tag::Vector3d{3, 3};
inline constexpr Tag Tag::Color{4, 5};

constexpr const char* Tag::name() const
{
    switch (kind) {
    case 0:
        return "None";
    case 1:
        return "Any";
    case 2:
        return "Scalar";
    case 3:
        return "Vector3d";
    case 5:
        return "Color";
    default:
        return "unknown";
    }
}

/// make(n) for the data type that a tag names, where n() is the number of its components: 1, 3 or 4.
/// Every other tag gives `otherwise`, by default an empty result.
///
///     return makeForTag(tag, [&](auto n) { return zrk::evaluator(zrk::Scaling<n()>{factor}); });
template <class Make, class Result = std::invoke_result_t<Make, std::integral_constant<std::uint32_t, 1>>>
Result makeForTag(Tag tag, Make make, Result otherwise = {})
{
    if (tag == Tag::Scalar) {
        return make(std::integral_constant<std::uint32_t, 1>());
    }
    if (tag == Tag::Vector3d) {
        return make(std::integral_constant<std::uint32_t, 3>());
    }
    if (tag == Tag::Color) {
        return make(std::integral_constant<std::uint32_t, 4>());
    }
    return otherwise;
}

} // namespace zrkmodel

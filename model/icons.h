#pragma once

#include "core/values/export.h"
#include "core/values/raster.h"

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>

namespace zrkmodel {

/// The colour of an icon, 0xRRGGBBAA: each kind of value has its own.
enum class IconColor : std::uint32_t {
    Scalar = 0x8FA3B8FF,
    Vector = 0x5B8DEFFF,
    Color = 0xE0797CFF,
    AnyTag = 0x9C87D8FF,
    Pattern = 0x6FBF8BFF,
};

/// The constant pixels of an icon under their name. Constant-initialised, so usable while libraries load.
struct IconResource {
    const char* name = ""; ///< e.g. "sc_sdf_sphere"; empty for no icon
    /// Width, height, then a word 0xRRGGBBAA a pixel, row by row from the top; null for no icon.
    const unsigned int* pixels = nullptr;
};

/// 16 by 16 pixels drawn from an 8 by 8 bitmap, which has one byte a row from the top, its high bit at the
/// left.
template <IconColor Color, std::uint64_t Bitmap>
inline constexpr auto kIconPixels = [] {
    constexpr unsigned kSize = 16;
    std::array<unsigned int, 2 + kSize * kSize> pixels{kSize, kSize};
    for (unsigned i = 0; i < kSize * kSize; ++i) {
        const unsigned row = i / kSize / 2;
        const unsigned column = i % kSize / 2;
        const bool isSet = (Bitmap >> (63 - 8 * row - column) & 1) != 0;
        pixels[2 + i] = isSet ? static_cast<unsigned int>(Color) : 0;
    }
    return pixels;
}();

/// An icon of one colour, as components state theirs: `icon<IconColor::Scalar,
/// 0x187E7EFFFF7E7E18>("sc_sdf_sphere")`.
template <IconColor Color, std::uint64_t Bitmap>
constexpr IconResource icon(const char* name)
{
    return {name, kIconPixels<Color, Bitmap>.data()};
}

/// The icons of all registered types by name. Types that share a name share the pixels.
struct ZRK_API IconResources {
    /// Pixels as IconResource has them; null for a name that no type brought along.
    static const unsigned int* find(std::string_view name);
};

/// A picture for a type: none, pixels, a function from a size in pixels to pixels, or the
/// name of a file.
class ZRK_API ZRKIcon {
public:
    using Image = zrk::Raster<4, 2, unsigned char>;
    using Source = std::variant<std::monostate, Image, std::function<Image(int)>, std::string>;

    ZRKIcon() = default;
    ZRKIcon(const Image& image) : source(image) {}
    ZRKIcon(Source source) : source(std::move(source)) {}

    /// Unpacks pixels in the form of IconResource.
    static Image create(const unsigned int* pixels);

    Source source;
};

} // namespace zrkmodel

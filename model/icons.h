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

    constexpr operator const unsigned int*() const { return pixels; }
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

/// Icons by name: "sc" for scalars, "uvw" for vectors, "rgb" for colours, "comp" for any; "x" where it is
/// made of another.
struct ZRK_API IconResources {
    static const IconResource uvw_sphere;
    static const IconResource uvw_torus;
    static const IconResource uvw_cylinder;
    static const IconResource uvw_x_split;
    static const IconResource rgb_x_split;
    static const IconResource uvw_x_quantize;
    static const IconResource uvw_x_twist;
    static const IconResource uvw_x_bend;
    static const IconResource uvw_x_vector_normalize;
    static const IconResource uvw_x_vector_norm;
    static const IconResource rgb_x_from_uvw;
    static const IconResource uvw_coord_system;
    static const IconResource comp_x_mask;
    static const IconResource comp_x_binary_operator;
    static const IconResource comp_x_multiply_scalar;
    static const IconResource uvw_x_affine;
    static const IconResource sc_sdf_sphere;
    static const IconResource uvw_multipole;
    static const IconResource pattern_waves;
    static const IconResource sc_sdf_box;
    static const IconResource sc_sdf_plane;
    static const IconResource sc_sdf_torus;
    static const IconResource sc_sdf_cylinder;
    static const IconResource sc_sdf_curve;
    static const IconResource pattern_gyroid;
    static const IconResource pattern_cross;
    static const IconResource uvw_curve2;
    static const IconResource uvw_x_vector_Dgradient;
    static const IconResource uvw_surface;
    static const IconResource sc_x_shell;
    static const IconResource sc_x_falloff;
    static const IconResource sc_x_invert;
    static const IconResource sc_x_levelset_from_density;
    static const IconResource sc_geometry_blend;
    static const IconResource sc_image2d;
    static const IconResource uvw_image2d;
    static const IconResource rgb_image2d;
    static const IconResource sc_image_sweep;
    static const IconResource sc_image_extrude;
    static const IconResource sc_image3d;
    static const IconResource uvw_x_affine2;
    static const IconResource uvw_x_apply_instance;
    static const IconResource sc_sdf_beam;
    static const IconResource uvw_x_assemble;
    static const IconResource rgb_x_assemble;
    static const IconResource sc_curve_gradient;

    /// The same for the icons of all registered types. Types that share a name share the pixels.
    ///
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

#include "model/icons.h"

#include <array>
#include <cstdint>

namespace zrkmodel {

namespace {

constexpr unsigned kSize = 16;

// Each kind of value has its colour, 0xRRGGBBAA.
constexpr unsigned kScalar = 0x8FA3B8FFu;
constexpr unsigned kVector = 0x5B8DEFFFu;
constexpr unsigned kColor = 0xE0797CFFu;
constexpr unsigned kAnyTag = 0x9C87D8FFu;
constexpr unsigned kPattern = 0x6FBF8BFFu;

/// An icon drawn from an 8 by 8 bitmap: one byte a row from the top, its high bit at the left.
template <unsigned Color, std::uint64_t Bitmap>
constexpr auto kIcon = [] {
    std::array<unsigned, 2 + kSize * kSize> pixels{kSize, kSize};
    for (unsigned i = 0; i < kSize * kSize; ++i) {
        const unsigned row = i / kSize / 2;
        const unsigned column = i % kSize / 2;
        pixels[2 + i] = (Bitmap >> (63 - 8 * row - column) & 1) != 0 ? Color : 0u;
    }
    return pixels;
}();

} // namespace

// clang-format off
constinit unsigned int const* const IconResources::comp_x_binary_operator = kIcon<kAnyTag, 0x00007EFFFF7E0000>.data();
constinit unsigned int const* const IconResources::comp_x_mask = kIcon<kAnyTag, 0xE7818100008181E7>.data();
constinit unsigned int const* const IconResources::comp_x_multiply_scalar = kIcon<kAnyTag, 0x8142241818244281>.data();
constinit unsigned int const* const IconResources::pattern_cross = kIcon<kPattern, 0x181818FFFF181818>.data();
constinit unsigned int const* const IconResources::pattern_gyroid = kIcon<kPattern, 0xFF310004CEFF7100>.data();
constinit unsigned int const* const IconResources::pattern_waves = kIcon<kPattern, 0xCC993264C993264C>.data();
constinit unsigned int const* const IconResources::rgb_image2d = kIcon<kColor, 0xFF8181818199BDFF>.data();
constinit unsigned int const* const IconResources::rgb_x_assemble = kIcon<kColor, 0x08F80808FF08F808>.data();
constinit unsigned int const* const IconResources::rgb_x_from_uvw = kIcon<kColor, 0x9224499224499224>.data();
constinit unsigned int const* const IconResources::rgb_x_split = kIcon<kColor, 0x101F1010FF101F10>.data();
constinit unsigned int const* const IconResources::sc_curve_gradient = kIcon<kScalar, 0xFF1F037F0F013F07>.data();
constinit unsigned int const* const IconResources::sc_geometry_blend = kIcon<kScalar, 0x70F0F0F00F0F0F0F>.data();
constinit unsigned int const* const IconResources::sc_image2d = kIcon<kScalar, 0xFF8181818199BDFF>.data();
constinit unsigned int const* const IconResources::sc_image3d = kIcon<kScalar, 0xFF8181FF8181FF81>.data();
constinit unsigned int const* const IconResources::sc_image_extrude = kIcon<kScalar, 0x060C193264C890FF>.data();
constinit unsigned int const* const IconResources::sc_image_sweep = kIcon<kScalar, 0xC3C3C3C3FFC3C3C3>.data();
constinit unsigned int const* const IconResources::sc_sdf_beam = kIcon<kScalar, 0xFF422418182442FF>.data();
constinit unsigned int const* const IconResources::sc_sdf_box = kIcon<kScalar, 0x007E7E7E7E7E7E00>.data();
constinit unsigned int const* const IconResources::sc_sdf_curve = kIcon<kScalar, 0x206071518A8E0604>.data();
constinit unsigned int const* const IconResources::sc_sdf_cylinder = kIcon<kScalar, 0x7E7E7E7E7E7E7E7E>.data();
constinit unsigned int const* const IconResources::sc_sdf_plane = kIcon<kScalar, 0x0000000000FFFF00>.data();
constinit unsigned int const* const IconResources::sc_sdf_sphere = kIcon<kScalar, 0x187E7EFFFF7E7E18>.data();
constinit unsigned int const* const IconResources::sc_sdf_torus = kIcon<kScalar, 0x3C7EFFE7E7FF7E3C>.data();
constinit unsigned int const* const IconResources::sc_x_falloff = kIcon<kScalar, 0x80C0E0F0F8FCFEFF>.data();
constinit unsigned int const* const IconResources::sc_x_invert = kIcon<kScalar, 0xF0E8CC8E8ECCE8F0>.data();
constinit unsigned int const* const IconResources::sc_x_levelset_from_density = kIcon<kScalar, 0x0000006071F9FFFF>.data();
constinit unsigned int const* const IconResources::sc_x_shell = kIcon<kScalar, 0x3C66C38181C3663C>.data();
constinit unsigned int const* const IconResources::uvw_coord_system = kIcon<kVector, 0x404040404040FF40>.data();
constinit unsigned int const* const IconResources::uvw_curve2 = kIcon<kVector, 0x04068E8A51716020>.data();
constinit unsigned int const* const IconResources::uvw_cylinder = kIcon<kVector, 0x7E7E7E7E7E7E7E7E>.data();
constinit unsigned int const* const IconResources::uvw_image2d = kIcon<kVector, 0xFF8181818199BDFF>.data();
constinit unsigned int const* const IconResources::uvw_multipole = kIcon<kVector, 0x60F0F060060F0F06>.data();
constinit unsigned int const* const IconResources::uvw_sphere = kIcon<kVector, 0x187E7EFFFF7E7E18>.data();
constinit unsigned int const* const IconResources::uvw_surface = kIcon<kVector, 0x00183C7EFFC38100>.data();
constinit unsigned int const* const IconResources::uvw_torus = kIcon<kVector, 0x3C7EFFE7E7FF7E3C>.data();
constinit unsigned int const* const IconResources::uvw_x_affine = kIcon<kVector, 0x001F3E3E7C7CF800>.data();
constinit unsigned int const* const IconResources::uvw_x_affine2 = kIcon<kVector, 0x00F87C7C3E3E1F00>.data();
constinit unsigned int const* const IconResources::uvw_x_apply_instance = kIcon<kVector, 0x007070700E0E0E00>.data();
constinit unsigned int const* const IconResources::uvw_x_assemble = kIcon<kVector, 0x08F80808FF08F808>.data();
constinit unsigned int const* const IconResources::uvw_x_bend = kIcon<kVector, 0x00C0F0F83C1C0E0E>.data();
constinit unsigned int const* const IconResources::uvw_x_quantize = kIcon<kVector, 0xCCCC3333CCCC3333>.data();
constinit unsigned int const* const IconResources::uvw_x_split = kIcon<kVector, 0x101F1010FF101F10>.data();
constinit unsigned int const* const IconResources::uvw_x_twist = kIcon<kVector, 0x3C24423C3C42243C>.data();
constinit unsigned int const* const IconResources::uvw_x_vector_Dgradient = kIcon<kVector, 0x0103070F1F1F1F1F>.data();
constinit unsigned int const* const IconResources::uvw_x_vector_norm = kIcon<kVector, 0x4242425A5A424242>.data();
constinit unsigned int const* const IconResources::uvw_x_vector_normalize = kIcon<kVector, 0x0F03050910204080>.data();
// clang-format on

ZRKIcon::Image ZRKIcon::create(const unsigned int* pixels)
{
    Image image(pixels[0], pixels[1]);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = static_cast<unsigned char>(pixels[2 + i / 4] >> (24 - 8 * (i % 4)));
    }
    return image;
}

} // namespace zrkmodel

#pragma once

#include "core/values/raster.h"

#include <functional>
#include <string>
#include <variant>

namespace zrkmodel {

/// Pixels of the icons: width, height, then a word 0xRRGGBBAA a pixel, row by row from
/// the top. Constant-initialised, so they are usable while libraries load.
struct IconResources {
    static unsigned int const* const comp_x_binary_operator;
    static unsigned int const* const comp_x_mask;
    static unsigned int const* const comp_x_multiply_scalar;
    static unsigned int const* const pattern_cross;
    static unsigned int const* const pattern_gyroid;
    static unsigned int const* const pattern_waves;
    static unsigned int const* const rgb_image2d;
    static unsigned int const* const rgb_x_assemble;
    static unsigned int const* const rgb_x_from_uvw;
    static unsigned int const* const rgb_x_split;
    static unsigned int const* const sc_curve_gradient;
    static unsigned int const* const sc_geometry_blend;
    static unsigned int const* const sc_image2d;
    static unsigned int const* const sc_image3d;
    static unsigned int const* const sc_image_extrude;
    static unsigned int const* const sc_image_sweep;
    static unsigned int const* const sc_sdf_beam;
    static unsigned int const* const sc_sdf_box;
    static unsigned int const* const sc_sdf_curve;
    static unsigned int const* const sc_sdf_cylinder;
    static unsigned int const* const sc_sdf_plane;
    static unsigned int const* const sc_sdf_sphere;
    static unsigned int const* const sc_sdf_torus;
    static unsigned int const* const sc_x_falloff;
    static unsigned int const* const sc_x_invert;
    static unsigned int const* const sc_x_levelset_from_density;
    static unsigned int const* const sc_x_shell;
    static unsigned int const* const uvw_coord_system;
    static unsigned int const* const uvw_curve2;
    static unsigned int const* const uvw_cylinder;
    static unsigned int const* const uvw_image2d;
    static unsigned int const* const uvw_multipole;
    static unsigned int const* const uvw_sphere;
    static unsigned int const* const uvw_surface;
    static unsigned int const* const uvw_torus;
    static unsigned int const* const uvw_x_affine;
    static unsigned int const* const uvw_x_affine2;
    static unsigned int const* const uvw_x_apply_instance;
    static unsigned int const* const uvw_x_assemble;
    static unsigned int const* const uvw_x_bend;
    static unsigned int const* const uvw_x_quantize;
    static unsigned int const* const uvw_x_split;
    static unsigned int const* const uvw_x_twist;
    static unsigned int const* const uvw_x_vector_Dgradient;
    static unsigned int const* const uvw_x_vector_norm;
    static unsigned int const* const uvw_x_vector_normalize;
};

/// A picture for a type: none, pixels, a function from a size in pixels to pixels, or the
/// name of a file.
class ZRKIcon {
public:
    using Image = zrk::Raster<4, 2, unsigned char>;
    using Source = std::variant<std::monostate, Image, std::function<Image(int)>, std::string>;

    ZRKIcon() = default;
    ZRKIcon(const Image& image) : source(image) {}
    ZRKIcon(Source source) : source(std::move(source)) {}

    /// Unpacks pixels in the form of IconResources.
    static Image create(const unsigned int* pixels);

    Source source;
};

} // namespace zrkmodel

#include "model/icons.h"

#include "model/graph_object.h"
#include "model/registry.h"

namespace zrkmodel {

constinit const IconResource IconResources::uvw_sphere =
    icon<IconColor::Vector, 0x187E7EFFFF7E7E18>("uvw_sphere");
constinit const IconResource IconResources::uvw_torus =
    icon<IconColor::Vector, 0x3C7EFFE7E7FF7E3C>("uvw_torus");
constinit const IconResource IconResources::uvw_cylinder =
    icon<IconColor::Vector, 0x7E7E7E7E7E7E7E7E>("uvw_cylinder");
constinit const IconResource IconResources::uvw_x_split =
    icon<IconColor::Vector, 0x101F1010FF101F10>("uvw_x_split");
constinit const IconResource IconResources::rgb_x_split =
    icon<IconColor::Color, 0x101F1010FF101F10>("rgb_x_split");
constinit const IconResource IconResources::uvw_x_quantize =
    icon<IconColor::Vector, 0xCCCC3333CCCC3333>("uvw_x_quantize");
constinit const IconResource IconResources::uvw_x_twist =
    icon<IconColor::Vector, 0x3C24423C3C42243C>("uvw_x_twist");
constinit const IconResource IconResources::uvw_x_bend =
    icon<IconColor::Vector, 0x00C0F0F83C1C0E0E>("uvw_x_bend");
constinit const IconResource IconResources::uvw_x_vector_normalize =
    icon<IconColor::Vector, 0x0F03050910204080>("uvw_x_vector_normalize");
constinit const IconResource IconResources::uvw_x_vector_norm =
    icon<IconColor::Vector, 0x4242425A5A424242>("uvw_x_vector_norm");
constinit const IconResource IconResources::rgb_x_from_uvw =
    icon<IconColor::Color, 0x9224499224499224>("rgb_x_from_uvw");
constinit const IconResource IconResources::uvw_coord_system =
    icon<IconColor::Vector, 0x404040404040FF40>("uvw_coord_system");
constinit const IconResource IconResources::comp_x_mask =
    icon<IconColor::AnyTag, 0xE7818100008181E7>("comp_x_mask");
constinit const IconResource IconResources::comp_x_binary_operator =
    icon<IconColor::AnyTag, 0x00007EFFFF7E0000>("comp_x_binary_operator");
constinit const IconResource IconResources::comp_x_multiply_scalar =
    icon<IconColor::AnyTag, 0x8142241818244281>("comp_x_multiply_scalar");
constinit const IconResource IconResources::uvw_x_affine =
    icon<IconColor::Vector, 0x001F3E3E7C7CF800>("uvw_x_affine");
constinit const IconResource IconResources::sc_sdf_sphere =
    icon<IconColor::Scalar, 0x187E7EFFFF7E7E18>("sc_sdf_sphere");
constinit const IconResource IconResources::uvw_multipole =
    icon<IconColor::Vector, 0x60F0F060060F0F06>("uvw_multipole");
constinit const IconResource IconResources::pattern_waves =
    icon<IconColor::Pattern, 0xCC993264C993264C>("pattern_waves");
constinit const IconResource IconResources::sc_sdf_box =
    icon<IconColor::Scalar, 0x007E7E7E7E7E7E00>("sc_sdf_box");
constinit const IconResource IconResources::sc_sdf_plane =
    icon<IconColor::Scalar, 0x0000000000FFFF00>("sc_sdf_plane");
constinit const IconResource IconResources::sc_sdf_torus =
    icon<IconColor::Scalar, 0x3C7EFFE7E7FF7E3C>("sc_sdf_torus");
constinit const IconResource IconResources::sc_sdf_cylinder =
    icon<IconColor::Scalar, 0x7E7E7E7E7E7E7E7E>("sc_sdf_cylinder");
constinit const IconResource IconResources::sc_sdf_curve =
    icon<IconColor::Scalar, 0x206071518A8E0604>("sc_sdf_curve");
constinit const IconResource IconResources::pattern_gyroid =
    icon<IconColor::Pattern, 0xFF310004CEFF7100>("pattern_gyroid");
constinit const IconResource IconResources::pattern_cross =
    icon<IconColor::Pattern, 0x181818FFFF181818>("pattern_cross");
constinit const IconResource IconResources::uvw_curve2 =
    icon<IconColor::Vector, 0x04068E8A51716020>("uvw_curve2");
constinit const IconResource IconResources::uvw_x_vector_Dgradient =
    icon<IconColor::Vector, 0x0103070F1F1F1F1F>("uvw_x_vector_Dgradient");
constinit const IconResource IconResources::uvw_surface =
    icon<IconColor::Vector, 0x00183C7EFFC38100>("uvw_surface");
constinit const IconResource IconResources::sc_x_shell =
    icon<IconColor::Scalar, 0x3C66C38181C3663C>("sc_x_shell");
constinit const IconResource IconResources::sc_x_falloff =
    icon<IconColor::Scalar, 0x80C0E0F0F8FCFEFF>("sc_x_falloff");
constinit const IconResource IconResources::sc_x_invert =
    icon<IconColor::Scalar, 0xF0E8CC8E8ECCE8F0>("sc_x_invert");
constinit const IconResource IconResources::sc_x_levelset_from_density =
    icon<IconColor::Scalar, 0x0000006071F9FFFF>("sc_x_levelset_from_density");
constinit const IconResource IconResources::sc_geometry_blend =
    icon<IconColor::Scalar, 0x70F0F0F00F0F0F0F>("sc_geometry_blend");
constinit const IconResource IconResources::sc_image2d =
    icon<IconColor::Scalar, 0xFF8181818199BDFF>("sc_image2d");
constinit const IconResource IconResources::uvw_image2d =
    icon<IconColor::Vector, 0xFF8181818199BDFF>("uvw_image2d");
constinit const IconResource IconResources::rgb_image2d =
    icon<IconColor::Color, 0xFF8181818199BDFF>("rgb_image2d");
constinit const IconResource IconResources::sc_image_sweep =
    icon<IconColor::Scalar, 0xC3C3C3C3FFC3C3C3>("sc_image_sweep");
constinit const IconResource IconResources::sc_image_extrude =
    icon<IconColor::Scalar, 0x060C193264C890FF>("sc_image_extrude");
constinit const IconResource IconResources::sc_image3d =
    icon<IconColor::Scalar, 0xFF8181FF8181FF81>("sc_image3d");
constinit const IconResource IconResources::uvw_x_affine2 =
    icon<IconColor::Vector, 0x00F87C7C3E3E1F00>("uvw_x_affine2");
constinit const IconResource IconResources::uvw_x_apply_instance =
    icon<IconColor::Vector, 0x007070700E0E0E00>("uvw_x_apply_instance");
constinit const IconResource IconResources::sc_sdf_beam =
    icon<IconColor::Scalar, 0xFF422418182442FF>("sc_sdf_beam");
constinit const IconResource IconResources::uvw_x_assemble =
    icon<IconColor::Vector, 0x08F80808FF08F808>("uvw_x_assemble");
constinit const IconResource IconResources::rgb_x_assemble =
    icon<IconColor::Color, 0x08F80808FF08F808>("rgb_x_assemble");
constinit const IconResource IconResources::sc_curve_gradient =
    icon<IconColor::Scalar, 0xFF1F037F0F013F07>("sc_curve_gradient");

const unsigned int* IconResources::find(std::string_view name)
{
    for (const ZRKGraphObjectRegistration& entry : ZRKGraphObject::registry().entries()) {
        if (entry.iconResource.pixels && entry.iconResource.name == name) {
            return entry.iconResource.pixels;
        }
    }
    return nullptr;
}

ZRKIcon::Image ZRKIcon::create(const unsigned int* pixels)
{
    Image image(pixels[0], pixels[1]);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = static_cast<unsigned char>(pixels[2 + i / 4] >> (24 - 8 * (i % 4)));
    }
    return image;
}

} // namespace zrkmodel

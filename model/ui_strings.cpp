#include "model/ui_strings.h"

#include "model/categories.h"
#include "model/graph_object.h"
#include "model/registry.h"

namespace zrkmodel {

ZRKUIStrings::info_t ZRKUIStrings::spherical_coordinates()
{
    return {"spherical_coordinates", "Spherical coordinates",
            "Expresses a position in the coordinates of a sphere.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::toroidal_coordinates()
{
    return {"toroidal_coordinates", "Toroidal coordinates",
            "Expresses a position in the coordinates of a torus.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::cylindrical_coordinates()
{
    return {"cylindrical_coordinates", "Cylindrical coordinates",
            "Expresses a position in the coordinates of a cylinder.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::image_rasterFX()
{
    return {"image_rasterFX", "Raster effects", "Freezes a field into a raster and filters it.",
            category::kImages};
}

ZRKUIStrings::info_t ZRKUIStrings::split_vector()
{
    return {"split_vector", "Split vector", "The components of a vector as three scalars.",
            category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::split_color()
{
    return {"split_color", "Split colour", "The channels of a colour as four scalars.", category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::voxelate()
{
    return {"voxelate", "Quantize", "Moves positions to the steps of a grid.", category::kTransforms};
}

ZRKUIStrings::info_t ZRKUIStrings::twist()
{
    return {"twist", "Twist", "Turns positions about an axis, the more the farther along it.",
            category::kTransforms};
}

ZRKUIStrings::info_t ZRKUIStrings::bend()
{
    return {"bend", "Bend", "Bends space around an axis.", category::kTransforms};
}

ZRKUIStrings::info_t ZRKUIStrings::normalize_vector()
{
    return {"normalize_vector", "Normalize", "Scales a vector to unit length.", category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::norm_of_vector()
{
    return {"norm_of_vector", "Length", "The length of a vector.", category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::color_from_vector()
{
    return {"color_from_vector", "Colour from vector",
            "Takes the components of a vector as red, green and blue.", category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::coordinate_system()
{
    return {"coordinate_system", "Position", "The position itself, as a vector.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::apply_mask()
{
    return {"apply_mask", "Mask", "Sets or lowers the weight of a field by a mask.", category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::binary_operator()
{
    return {"binary_operator", "Binary operator",
            "Combines two fields: sum, difference, product, minimum, maximum or blend.",
            category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::multiply_with_scalar()
{
    return {"multiply_with_scalar", "Multiply", "Multiplies a field with a scalar.", category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::matrix_transformation()
{
    return {"matrix_transformation", "Matrix transform", "Applies a 4 by 4 matrix to positions.",
            category::kTransforms};
}

ZRKUIStrings::info_t ZRKUIStrings::mesh_sdf()
{
    return {"mesh_sdf", "Mesh", "Signed distance to an imported triangle mesh.", category::kMesh};
}

ZRKUIStrings::info_t ZRKUIStrings::multipole_coordinates()
{
    return {"multipole_coordinates", "Multipole coordinates",
            "Expresses a position in coordinates spanned by weighted poles.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::periodic_wave_pattern()
{
    return {"periodic_wave_pattern", "Pattern designer", "A periodic pattern summed from waves of your own.",
            category::kPatterns};
}

ZRKUIStrings::info_t ZRKUIStrings::sphere_sdf()
{
    return {"sphere_sdf", "Sphere", "Signed distance to a sphere.", category::kPrimitives};
}

ZRKUIStrings::info_t ZRKUIStrings::box_sdf()
{
    return {"box_sdf", "Box", "Signed distance to a box.", category::kPrimitives};
}

ZRKUIStrings::info_t ZRKUIStrings::plane_sdf()
{
    return {"plane_sdf", "Plane", "Signed distance to a plane.", category::kPrimitives};
}

ZRKUIStrings::info_t ZRKUIStrings::torus_sdf()
{
    return {"torus_sdf", "Torus", "Signed distance to a torus.", category::kPrimitives};
}

ZRKUIStrings::info_t ZRKUIStrings::cylinder_sdf()
{
    return {"cylinder_sdf", "Cylinder", "Signed distance to a cylinder or cone.", category::kPrimitives};
}

ZRKUIStrings::info_t ZRKUIStrings::pipe_sdf()
{
    return {"pipe_sdf", "Pipe", "Signed distance to a pipe along a curve.", category::kPrimitives};
}

ZRKUIStrings::info_t ZRKUIStrings::gyroid_pattern()
{
    return {"gyroid_pattern", "Gyroid", "A gyroid, repeated in all directions.", category::kPatterns};
}

ZRKUIStrings::info_t ZRKUIStrings::tricross_pattern()
{
    return {"tricross_pattern", "Cross", "A lattice of crossing bars, repeated in all directions.",
            category::kPatterns};
}

ZRKUIStrings::info_t ZRKUIStrings::curve_coordinates()
{
    return {"curve_coordinates", "Curve coordinates",
            "Expresses a position in coordinates along and around a curve.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::derivative_gradient()
{
    return {"derivative_gradient", "Gradient", "The gradient of a scalar field by finite differences.",
            category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::surface_coordinates()
{
    return {"surface_coordinates", "Surface coordinates",
            "Expresses a position in coordinates on and above a surface.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::shell()
{
    return {"shell", "Shell", "Turns a distance into that to a shell around its surface.",
            category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::falloff_gradient()
{
    return {"falloff_gradient", "Fall-off", "Maps a distance to a density by an editable curve.",
            category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::invert()
{
    return {"invert", "Invert", "Gives 1 - v, which turns a density inside out.", category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::density_to_levelset()
{
    return {"density_to_levelset", "Iso value", "Turns a density into a level set at an iso value.",
            category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::geometry_blend()
{
    return {"geometry_blend", "Geometry blend", "A soft sum of picked geometries.", category::kOperators};
}

ZRKUIStrings::info_t ZRKUIStrings::scalar_image()
{
    return {"scalar_image", "Scalar image", "Samples one channel of a picture.", category::kImages};
}

ZRKUIStrings::info_t ZRKUIStrings::vector_image()
{
    return {"vector_image", "Vector image", "Samples three channels of a picture as a vector.",
            category::kImages};
}

ZRKUIStrings::info_t ZRKUIStrings::color_image()
{
    return {"color_image", "Colour image", "Samples a picture as a colour.", category::kImages};
}

ZRKUIStrings::info_t ZRKUIStrings::image_blend_sweep()
{
    return {"image_blend_sweep", "Image sweep", "Sweeps one picture into another by optimal transport.",
            category::kImages};
}

ZRKUIStrings::info_t ZRKUIStrings::image_triaxial_blend()
{
    return {"image_triaxial_blend", "Image extrude",
            "Extrudes up to three pictures along the axes and combines them.", category::kImages};
}

ZRKUIStrings::info_t ZRKUIStrings::image_volume()
{
    return {"image_volume", "Image stack", "Samples a volume made of picture slices.", category::kImages};
}

ZRKUIStrings::info_t ZRKUIStrings::basic_transformation()
{
    return {"basic_transformation", "Transform", "Moves, turns and scales positions.", category::kTransforms};
}

ZRKUIStrings::info_t ZRKUIStrings::apply_transformation()
{
    return {"apply_transformation", "Apply transform",
            "Evaluates one field at the positions that another one gives.", category::kTransforms};
}

ZRKUIStrings::info_t ZRKUIStrings::beam_sdf()
{
    return {"beam_sdf", "Beam lattice", "Signed distance to a lattice of beams along the edges of a mesh.",
            category::kMesh};
}

ZRKUIStrings::info_t ZRKUIStrings::assemble_vector()
{
    return {"assemble_vector", "Assemble vector", "Makes a vector of three scalars.", category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::assemble_color()
{
    return {"assemble_color", "Assemble colour", "Makes a colour of four scalars.", category::kVectors};
}

ZRKUIStrings::info_t ZRKUIStrings::curve_length_gradient()
{
    return {"curve_length_gradient", "Curve length",
            "How far along a curve its point closest to a position lies.", category::kCoordinates};
}

ZRKUIStrings::info_t ZRKUIStrings::find(std::string_view key)
{
    for (const ZRKGraphObjectRegistration& entry : ZRKGraphObject::registry().entries()) {
        if (entry.strings.key == key) {
            return entry.strings;
        }
    }
    return {};
}

} // namespace zrkmodel

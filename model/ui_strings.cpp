#include "model/ui_strings.h"

namespace zrkmodel {

namespace {

constexpr const char* kPrimitives = "Primitives";
constexpr const char* kCoordinates = "Coordinates";
constexpr const char* kTransforms = "Transforms";
constexpr const char* kVectors = "Vectors and colours";
constexpr const char* kPatterns = "Patterns";
constexpr const char* kOperators = "Operators";
constexpr const char* kMesh = "Mesh and lattice";
constexpr const char* kImages = "Images";

} // namespace

// clang-format off
ZRKUIStrings::info_t ZRKUIStrings::spherical_coordinates() { return {"Spherical coordinates", "Expresses a position in the coordinates of a sphere.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::toroidal_coordinates() { return {"Toroidal coordinates", "Expresses a position in the coordinates of a torus.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::cylindrical_coordinates() { return {"Cylindrical coordinates", "Expresses a position in the coordinates of a cylinder.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::multipole_coordinates() { return {"Multipole coordinates", "Expresses a position in coordinates spanned by weighted poles.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::curve_coordinates() { return {"Curve coordinates", "Expresses a position in coordinates along and around a curve.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::surface_coordinates() { return {"Surface coordinates", "Expresses a position in coordinates on and above a surface.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::curve_length_gradient() { return {"Curve length", "How far along a curve its point closest to a position lies.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::coordinate_system() { return {"Position", "The position itself, as a vector.", kCoordinates}; }
ZRKUIStrings::info_t ZRKUIStrings::sphere_sdf() { return {"Sphere", "Signed distance to a sphere.", kPrimitives}; }
ZRKUIStrings::info_t ZRKUIStrings::box_sdf() { return {"Box", "Signed distance to a box.", kPrimitives}; }
ZRKUIStrings::info_t ZRKUIStrings::plane_sdf() { return {"Plane", "Signed distance to a plane.", kPrimitives}; }
ZRKUIStrings::info_t ZRKUIStrings::torus_sdf() { return {"Torus", "Signed distance to a torus.", kPrimitives}; }
ZRKUIStrings::info_t ZRKUIStrings::cylinder_sdf() { return {"Cylinder", "Signed distance to a cylinder or cone.", kPrimitives}; }
ZRKUIStrings::info_t ZRKUIStrings::pipe_sdf() { return {"Pipe", "Signed distance to a pipe along a curve.", kPrimitives}; }
ZRKUIStrings::info_t ZRKUIStrings::mesh_sdf() { return {"Mesh", "Signed distance to an imported triangle mesh.", kMesh}; }
ZRKUIStrings::info_t ZRKUIStrings::beam_sdf() { return {"Beam lattice", "Signed distance to a lattice of beams along the edges of a mesh.", kMesh}; }
ZRKUIStrings::info_t ZRKUIStrings::voxelate() { return {"Quantize", "Moves positions to the steps of a grid.", kTransforms}; }
ZRKUIStrings::info_t ZRKUIStrings::twist() { return {"Twist", "Turns positions about an axis, the more the farther along it.", kTransforms}; }
ZRKUIStrings::info_t ZRKUIStrings::bend() { return {"Bend", "Bends space around an axis.", kTransforms}; }
ZRKUIStrings::info_t ZRKUIStrings::matrix_transformation() { return {"Matrix transform", "Applies a 4 by 4 matrix to positions.", kTransforms}; }
ZRKUIStrings::info_t ZRKUIStrings::basic_transformation() { return {"Transform", "Moves, turns and scales positions.", kTransforms}; }
ZRKUIStrings::info_t ZRKUIStrings::apply_transformation() { return {"Apply transform", "Evaluates one field at the positions that another one gives.", kTransforms}; }
ZRKUIStrings::info_t ZRKUIStrings::normalize_vector() { return {"Normalize", "Scales a vector to unit length.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::norm_of_vector() { return {"Length", "The length of a vector.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::color_from_vector() { return {"Colour from vector", "Takes the components of a vector as red, green and blue.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::split_vector() { return {"Split vector", "The components of a vector as three scalars.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::split_color() { return {"Split colour", "The channels of a colour as four scalars.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::assemble_vector() { return {"Assemble vector", "Makes a vector of three scalars.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::assemble_color() { return {"Assemble colour", "Makes a colour of four scalars.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::derivative_gradient() { return {"Gradient", "The gradient of a scalar field by finite differences.", kVectors}; }
ZRKUIStrings::info_t ZRKUIStrings::gyroid_pattern() { return {"Gyroid", "A gyroid, repeated in all directions.", kPatterns}; }
ZRKUIStrings::info_t ZRKUIStrings::tricross_pattern() { return {"Cross", "A lattice of crossing bars, repeated in all directions.", kPatterns}; }
ZRKUIStrings::info_t ZRKUIStrings::periodic_wave_pattern() { return {"Pattern designer", "A periodic pattern summed from waves of your own.", kPatterns}; }
ZRKUIStrings::info_t ZRKUIStrings::binary_operator() { return {"Binary operator", "Combines two fields: sum, difference, product, minimum, maximum or blend.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::apply_mask() { return {"Mask", "Limits the weight of a field to where a mask lies.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::multiply_with_scalar() { return {"Multiply", "Multiplies a field with a scalar.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::shell() { return {"Shell", "Turns a distance into that to a shell around its surface.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::falloff_gradient() { return {"Fall-off", "Maps a distance to a density by an editable curve.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::invert() { return {"Invert", "Turns a field inside out.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::density_to_levelset() { return {"Iso value", "Turns a density into a level set at an iso value.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::geometry_blend() { return {"Geometry blend", "A soft sum of picked geometries.", kOperators}; }
ZRKUIStrings::info_t ZRKUIStrings::scalar_image() { return {"Scalar image", "Samples one channel of a picture.", kImages}; }
ZRKUIStrings::info_t ZRKUIStrings::vector_image() { return {"Vector image", "Samples three channels of a picture as a vector.", kImages}; }
ZRKUIStrings::info_t ZRKUIStrings::color_image() { return {"Colour image", "Samples a picture as a colour.", kImages}; }
ZRKUIStrings::info_t ZRKUIStrings::image_rasterFX() { return {"Raster effects", "Freezes a field into a raster and filters it.", kImages}; }
ZRKUIStrings::info_t ZRKUIStrings::image_triaxial_blend() { return {"Image extrude", "Extrudes up to three pictures along the axes and combines them.", kImages}; }
ZRKUIStrings::info_t ZRKUIStrings::image_volume() { return {"Image stack", "Samples a volume made of picture slices.", kImages}; }
ZRKUIStrings::info_t ZRKUIStrings::image_blend_sweep() { return {"Image sweep", "Sweeps one picture into another by optimal transport.", kImages}; }
// clang-format on

} // namespace zrkmodel

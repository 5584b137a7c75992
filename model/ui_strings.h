#pragma once

#include "core/values/export.h"

#include <string_view>

namespace zrkmodel {

/// The texts of types by key.
struct ZRK_API ZRKUIStrings {
    /// Texts that describe a type to a user, and the key they go by.
    struct info_t {
        const char* key = ""; ///< e.g. "sphere_sdf"
        const char* title = "";
        const char* description = ""; ///< one sentence
        const char* category = "";    ///< the heading that lists show the type under
    };

    /// @{ The texts of the components, each under its key.
    static info_t spherical_coordinates();
    static info_t toroidal_coordinates();
    static info_t cylindrical_coordinates();
    static info_t image_rasterFX();
    static info_t split_vector();
    static info_t split_color();
    static info_t voxelate();
    static info_t twist();
    static info_t bend();
    static info_t normalize_vector();
    static info_t norm_of_vector();
    static info_t color_from_vector();
    static info_t coordinate_system();
    static info_t apply_mask();
    static info_t binary_operator();
    static info_t multiply_with_scalar();
    static info_t matrix_transformation();
    static info_t mesh_sdf();
    static info_t multipole_coordinates();
    static info_t periodic_wave_pattern();
    static info_t sphere_sdf();
    static info_t box_sdf();
    static info_t plane_sdf();
    static info_t torus_sdf();
    static info_t cylinder_sdf();
    static info_t pipe_sdf();
    static info_t gyroid_pattern();
    static info_t tricross_pattern();
    static info_t curve_coordinates();
    static info_t derivative_gradient();
    static info_t surface_coordinates();
    static info_t shell();
    static info_t falloff_gradient();
    static info_t invert();
    static info_t density_to_levelset();
    static info_t geometry_blend();
    static info_t scalar_image();
    static info_t vector_image();
    static info_t color_image();
    static info_t image_blend_sweep();
    static info_t image_triaxial_blend();
    static info_t image_volume();
    static info_t basic_transformation();
    static info_t apply_transformation();
    static info_t beam_sdf();
    static info_t assemble_vector();
    static info_t assemble_color();
    static info_t curve_length_gradient();
    /// @}

    /// The texts under a key, of whatever type is registered; empty ones for a key that no type brought
    /// along.
    static info_t find(std::string_view key);
};

} // namespace zrkmodel

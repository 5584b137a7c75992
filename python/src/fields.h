#pragma once

#include "python/src/node.h"

#include <pybind11/numpy.h>

#include <array>
#include <optional>
#include <string>

namespace zrkpython {

/// What an output gives: values at points, volumes, surfaces, pictures, measures. All release the GIL while
/// they compute and are safe from many threads. `progress` is as for `run`.

/// Values at points of shape (..., 3): shape (...) or (..., components), a float for one point of a scalar
/// field. Points of other types than float64 are converted; such of any layout are read in place.
py::object valuesAt(Node& node, std::size_t output, const py::object& points, const py::object& progress);
/// The same with the weights, shape (...).
py::tuple recordsAt(Node& node, std::size_t output, const py::object& points, const py::object& progress);

using Corner = std::array<double, 3>;

/// Shape (nz, ny, nx) or (nz, ny, nx, components): the nodes lie on the faces of the bounds.
py::array volumeOf(Node& node, std::size_t output, const Corner& lower, const Corner& upper,
                   const std::array<std::int32_t, 3>& dims, std::size_t threads, const py::object& progress);

struct SurfaceOptions {
    Corner lower;
    Corner upper;
    std::array<std::int32_t, 3> cells;
    std::optional<double> iso;
    std::optional<bool> isDensity;
    bool keepsCreases;
    bool isOpen;
    double flatness;
    std::size_t threads;
};

/// Vertices of shape (n, 3) and faces of shape (k, 3).
py::tuple surfaceOf(Node& node, std::size_t output, const SurfaceOptions& options,
                    const py::object& progress);
/// Volume, area, centre, box and narrowest walls of the solid.
py::dict measuresOf(Node& node, std::size_t output, const SurfaceOptions& options, double accuracy,
                    const py::object& progress);

struct RenderOptions {
    Corner lower;
    Corner upper;
    std::optional<double> iso;
    std::optional<bool> isDensity;
    std::int32_t width;
    std::int32_t height;
    std::optional<Corner> from;
    bool isPerspective;
    std::string backdrop; ///< "studio" or "transparent"
    SharedNode paint;     ///< may be null
    std::size_t paintOutput;
    std::size_t threads;
};

/// Shape (height, width, 4), uint8.
py::array pictureOf(Node& node, std::size_t output, const RenderOptions& options, const py::object& progress);
/// A cut across an axis as colours: shape (height, width, 3), uint8.
py::array sliceOf(Node& node, std::size_t output, const Corner& lower, const Corner& upper, int axis,
                  double at, int size, std::optional<std::array<double, 2>> range,
                  const py::object& progress);

/// @{ Meshes as vertices of shape (n, 3) and faces of shape (k, 3).
py::dict meshReport(const py::array& vertices, const py::array& faces, const py::object& progress);
void writeMesh(const std::string& path, const py::array& vertices, const py::array& faces,
               const std::string& unit, const std::string& title, const std::optional<py::array>& colors,
               const py::object& progress);
py::tuple readMeshFile(const std::string& path, const py::object& progress);
/// @}

void writeVolumeFile(const std::string& path, const py::array& values, const Corner& lower,
                     const Corner& upper, const std::string& name, bool isDensity,
                     const py::object& progress);
void writePicture(const std::string& path, const py::array& pixels, const py::object& progress);

} // namespace zrkpython

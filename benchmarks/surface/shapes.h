#pragma once

#include "benchmarks/comparison.h"
#include "core/engine/field_generator.h"
#include "core/engine/prepared_field.h"
#include "core/surface/surface.h"

#include <memory>
#include <string>
#include <vector>

namespace zrk::bench {

/// A field whose surface is measured.
struct Shape {
    std::string name;
    PreparedField prepared;
    IField field;                         ///< the same, for sampling
    std::shared_ptr<const void> document; ///< what `field` reads
    double lower = -1.5;                  ///< of the bounds, along each axis
    double upper = 1.5;

    bool isDear() const { return name == "mesh" || name == "knot"; }
    double cell(int n) const { return (upper - lower) / n; }
    /// n nodes along each axis.
    Grid grid(int n) const { return Grid({lower, lower, lower}, {upper, upper, upper}, n, n, n); }
    /// n cells along each axis, with sharp creases, on one thread.
    SurfaceSettings settings(int n) const;
};

/// Returns sphere, box (2 by 1.6 by 1.2), wire (its twelve edges), rbox (the box turned), gyr (a sphere and
/// a twisted gyroid), beams and mesh (of the examples; the mesh is cut off), knot (the mesh as a whole).
/// Throws std::runtime_error if one can't be read.
std::vector<Shape> shapes();
/// Throws std::runtime_error for an unknown name.
Shape shapeNamed(const std::string& name);

} // namespace zrk::bench

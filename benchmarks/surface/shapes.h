#pragma once

#include "core/engine/field_generator.h"
#include "core/engine/prepared_field.h"
#include "core/surface/surface.h"

#include <memory>
#include <string>
#include <vector>

namespace zrk::bench {

/// A field whose surface is measured, over [-1.5, 1.5] along each axis.
struct Shape {
    std::string name;
    PreparedField prepared;
    IField field;                ///< the same, for sampling
    std::shared_ptr<void> keeps; ///< what `field` reads
};

/// Returns sphere, box (2 by 1.6 by 1.2), wire (its twelve edges), rbox (the box turned), gyr (a sphere and
/// a twisted gyroid), beams and mesh (of the examples). Throws std::runtime_error if one can't be read.
std::vector<Shape> shapes();
/// Throws std::runtime_error for an unknown name.
Shape shapeNamed(const std::string& name);

/// n cells along each axis, with sharp creases, on one thread.
SurfaceSettings settingsFor(int n);

} // namespace zrk::bench

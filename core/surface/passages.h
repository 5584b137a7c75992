#pragma once

#include "core/surface/surface.h"
#include "core/values/export.h"

#include <optional>

namespace zrk {

/// The way from a place on the surface straight on, across the surface, to where it is met again. Model
/// units.
struct Passage {
    double length = 0;
    Tensor<3, double> from{};
    Tensor<3, double> to{};
};

/// The narrowest ways through a solid and through the space beside it.
struct Passages {
    /// False where the field isn't a distance, with a slope near 1 at its surface: then no way is told.
    bool isDistance = false;
    std::optional<Passage> wall; ///< through the solid; none where every way ends at the bounds
    std::optional<Passage> gap;  ///< from the solid to the solid; none where there is none within the bounds
};

/// Goes from the centres of triangles along the field's gradient, inwards and outwards, by sphere tracing.
/// A way counts where its two sides face each other, parallel within 30 degrees, so that the edge of a wedge
/// isn't a thin wall, but a blade that tapers off more slowly is. What is told was found, so that a thinner
/// place between the centres of triangles may exist; it is thinner by some part of a cell at most where the
/// surface is smooth.
///
/// @param mesh      the surface of the field with these settings.
/// @param monitor   may be null. Nothing is returned when it interrupts.
///
/// Source: Hart, "Sphere tracing: a geometric method for the antialiased ray tracing of implicit surfaces",
/// The Visual Computer 12(10), 1996.
ZRK_API std::optional<Passages> narrowestPassages(const SurfaceMesh& mesh, const PreparedField& field,
                                                  const SurfaceSettings& settings,
                                                  ProgressMonitor* monitor = nullptr);

} // namespace zrk

#pragma once

#include "core/surface/surface.h"
#include "core/values/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace zrk {

/// A number, and an estimate of how far off it may be: how much it still changed when the cells were halved.
struct Measured {
    double value = 0;
    double error = 0;
};

/// What the solid of a field measures within its bounds, in model units.
struct SolidMeasures {
    Measured volume;
    Measured fraction;          ///< of the bounds' volume
    Measured area;              ///< of the whole surface, the cut at the bounds included
    double cutArea = 0;         ///< of what lies on the bounds
    Tensor<3, double> center{}; ///< of mass, at even density
    double centerError = 0;
    Tensor<3, double> lower{}; ///< corners of the box around the solid
    Tensor<3, double> upper{};
    double boxError = 0;
    std::uint64_t undefinedSamples = 0;  ///< that were NaN with these cells, and count as outside
    std::array<std::int32_t, 3> cells{}; ///< that these numbers were found with
    bool isAccurate = false;             ///< false where the cells ended before the accuracy was reached

    bool isEmpty() const { return volume.value == 0; }
};

/// How well a solid is measured.
struct MeasuringGoal {
    double accuracy = 1e-3;             ///< estimated error of volume and area over themselves
    std::int32_t mostCells = 512;       ///< along the longest side of the bounds
    std::size_t mostVertices = 8000000; ///< of a surface; finer ones aren't tried
};

/// Measures the solid by its surface, with edges and corners kept, at 32 cells along the longest side of the
/// bounds, then at 64, 128 and so on: three times at least, and until volume and area change by less than the
/// accuracy. Nothing of the solid that is thinner than a cell of the coarsest surfaces is sure to be seen.
/// A field without a surface in the bounds is empty, or fills them where it is solid all over.
///
/// @param settings  bounds, iso value, side and threads count; cells, creases, opening and flatness don't.
/// @param monitor   may be null. Nothing is returned when it interrupts.
///
/// Source of the integrals: Zhang, Chen, "Efficient feature extraction for 2D/3D objects in mesh
/// representation", IEEE ICIP 2001.
ZRK_API std::optional<SolidMeasures> measureSolid(const PreparedField& field, const SurfaceSettings& settings,
                                                  const MeasuringGoal& goal,
                                                  ProgressMonitor* monitor = nullptr);

} // namespace zrk

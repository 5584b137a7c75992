#include "core/raster/raster_lookup.h"

#include <cmath>

namespace zrk {

double wrappedIndex(double index, const LookupAxis& axis)
{
    const double remainder = std::fmod(index, axis.count);
    const double positive = remainder < 0 ? remainder + axis.count : remainder;
    return positive > 0 ? positive : 0.0;
}

Batch wrappedLanes(const Batch& index, const LookupAxis& axis)
{
    double lanes[Batch::size];
    index.store(lanes);
    for (double& lane : lanes) {
        lane = wrappedIndex(lane, axis);
    }
    return Batch::load(lanes);
}

} // namespace zrk

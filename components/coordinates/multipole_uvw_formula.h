#pragma once

#include "core/values/axis_frame.h"
#include "core/values/scalar_math.h"
#include "core/values/stop.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace zrk {

/// A pole with its frame: the elevation is measured along c, the azimuth from a towards b. The position is in
/// model units.
struct PoleRecord {
    Tensor<3, double> position;
    double strength;
    Tensor<3, double> a{1, 0, 0};
    Tensor<3, double> b{0, 1, 0};
    Tensor<3, double> c{0, 0, 1};
};

/// Turns the frames of two or more poles so that c points away from their centroid. A pole at the
/// centroid keeps its frame. If there are exactly two poles, the c of the first one is reversed and its a and
/// b stay: both poles then share the direction from the first to the second, and the first frame is
/// left-handed.
///
/// @param divisor  what the sum of the positions is divided by. If it is greater than the number of poles,
///                 the centroid is pulled towards the origin.
inline void aimFromCentroid(std::vector<PoleRecord>& poles, std::size_t divisor)
{
    if (poles.size() < 2) {
        return;
    }
    Tensor<3, double> centroid{};
    for (const PoleRecord& pole : poles) {
        centroid = centroid + pole.position;
    }
    for (double& coordinate : centroid) {
        coordinate /= static_cast<double>(divisor);
    }
    for (PoleRecord& pole : poles) {
        Tensor<3, double> direction = pole.position - centroid;
        if (normalize(direction) != 0) {
            pole.c = direction;
            pole.a = sideOf(direction);
            pole.b = normalized(cross(pole.c, pole.a));
        }
    }
    if (poles.size() == 2) {
        poles.front().c = poles.front().c * -1.0;
    }
}

/// Sums over all poles of the azimuth, the natural logarithm of the distance and the elevation, each times
/// the pole's strength. The angles are in radians. A pole adds nothing at its own position.
///
/// The elevation is the arcsine of a quotient. In a turned frame, rounding may take the quotient beyond 1
/// where the sample lies in line with c; then the elevation is NaN.
struct MultipoleCoordinates {
    std::shared_ptr<const std::vector<PoleRecord>> poles;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        V azimuth = 0, logarithm = 0, elevation = 0;
        StopLookout lookout;
        for (const PoleRecord& pole : *poles) {
            lookout.step();
            const Tensor<3, V> d = relativeTo(pole.position, p);
            const V r = sqrt(dot(d, d));
            const auto here = r == 0;
            const V longitude = atan2(along(pole.b, d), along(pole.a, d));
            const V latitude = asin(along(pole.c, d) / r);
            azimuth = select(here, azimuth, azimuth + longitude * pole.strength);
            logarithm = select(here, logarithm, logarithm + log(r) * pole.strength);
            elevation = select(here, elevation, elevation + latitude * pole.strength);
        }
        return {azimuth, logarithm, elevation};
    }
};

} // namespace zrk

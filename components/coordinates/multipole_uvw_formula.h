#pragma once

#include "core/values/axis_frame.h"
#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace zrk {

/// A pole as the samples see it: elevation is measured along c, azimuth from a towards b.
struct PoleRecord {
    Tensor<3, double> position;
    double strength;
    Tensor<3, double> a{1, 0, 0};
    Tensor<3, double> b{0, 1, 0};
    Tensor<3, double> c{0, 0, 1};
};

/// Turns the frames of two or more poles so that c points away from their centroid. One at the
/// centroid keeps its frame. Of exactly two, the first has its c reversed, alone: both then share
/// the direction from the first to the second, and the first frame is left-handed.
///
/// @param divisor  what the sum of positions is divided by; more than the number of poles
///                 pulls the centroid towards the origin.
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

/// Sums over all poles of azimuth, natural logarithm of the distance, and elevation, each times the
/// pole's strength. Angles in radians. A pole adds nothing at its own position.
///
/// Elevation is the arcsine of a quotient, which in a turned frame may pass 1 by rounding where
/// the sample lies in line with c: then it is NaN.
struct MultipoleCoordinates {
    std::shared_ptr<const std::vector<PoleRecord>> poles;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        V azimuth = 0, logarithm = 0, elevation = 0;
        for (const PoleRecord& pole : *poles) {
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

#pragma once

#include "core/mesh/search/closest_point.h"
#include "core/values/tensor.h"

#include <cmath>

namespace zrk {

/// Signed solid angle of the triangle a, b, c seen from p, -2 pi to 2 pi: positive on the side opposite
/// to the normal (b - a) x (c - a), and 0 on a corner and in the triangle's plane.
///
/// Source: Van Oosterom, Strackee, "The solid angle of a plane triangle", IEEE Transactions on
/// Biomedical Engineering BME-30(2), 1983.
inline double triangleSolidAngle(const double* a, const double* b, const double* c, const double* p)
{
    const Tensor<3, double> eye = pointAt(p);
    Tensor<3, double> corners[3] = {pointAt(a) - eye, pointAt(b) - eye, pointAt(c) - eye};
    double lengths[3];
    for (std::size_t i = 0; i < 3; ++i) {
        lengths[i] = length(corners[i]);
    }
    if (lengths[0] == 0.0 || lengths[1] == 0.0 || lengths[2] == 0.0) {
        return 0.0;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        for (double& component : corners[i]) {
            component = component / lengths[i];
        }
    }
    const double y = dot(corners[0], cross(corners[1], corners[2]));
    if (y == 0.0) {
        return 0.0;
    }
    return 2.0 * std::atan2(y, 1.0 + dot(corners[0], corners[1]) + dot(corners[1], corners[2]) +
                                   dot(corners[2], corners[0]));
}

} // namespace zrk

#pragma once

#include "core/values/region.h"
#include "core/values/tensor.h"

#include <cmath>
#include <limits>

namespace zrk {

/// A box along the axes, in model units. `valid` is false until finite corners have been set.
/// The `inverseSize` of a flat box is infinite across it.
template <class T>
class BBox {
public:
    Tensor<3, T> min{};
    Tensor<3, T> max{};
    Tensor<3, T> size{};        ///< max - min
    Tensor<3, T> inverseSize{}; ///< 1 / size, componentwise
    bool valid = false;

    BBox() = default;
    BBox(const Tensor<3, T>& a, const Tensor<3, T>& b) { BBox::set(a[0], a[1], a[2], b[0], b[1], b[2]); }
    BBox(const BBox&) = default;
    BBox& operator=(const BBox&) = default;
    virtual ~BBox() = default;

    /// Sets the corners to those of another box.
    virtual void set(const BBox& other) { set(other.min, other.max); }
    /// Sets two opposite corners, which may come in any order.
    virtual void set(const Tensor<3, T>& a, const Tensor<3, T>& b)
    {
        set(a[0], a[1], a[2], b[0], b[1], b[2]);
    }
    /// Sets two opposite corners by their coordinates. If one of the six numbers is infinite or NaN, it
    /// clears `valid` and changes nothing else.
    virtual void set(T x0, T y0, T z0, T x1, T y1, T z1)
    {
        const Tensor<3, T> a{x0, y0, z0};
        const Tensor<3, T> b{x1, y1, z1};
        for (int i = 0; i < 3; ++i) {
            if (!std::isfinite(a[i]) || !std::isfinite(b[i])) {
                valid = false;
                return;
            }
        }
        valid = true;
        for (int i = 0; i < 3; ++i) {
            min[i] = b[i] < a[i] ? b[i] : a[i];
            max[i] = b[i] < a[i] ? a[i] : b[i];
            size[i] = max[i] - min[i];
            inverseSize[i] = T(1) / size[i];
        }
    }
};

/// A box with a regular grid over it. The node counts stay when the box changes.
template <class T>
class GridBox : public BBox<T> {
public:
    Region<3, 3, T, 1> region;

    GridBox() = default;
    GridBox(const Tensor<3, T>& a, const Tensor<3, T>& b, int nx, int ny, int nz)
    {
        region.setDimensions(nx, ny, nz);
        GridBox::set(a[0], a[1], a[2], b[0], b[1], b[2]);
    }

    using BBox<T>::set;
    void set(T x0, T y0, T z0, T x1, T y1, T z1) override
    {
        BBox<T>::set(x0, y0, z0, x1, y1, z1);
        if (this->valid) {
            region.lower = this->min;
            region.upper = this->max;
        }
    }
};

} // namespace zrk

#pragma once

#include "core/values/tensor.h"

#include <cstdint>

namespace zrk {

/// A regular grid of nodes over a box, carried into space by an origin and three axes.
///
/// D and N are the dimensions of the grid and of space, T is the type of coordinates. K is always 1. The
/// specialisation below is the only one.
template <int D, int N, class T, int K>
class Region;

/// The grid over three dimensions. The outermost nodes lie on the faces of the box; x runs fastest.
template <class T>
class Region<3, 3, T, 1> {
public:
    Tensor<3, T> origin{};
    Tensor<3, T> axes[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    Tensor<3, T> lower{};
    Tensor<3, T> upper{};

    Region() { setDimensions(2, 2, 2); }
    Region(const Tensor<3, T>& lowerCorner, const Tensor<3, T>& upperCorner, int nx, int ny, int nz)
        : lower(lowerCorner), upper(upperCorner)
    {
        setDimensions(nx, ny, nz);
    }

    /// Sets the node counts along x, y and z and recomputes what follows from them: cell counts, strides and
    /// spacing, which is the share of the box from node to node. A count of 1 has infinite spacing, so that
    /// its positions aren't finite.
    void setDimensions(std::int32_t nx, std::int32_t ny, std::int32_t nz)
    {
        const std::int32_t n[3] = {nx, ny, nz};
        for (int i = 0; i < 3; ++i) {
            _dimensions[i] = n[i];
            _cellCounts[i] = n[i] - 1;
            _spacing[i] = T(1) / T(n[i] - 1);
        }
        // The products wrap: a grid whose strides overflow is refused before it is sampled.
        _strides[0] = 1;
        _strides[1] = nx;
        _strides[2] = wrappingProduct(nx, ny);
        _cellStrides[0] = 1;
        _cellStrides[1] = _cellCounts[0];
        _cellStrides[2] = wrappingProduct(_cellCounts[0], _cellCounts[1]);
    }

    const std::int32_t (&dimensions() const)[3] { return _dimensions; }
    const std::int32_t (&cellCounts() const)[3] { return _cellCounts; }
    const std::int32_t (&strides() const)[3] { return _strides; }
    const std::int32_t (&cellStrides() const)[3] { return _cellStrides; }
    const Tensor<3, T>& spacing() const { return _spacing; }

    /// The position in space of a node, or of a place between nodes.
    Tensor<3, T> localToWorld(T ix, T iy, T iz) const
    {
        const T v0 = lower[0] + (upper[0] - lower[0]) * (ix * _spacing[0]);
        const T v1 = lower[1] + (upper[1] - lower[1]) * (iy * _spacing[1]);
        const T v2 = lower[2] + (upper[2] - lower[2]) * (iz * _spacing[2]);
        Tensor<3, T> world{};
        for (int c = 0; c < 3; ++c) {
            world[c] = origin[c] + v0 * axes[0][c] + v1 * axes[1][c] + v2 * axes[2][c];
        }
        return world;
    }

private:
    std::int32_t _dimensions[3];
    std::int32_t _cellCounts[3];
    std::int32_t _strides[3];
    std::int32_t _cellStrides[3];
    Tensor<3, T> _spacing{};

    static std::int32_t wrappingProduct(std::int32_t a, std::int32_t b)
    {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
    }
};

} // namespace zrk

#pragma once

#include "core/picture/picture_work.h"
#include "core/picture/trace_plan.h"

#include <array>
#include <cstdint>
#include <vector>

namespace zrk::picture {

inline constexpr std::int32_t kTileEdge = 64;
inline constexpr std::size_t kTilePixels = std::size_t{kTileEdge} * kTileEdge;

using TilePixel = std::uint16_t;  ///< row * kTileEdge + column
using FieldIndex = std::uint16_t; ///< one of the fields of a `TileSamples`

/// Samples along the rays of a tile, gathered so that fields are asked for many at a time: the plan's field,
/// and what is left of it in parts of the tile.
class TileSamples {
public:
    TileSamples();

    /// For a tile with its upper left pixel at (x0, y0). What is handed over must live as long as the tile is
    /// looked at.
    void begin(const TracePlan& plan, PictureWork& work, std::int32_t x0, std::int32_t y0);
    /// The number of what is left of the plan's field somewhere, for the samples there.
    FieldIndex indexOf(const InsideField& left);
    const InsideField& field(FieldIndex index) const { return _fields[index]; }

    double across(std::int32_t column) const { return _across[static_cast<std::size_t>(column)]; }
    double upwards(std::int32_t row) const { return _upwards[static_cast<std::size_t>(row)]; }
    const TracePlan& plan() const { return *_plan; }
    std::size_t placeOf(const DepthPicture& out, TilePixel pixel) const
    {
        return out.at(_x0 + pixel % kTileEdge, _y0 + pixel / kTileEdge);
    }
    /// The position that a pixel sees at a depth.
    Vector3 positionOf(TilePixel pixel, double depth) const
    {
        return _plan->camera.position(_x0 + pixel % kTileEdge, _y0 + pixel / kTileEdge, depth);
    }

    // By sample; room for four a pixel.
    std::size_t count = 0;
    std::vector<TilePixel> pixels;
    std::vector<double> depths, values, x, y, z;

    void add(TilePixel pixel, double depth)
    {
        pixels[count] = pixel;
        depths[count++] = depth;
    }
    void add(const Vector3& position)
    {
        x[count] = position[0];
        y[count] = position[1];
        z[count++] = position[2];
    }
    /// Finds a field's values at the pixels and depths listed, and their positions. False when it was
    /// interrupted.
    bool evaluate(FieldIndex field);
    /// The same at the positions listed.
    bool evaluatePositions(FieldIndex field);

private:
    const TracePlan* _plan = nullptr;
    PictureWork* _work = nullptr;
    std::vector<InsideField> _fields; ///< the plan's first
    std::int32_t _x0 = 0;
    std::int32_t _y0 = 0;
    std::array<double, kTileEdge> _across{};
    std::array<double, kTileEdge> _upwards{};
};

} // namespace zrk::picture

#pragma once

#include "core/picture/tile_samples.h"

#include <vector>

namespace zrk::picture {

/// The solid's surface lies between two depths of a ray.
struct Bracket {
    TilePixel pixel;
    double from; ///< depth, outside
    double fromValue;
    double to; ///< depth, inside; equal to `from` where the solid begins with a jump
    double toValue;
};

/// What the rays of a tile hit: gathered, then found and written together.
class TileHits {
public:
    /// The samples must outlive this object.
    explicit TileHits(TileSamples& samples) : _samples(samples) {}

    void clear()
    {
        _brackets.clear();
        _cuts.clear();
    }
    void addSurface(const Bracket& bracket) { _brackets.push_back(bracket); }
    /// The ray of a pixel enters the region at this depth, inside the solid.
    void addCut(TilePixel pixel, double depth) { _cuts.push_back({pixel, depth}); }

    /// Writes what was gathered into a picture and forgets it. What is written after an interrupt is of no
    /// use.
    ///
    /// A crossing is narrowed by one step of the regula falsi and placed by the parabola through its three
    /// values. Normals are differences over a tetrahedron of 0.35 pixels.
    void write(DepthPicture& out);

private:
    struct Cut {
        TilePixel pixel;
        double depth;
    };
    /// Where a bracket is looked into next.
    struct Look {
        Bracket* bracket;
        double depth;
    };

    TileSamples& _samples;
    std::vector<Bracket> _brackets;
    std::vector<Cut> _cuts;
    std::vector<Look> _unsettled;

    void narrow();
    void writeRoughly(DepthPicture& out);
    void writeNormals(DepthPicture& out);
    void writeCuts(DepthPicture& out);
};

} // namespace zrk::picture

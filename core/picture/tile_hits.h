#pragma once

#include "core/picture/tile_samples.h"

#include <vector>

namespace zrk::picture {

/// The solid's surface lies between two depths of a ray.
struct Bracket {
    TilePixel pixel;
    FieldIndex field; ///< in which samples there are taken
    double from;      ///< depth, outside
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
        for (OfField& hits : _hits) {
            hits.brackets.clear();
            hits.cuts.clear();
        }
    }
    void addSurface(const Bracket& bracket) { of(bracket.field).brackets.push_back(bracket); }
    /// The ray of a pixel enters the region at this depth, inside the solid.
    void addCut(TilePixel pixel, FieldIndex field, double depth) { of(field).cuts.push_back({pixel, depth}); }

    /// Writes what was gathered into a picture and forgets it. What is written after an interrupt is of no
    /// use.
    ///
    /// A crossing is narrowed by one sample beside that of its chord and placed by the parabola through its
    /// three values. Normals are differences over a tetrahedron of 0.35 pixels.
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

    struct OfField {
        std::vector<Bracket> brackets;
        std::vector<Cut> cuts;
    };

    TileSamples& _samples;
    std::vector<OfField> _hits; ///< by field
    std::vector<Look> _unsettled;

    OfField& of(FieldIndex field)
    {
        if (_hits.size() <= field) {
            _hits.resize(field + std::size_t{1});
        }
        return _hits[field];
    }
    void narrow(std::vector<Bracket>& brackets);
    void writeRoughly(const OfField& hits, DepthPicture& out);
    void writeNormals(const std::vector<Bracket>& brackets, DepthPicture& out);
    void writeCuts(const std::vector<Cut>& cuts, FieldIndex field, DepthPicture& out);
};

} // namespace zrk::picture

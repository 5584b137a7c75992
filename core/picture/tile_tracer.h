#pragma once

#include "core/picture/tile_hits.h"
#include "core/picture/tile_samples.h"

#include <array>
#include <cstdint>
#include <vector>

namespace zrk::picture {

/// Finds what the pixels of a tile see: boxes of 64, 16 and 4 pixels front to back by the field's bounds,
/// then samples at every second pixel of depth in what is neither surely outside nor surely inside, gathered
/// over the whole tile. For one thread; some 700 KB.
///
/// - A ray begins where it enters the region; if it does so inside the solid, it hits a cut.
/// - Between two samples outside whose slopes point to a crossing, three more are looked at, and one more
///   where the slopes of these meet inside.
/// - What rays hit is found by `TileHits`.
///
/// Source: Keeter, "Massively parallel rendering of complex closed-form implicit surfaces", ACM Transactions
/// on Graphics 39(4), 2020, doi:10.1145/3386569.3392429, for few levels of many boxes; Duff, "Interval
/// arithmetic and recursive subdivision for implicit functions and constructive solid geometry", SIGGRAPH
/// 1992. Here: boxes turned with the camera, and rays sampled in blocks.
class TileTracer {
public:
    TileTracer();

    /// Writes the tile's pixels. What was written before it was interrupted is of no use.
    void trace(const TracePlan& plan, PictureWork& work, std::int32_t tile, DepthPicture& out);

private:
    static constexpr std::int32_t kEdge = kTileEdge;
    static constexpr std::size_t kPixels = kTilePixels;
    using Pixel = TilePixel;

    enum class Content : std::uint8_t { Outside, Inside, Mixed };
    /// A box of pixels, and what is left of the field in it and around.
    struct Part {
        Content content = Content::Outside;
        FieldIndex field = 0;
    };
    /// The parts of a layer of boxes of 16 pixels in which the same is left of the field.
    struct Region {
        FieldIndex field;
        std::array<std::uint64_t, kEdge / 16> columns; ///< by row of boxes
    };

    /// Two samples of a ray outside, between which it may touch the solid.
    struct Gap {
        Bracket ends;
        double slopeBefore, slopeAfter; ///< of the steps beside it; NaN where not known
    };

    const TracePlan* _plan = nullptr;
    PictureWork* _work = nullptr;
    std::int32_t _x0 = 0;
    std::int32_t _y0 = 0;
    bool _hasRays = false;

    std::array<std::uint64_t, kEdge> _open{};  ///< rays that have hit nothing yet
    std::array<std::uint64_t, kEdge> _known{}; ///< rays whose last sample is where the layer begins

    // By pixel.
    std::vector<double> _entry, _exit;   ///< depths at which rays enter and leave the region
    std::vector<double> _earlier, _last; ///< values of the two last samples

    std::vector<Region> _regions;

    // By ray of a layer, in one region.
    std::size_t _rays = 0;
    std::vector<Pixel> _rayPixels;
    std::vector<double> _rayEntry, _rayExit;
    std::vector<double> _rayEarlier, _rayStart; ///< values a step before the layer and where it begins
    std::size_t _freshRays = 0;
    std::vector<Pixel> _fresh; ///< rays without a sample where the layer begins

    TileSamples _samples;
    TileHits _hits{_samples};
    std::vector<PositionBox> _boxes; ///< around those for which fields are asked
    std::vector<InsideField> _left;  ///< what is left in these
    std::vector<Bracket> _crossings; ///< of the layer, before gaps are looked at
    std::vector<Gap> _gaps;          ///< of the layer
    std::vector<Bracket> _dips;      ///< of the layer: from a sample in a gap to where the ray is deepest

    void begin(const TracePlan& plan, std::int32_t tile);
    void clear(DepthPicture& out) const;
    void traceSlabs();
    void findParts(FieldIndex field, const PixelBox* boxes, std::size_t count, Part* parts);
    Content contentOf(const Interval<double>& bounds) const;
    bool isOpen(std::int32_t x, std::int32_t y, std::int32_t edge) const;
    bool hasOpen() const;
    void findRays();
    void forget() { _known.fill(0); }
    void contentsOf(FieldIndex field, const PixelBox* boxes, std::size_t count, Content* contents) const;
    void closeInside(FieldIndex field, std::int32_t x, std::int32_t y, std::int32_t edge,
                     const Interval<double>& depths);
    void closeInside(FieldIndex field, Pixel pixel, double from, double to);
    void close(Pixel pixel) { _open[pixel / kEdge] &= ~(std::uint64_t{1} << (pixel % kEdge)); }
    bool isOpen(Pixel pixel) const { return (_open[pixel / kEdge] >> (pixel % kEdge) & 1) != 0; }

    void traceSlab(FieldIndex field, std::int32_t firstStep);
    void traceBlocks(std::int32_t firstStep, const Part* parts);
    void findRegions(const Part* parts);
    void traceLayer(const Region& region, std::int32_t firstStep, const Content* contents);
    void gatherRays(const Region& region, std::int32_t firstStep, const Content* contents);
    bool sampleLayer(FieldIndex field, std::int32_t firstStep);
    void findCrossings(FieldIndex field, std::int32_t firstStep);
    void examine(FieldIndex field, std::size_t ray, std::int32_t firstStep);
    void lookIntoGaps(FieldIndex field);
    void findDips(const Gap& gap, std::size_t firstSample);
    bool lookIntoDips(FieldIndex field);
};

} // namespace zrk::picture

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
/// - Between two samples outside whose slopes point to a crossing, three more are looked at.
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

    // By ray of a layer.
    std::size_t _rays = 0;
    std::vector<Pixel> _rayPixels;
    std::vector<double> _rayEntry, _rayExit;
    std::vector<double> _rayEarlier, _rayStart; ///< values a step before the layer and where it begins
    std::size_t _freshRays = 0;
    std::vector<Pixel> _fresh; ///< rays without a sample where the layer begins

    TileSamples _samples;
    TileHits _hits{_samples};        ///< of the tile, since the field was changed
    std::vector<Bracket> _crossings; ///< of the layer, before gaps are looked at
    std::vector<Bracket> _gaps;      ///< of the layer: both ends are outside

    void begin(const TracePlan& plan, std::int32_t tile);
    void clear(DepthPicture& out) const;
    void traceSlabs(DepthPicture& out);
    void use(const InsideField& field, DepthPicture& out);
    InsideField fieldIn(const PixelBox& slab) const;
    Content contentOf(const Interval<double>& bounds) const;
    bool isOpen(std::int32_t x, std::int32_t y, std::int32_t edge) const;
    bool hasOpen() const;
    void findRays();
    void forget() { _known.fill(0); }
    void contentsOf(const PixelBox* boxes, std::size_t count, Content* contents) const;
    void closeInside(std::int32_t x, std::int32_t y, std::int32_t edge, const Interval<double>& depths);
    void closeInside(Pixel pixel, double from, double to);
    void close(Pixel pixel) { _open[pixel / kEdge] &= ~(std::uint64_t{1} << (pixel % kEdge)); }
    bool isOpen(Pixel pixel) const { return (_open[pixel / kEdge] >> (pixel % kEdge) & 1) != 0; }

    void traceSlab(std::int32_t firstStep);
    void traceBlocks(std::int32_t firstStep, const Content* contents);
    void traceLayer(std::int32_t firstStep, const Content* contents);
    void gatherRays(std::int32_t firstStep, const Content* contents);
    bool sampleLayer(std::int32_t firstStep);
    void findCrossings(std::int32_t firstStep);
    void examine(std::size_t ray, std::int32_t firstStep);
    void lookIntoGaps();
};

} // namespace zrk::picture

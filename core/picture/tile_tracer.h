#pragma once

#include "core/picture/depth_picture.h"
#include "core/picture/inside_field.h"
#include "core/picture/picture_work.h"
#include "core/picture/tile_boxes.h"

#include <array>
#include <cstdint>
#include <vector>

namespace zrk::picture {

/// What all tiles of a trace share.
struct TracePlan {
    const InsideField& field;
    PositionBox region;
    Camera camera;
    TileBoxes boxes;
    double nearest;          ///< depth at which slabs begin, the same for all tiles
    double step;             ///< depth between two samples of a ray: two pixels
    std::int32_t slabs;      ///< as deep as a tile is wide
    std::int32_t tileEdge;   ///< 64 or 16 pixels
    bool hasNormals;         ///< else only depths, kinds and values are found
    const PixelMask* pixels; ///< those to look at; null for all

    TracePlan(const InsideField& field, const PositionBox& region, const Camera& camera, bool hasNormals,
              const PixelMask* pixels);

    double depthAt(std::int32_t index) const { return nearest + index * step; }
    std::int32_t tilesAcross() const { return (camera.width + tileEdge - 1) / tileEdge; }
    std::int32_t tilesDown() const { return (camera.height + tileEdge - 1) / tileEdge; }
};

/// Finds what the pixels of a tile see: boxes of 64, 16 and 4 pixels front to back by the field's bounds,
/// then samples at every second pixel of depth in what is neither surely outside nor surely inside, gathered
/// over the whole tile. For one thread; some 700 KB.
///
/// - A ray begins where it enters the region; if it does so inside the solid, it hits a cut.
/// - Between two samples outside whose slopes point to a crossing, three more are looked at.
/// - A crossing is narrowed by one step of the regula falsi and placed by the parabola through its three
/// values.
/// - Normals are differences over a tetrahedron of 0.35 pixels.
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
    static constexpr std::int32_t kEdge = 64;
    static constexpr std::size_t kPixels = std::size_t{kEdge} * kEdge;

    enum class Content : std::uint8_t { Outside, Inside, Mixed };
    using Pixel = std::uint16_t; ///< row * kEdge + column

    /// The solid's surface lies between two depths of a ray.
    struct Bracket {
        Pixel pixel;
        double from; ///< depth, outside
        double fromValue;
        double to; ///< depth, inside; equal to `from` where the solid begins with a jump
        double toValue;
    };
    /// Where a bracket is looked into next.
    struct Look {
        Bracket* bracket;
        double depth;
    };

    const TracePlan* _plan = nullptr;
    PictureWork* _work = nullptr;
    std::int32_t _x0 = 0;
    std::int32_t _y0 = 0;
    bool _hasRays = false;

    std::array<std::uint64_t, kEdge> _open{};  ///< rays that have hit nothing yet
    std::array<std::uint64_t, kEdge> _known{}; ///< rays whose last sample is where the layer begins
    std::array<double, kEdge> _across{};
    std::array<double, kEdge> _upwards{};

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

    // By sample.
    std::size_t _count = 0;
    std::vector<Pixel> _pixels;
    std::vector<double> _depths, _values, _x, _y, _z;

    std::vector<Bracket> _brackets;  ///< of the tile
    std::vector<Bracket> _crossings; ///< of the layer, before gaps are looked at
    std::vector<Bracket> _gaps;      ///< of the layer: both ends are outside
    std::vector<Pixel> _cuts;
    std::vector<Look> _unsettled;

    void begin(const TracePlan& plan, std::int32_t tile);
    void clear(DepthPicture& out) const;
    void traceSlabs();
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

    void add(Pixel pixel, double depth)
    {
        _pixels[_count] = pixel;
        _depths[_count++] = depth;
    }
    bool evaluate();
    bool evaluatePositions();
    void narrow();
    void write(DepthPicture& out);
    void writeNormals(DepthPicture& out);
    void writeCuts(DepthPicture& out);
    std::size_t placeOf(const DepthPicture& out, Pixel pixel) const
    {
        return out.at(_x0 + pixel % kEdge, _y0 + pixel / kEdge);
    }
};

} // namespace zrk::picture

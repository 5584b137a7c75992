#include "benchmarks/surface/peers.h"

#if ZRK_BENCH_OPENVDB
#include "benchmarks/comparison.h"
#include "core/engine/rasterize.h"

#include <openvdb/openvdb.h>
#include <openvdb/tools/SignedFloodFill.h>
#include <openvdb/tools/VolumeToMesh.h>
#include <tbb/global_control.h>

#include <cmath>
#include <memory>
#include <vector>
#endif

namespace zrk::bench {

#if ZRK_BENCH_OPENVDB

bool hasOpenVdbPeer() { return true; }

SurfacePeer openVdbPeer(const Shape& shape, int n, PeerGrid form)
{
    const double h = shape.cell(n);
    const auto band = static_cast<float>(3 * h);
    const auto grid = openvdb::FloatGrid::create(band);
    grid->setTransform(openvdb::math::Transform::createLinearTransform(h));
    grid->setGridClass(openvdb::GRID_LEVEL_SET);
    Image image;
    rasterizeField(shape.field, shape.grid(n), image, nullptr, 1);
    auto accessor = grid->getAccessor();
    for (int z = 0; z < n; ++z) {
        for (int y = 0; y < n; ++y) {
            for (int x = 0; x < n; ++x) {
                const std::size_t place = (static_cast<std::size_t>(z) * static_cast<std::size_t>(n) +
                                           static_cast<std::size_t>(y)) *
                                              static_cast<std::size_t>(n) +
                                          static_cast<std::size_t>(x);
                const auto value = static_cast<float>(image.data[place]);
                if (form == PeerGrid::Dense || std::abs(value) < band) {
                    accessor.setValue(openvdb::Coord(x, y, z), value);
                }
            }
        }
    }
    if (form == PeerGrid::NarrowBand) {
        openvdb::tools::signedFloodFillWithValues(grid->tree(), band, -band);
    }
    return {[grid] {
        const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
        std::vector<openvdb::Vec3s> points;
        std::vector<openvdb::Vec3I> triangles;
        std::vector<openvdb::Vec4I> quads;
        openvdb::tools::volumeToMesh(*grid, points, triangles, quads, 0.0, 0.0);
        return triangles.size() + 2 * quads.size();
    }};
}

#else

bool hasOpenVdbPeer() { return false; }
SurfacePeer openVdbPeer(const Shape&, int, PeerGrid) { return {}; }

#endif

} // namespace zrk::bench

#include "host/narrow_band.h"

#include "core/engine/keep_going.h"
#include "core/engine/worker_team.h"
#include "core/surface/surface_field.h"
#include "formats/atomic_file.h"
#include "formats/vdb.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <memory>
#include <span>
#include <tuple>
#include <vector>

namespace zrkmodel {

namespace {

using VoxelIndex = std::array<std::int32_t, 3>;

constexpr std::int32_t kBoxEdge = zrk::kVdbLeafEdge;
constexpr std::size_t kBoxNodes = std::size_t{kBoxEdge} * kBoxEdge * kBoxEdge;
/// Boxes that are sampled before they are handed over.
constexpr std::size_t kBoxesAtOnce = 4096;
/// Cubes whose bounds are asked for in one call.
constexpr std::size_t kCubes = 64;
/// How much of the work is done when the boxes are known, and when they are sampled.
constexpr double kShareOfSearch = 0.1;
constexpr double kShareOfSamples = 0.8;

/// A cube of voxels; its edge is that of a box times a power of two.
struct VoxelCube {
    VoxelIndex first;
    std::int32_t edge;
};

class BandWork {
public:
    BandWork(const NarrowBand& band, zrk::VdbLevelSet& levelSet, const zrk::KeepGoing& keepGoing)
        : _band(band),
          _levelSet(levelSet),
          _keepGoing(keepGoing),
          _field(band.field, 0, false, corner(band.bounds.min), corner(band.bounds.max)),
          _width(band.width * band.voxel)
    {
        // Room for the band outside of the bounds.
        const auto margin = static_cast<std::int32_t>(std::ceil(band.width)) + 1;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double nodes = (band.bounds.max[axis] - band.bounds.min[axis]) / band.voxel;
            _low[axis] = -(margin / kBoxEdge + 1) * kBoxEdge;
            _high[axis] = static_cast<std::int32_t>(std::ceil(nodes)) + margin + 1;
            _summary.boxes = (axis == 0 ? 1 : _summary.boxes) *
                             static_cast<std::uint64_t>((_high[axis] - _low[axis] + kBoxEdge - 1) / kBoxEdge);
        }
    }

    /// Nothing where it was stopped.
    bool run() { return search() && sample(); }
    BandSummary summary() const
    {
        BandSummary all = _summary;
        all.sampledBoxes = _boxes.size();
        all.activeNodes = _levelSet.activeVoxels();
        return all;
    }

private:
    const NarrowBand& _band;
    zrk::VdbLevelSet& _levelSet;
    const zrk::KeepGoing& _keepGoing;
    zrk::surface::SurfaceField _field;
    double _width;      ///< of the band, model units
    VoxelIndex _low{};  ///< first voxel
    VoxelIndex _high{}; ///< after the last
    std::vector<VoxelIndex> _boxes;
    BandSummary _summary;

    static zrk::surface::Point corner(const zrk::Tensor<3, double>& p) { return {p[0], p[1], p[2]}; }

    double coordinate(std::size_t axis, std::int32_t voxel) const
    {
        return _band.bounds.min[axis] + _band.voxel * voxel;
    }

    /// Distance to the bounds along the axis that is furthest out, over a cube: negative inside.
    zrk::Interval<double> outside(const VoxelCube& cube) const
    {
        zrk::Interval<double> all(-HUGE_VAL);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double first = coordinate(axis, cube.first[axis]);
            const double last = coordinate(axis, cube.first[axis] + cube.edge - 1);
            const double lower = _band.bounds.min[axis];
            const double upper = _band.bounds.max[axis];
            const auto at = [&](double x) { return std::max(lower - x, x - upper); };
            const double middle = std::clamp(0.5 * (lower + upper), first, last);
            all.lower = std::max(all.lower, at(middle));
            all.upper = std::max({all.upper, at(first), at(last)});
        }
        return all;
    }

    /// Halves cubes down to boxes; those beyond the band on the inside are filled.
    bool search()
    {
        std::int32_t edge = kBoxEdge;
        const std::int32_t longest = std::max({_high[0] - _low[0], _high[1] - _low[1], _high[2] - _low[2]});
        while (edge < longest) {
            edge *= 2;
        }
        std::vector<VoxelCube> open;
        for (int part = 0; part < 8; ++part) {
            open.push_back({{(part & 1) - 1, (part >> 1 & 1) - 1, (part >> 2) - 1}, edge});
            for (std::int32_t& number : open.back().first) {
                number *= edge;
            }
        }
        while (!open.empty()) {
            if (!zrk::goesOn(_keepGoing, 0)) {
                return false;
            }
            const std::size_t count = std::min(open.size(), kCubes);
            const std::vector<VoxelCube> cubes(open.end() - static_cast<std::ptrdiff_t>(count), open.end());
            open.resize(open.size() - count);
            zrk::PositionBox positions[kCubes];
            zrk::Interval<double> bounds[kCubes];
            for (std::size_t i = 0; i < count; ++i) {
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    positions[i][axis] = {coordinate(axis, cubes[i].first[axis]),
                                          coordinate(axis, cubes[i].first[axis] + cubes[i].edge - 1)};
                }
            }
            _field.bounds({positions, count}, bounds);
            for (std::size_t i = 0; i < count; ++i) {
                settle(cubes[i], bounds[i], open);
            }
        }
        // In one order, whatever the search was like.
        std::sort(_boxes.begin(), _boxes.end(), [](const VoxelIndex& a, const VoxelIndex& b) {
            return std::tie(a[2], a[1], a[0]) < std::tie(b[2], b[1], b[0]);
        });
        return true;
    }

    void settle(const VoxelCube& cube, const zrk::Interval<double>& bounds, std::vector<VoxelCube>& open)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (cube.first[axis] >= _high[axis] || cube.first[axis] + cube.edge <= _low[axis]) {
                return;
            }
        }
        const zrk::Interval<double> cut = outside(cube);
        // NaN counts as outside, and only the entire interval may hold it.
        const bool isOutside = cut.lower > _width || (!bounds.isEntire() && bounds.lower > _width);
        if (isOutside) {
            return;
        }
        if (!bounds.isEntire() && std::max(bounds.upper, cut.upper) < -_width) {
            _levelSet.fillInside(cube.first, cube.edge);
        } else if (cube.edge == kBoxEdge) {
            _boxes.push_back(cube.first);
        } else {
            const std::int32_t edge = cube.edge / 2;
            for (int part = 0; part < 8; ++part) {
                VoxelIndex first = cube.first;
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    first[axis] += (part >> axis & 1) * edge;
                }
                open.push_back({first, edge});
            }
        }
    }

    bool sample()
    {
        std::vector<double> values(std::min(kBoxesAtOnce, _boxes.size()) * kBoxNodes);
        for (std::size_t begin = 0; begin < _boxes.size(); begin += kBoxesAtOnce) {
            const std::size_t count = std::min(kBoxesAtOnce, _boxes.size() - begin);
            if (!sampleSome(begin, count, values.data())) {
                return false;
            }
            for (std::size_t i = 0; i < count; ++i) {
                _levelSet.add(_boxes[begin + i], {values.data() + i * kBoxNodes, kBoxNodes});
            }
        }
        return true;
    }

    bool sampleSome(std::size_t begin, std::size_t count, double* values) const
    {
        std::atomic<std::size_t> next{0};
        std::atomic<bool> isStopped{false};
        zrk::runTeam(
            std::clamp<std::size_t>(count, 1, zrk::workerCount(_band.threads)),
            [&](std::size_t worker, std::size_t) {
                std::array<std::vector<double>, 3> positions;
                positions.fill(std::vector<double>(kBoxNodes));
                for (std::size_t i = next++; i < count && !isStopped; i = next++) {
                    sampleBox(_boxes[begin + i], positions, values + i * kBoxNodes);
                    const double done = static_cast<double>(begin + i) / static_cast<double>(_boxes.size());
                    if (worker == 0 && !zrk::goesOn(_keepGoing, kShareOfSearch + kShareOfSamples * done)) {
                        isStopped = true;
                    }
                }
            });
        return !isStopped;
    }

    void sampleBox(const VoxelIndex& first, std::array<std::vector<double>, 3>& positions, double* out) const
    {
        for (std::size_t node = 0; node < kBoxNodes; ++node) {
            const std::size_t at[3] = {node % kBoxEdge, node / kBoxEdge % kBoxEdge,
                                       node / (kBoxEdge * kBoxEdge)};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                positions[axis][node] = coordinate(axis, first[axis] + static_cast<std::int32_t>(at[axis]));
            }
        }
        _field.values(positions[0].data(), positions[1].data(), positions[2].data(), kBoxNodes, out);
    }
};

} // namespace

zrk::Result<BandSummary> writeNarrowBand(const std::string& file, const NarrowBand& band,
                                         zrk::ProgressMonitor* monitor)
{
    return zrk::attempt(file, [&] {
        zrk::AtomicFile target = zrk::valueOrThrow(zrk::AtomicFile::create(file));
        const auto& origin = band.bounds.min;
        const std::unique_ptr<zrk::VdbLevelSet> levelSet =
            zrk::valueOrThrow(zrk::beginLevelSet({{origin[0], origin[1], origin[2]},
                                                  band.voxel,
                                                  band.width * band.voxel,
                                                  band.type,
                                                  band.name,
                                                  band.unit}));
        const zrk::KeepGoing keepGoing = zrk::followedBy(monitor);
        BandWork work(band, *levelSet, keepGoing);
        if (!work.run()) {
            throw zrk::FaultError(zrk::interruptedAt(file));
        }
        const BandSummary summary = work.summary();
        if (summary.activeNodes == 0) {
            throw zrk::FaultError(
                {file, "no node within the band", "a field that is 0 somewhere in the bounds",
                 "give other --bounds, a wider --band or a higher --resolution", zrk::FaultKind::FailedWork});
        }
        const auto sink = [&target](const void* bytes, std::size_t size) {
            return target.write(bytes, size);
        };
        zrk::valueOrThrow(levelSet->write(sink, zrk::partOf(keepGoing, kShareOfSearch + kShareOfSamples, 1)));
        zrk::valueOrThrow(target.commit());
        return summary;
    });
}

} // namespace zrkmodel

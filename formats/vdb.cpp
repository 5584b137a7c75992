// The only source beside tests that includes OpenVDB: a module, see vdb_module.h.

#include "formats/vdb_module.h"

#include "core/engine/worker_team.h"
#include "core/mesh/mesh_field.h"
#include "core/values/stop.h"
#include "formats/input_file.h"
#include "formats/part.h"
#include "formats/volume_source.h"

#include <openvdb/io/Stream.h>
#include <openvdb/openvdb.h>
#include <openvdb/tools/SignedFloodFill.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <functional>
#include <istream>
#include <limits>
#include <memory>
#include <numbers>
#include <optional>
#include <ostream>
#include <span>
#include <streambuf>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace zrk {

namespace {

using openvdb::Coord;

constexpr std::int32_t kLeafEdge = kVdbLeafEdge;
constexpr double kBandVoxels = 3; ///< to each side, what tools for level sets expect
/// How much of the work is done when the file is begun.
constexpr double kShareOfGrid = 0.7;

/// Leaves OpenVDB's writer in the middle.
struct Stopped {
    bool byUser;
};

/// A stream's bytes on their way into a sink. Asks every now and then whether to go on.
class SinkBuffer final : public std::streambuf {
public:
    SinkBuffer(const ByteSink& sink, const KeepGoing& keepGoing, double expectedBytes)
        : _sink(sink), _keepGoing(keepGoing), _expected(expectedBytes)
    {}

protected:
    std::streamsize xsputn(const char* bytes, std::streamsize size) override
    {
        constexpr std::size_t kBytesBetween = 1 << 16;
        _bytes += static_cast<std::size_t>(size);
        if (_bytes >= _nextQuestion) {
            _nextQuestion = _bytes + kBytesBetween;
            const double written = std::min(1.0, static_cast<double>(_bytes) / _expected);
            if (!goesOn(_keepGoing, kShareOfGrid + (1 - kShareOfGrid) * written)) {
                throw Stopped{true};
            }
        }
        if (!_sink(bytes, static_cast<std::size_t>(size))) {
            throw Stopped{false};
        }
        return size;
    }
    int_type overflow(int_type byte) override
    {
        const char one = traits_type::to_char_type(byte);
        xsputn(&one, 1);
        return byte;
    }

private:
    const ByteSink& _sink;
    const KeepGoing& _keepGoing;
    double _expected;
    std::size_t _bytes = 0;
    std::size_t _nextQuestion = 0;
};

/// Writes grids as a file; what the sink doesn't take is the sink's to tell.
Result<void> writeGrids(const openvdb::GridCPtrVec& grids, const ByteSink& sink, const KeepGoing& keepGoing)
{
    double bytes = 1;
    for (const auto& grid : grids) {
        bytes += static_cast<double>(grid->memUsage());
    }
    SinkBuffer buffer(sink, keepGoing, bytes);
    std::ostream stream(&buffer);
    stream.exceptions(std::ios::badbit); // so that what the buffer throws comes through
    try {
        openvdb::io::Stream(stream).write(grids);
    } catch (const Stopped& stopped) {
        return stopped.byUser ? Result<void>(refused(interruptedAt("writing"))) : Result<void>();
    }
    return goesOn(keepGoing, 1) ? Result<void>() : Result<void>(refused(interruptedAt("writing")));
}

/// Position, name and unit of a grid.
void describe(openvdb::GridBase& grid, const openvdb::Vec3d& step, const openvdb::Vec3d& origin,
              const std::string& name, const std::string& unit)
{
    auto transform = openvdb::math::Transform::createLinearTransform();
    transform->preScale(step);
    transform->postTranslate(origin);
    grid.setTransform(transform);
    grid.setName(name);
    grid.setCreator("zrk");
    if (!unit.empty()) {
        grid.insertMeta("unit", openvdb::StringMetadata(unit));
    }
}

/// The nodes of a volume as a grid, row by row.
template <class Grid>
class GridOfRows {
public:
    GridOfRows(const Volume& volume, const std::string& name)
        : _columns(volume.dims[0]),
          _leavesAlongX((volume.dims[0] + kLeafEdge - 1) / kLeafEdge),
          _leavesAlongY((volume.dims[1] + kLeafEdge - 1) / kLeafEdge),
          _grid(Grid::create(openvdb::zeroVal<Value>()))
    {
        describe(*_grid, {volume.spacing(0), volume.spacing(1), volume.spacing(2)},
                 {volume.lower[0], volume.lower[1], volume.lower[2]}, name, volume.unit);
    }

    /// The next row; valueAt(i) is its i-th value.
    template <class ValueAt>
    void add(std::int32_t y, std::int32_t z, const ValueAt& valueAt)
    {
        if (y == 0 && z % kLeafEdge == 0) {
            finishLayer();
            _leaves.resize(static_cast<std::size_t>(_leavesAlongX) * static_cast<std::size_t>(_leavesAlongY));
        }
        auto* leaf =
            &_leaves[static_cast<std::size_t>(y / kLeafEdge) * static_cast<std::size_t>(_leavesAlongX)];
        for (std::int32_t x = 0; x < _columns; x += kLeafEdge, ++leaf) {
            if (!*leaf) {
                *leaf = std::make_unique<Leaf>(Coord(x, y, z), openvdb::zeroVal<Value>(), false);
            }
            for (std::int32_t i = x; i < std::min(x + kLeafEdge, _columns); ++i) {
                (*leaf)->setValueOn(Coord(i, y, z), valueAt(static_cast<std::size_t>(i)));
            }
        }
    }

    typename Grid::Ptr finish()
    {
        finishLayer();
        return _grid;
    }

private:
    using Leaf = typename Grid::TreeType::LeafNodeType;
    using Value = typename Grid::ValueType;

    std::int32_t _columns;
    std::int32_t _leavesAlongX;
    std::int32_t _leavesAlongY;
    typename Grid::Ptr _grid;
    std::vector<std::unique_ptr<Leaf>> _leaves; ///< of the layer that is being filled

    void finishLayer()
    {
        for (auto& leaf : _leaves) {
            _grid->tree().addLeaf(leaf.release());
        }
        _leaves.clear();
    }
};

/// OpenVDB's own threads, as many as a part allows, and its types of grids.
class Session {
public:
    explicit Session(std::size_t threads)
        : _threads(tbb::global_control::max_allowed_parallelism, workerCount(threads))
    {
        openvdb::initialize();
    }

private:
    tbb::global_control _threads;
};

/// Grids of numbers and of vectors of a type of numbers.
template <class ScalarGrid, class VectorGrid>
class VolumeOfRows final : public VdbVolume {
public:
    explicit VolumeOfRows(const Volume& volume)
        : _components(static_cast<std::size_t>(volume.components)),
          _columns(static_cast<std::size_t>(volume.dims[0])),
          _rows(volume.dims[1]),
          _isDensity(volume.isDensity)
    {
        if (_components != 1) {
            _vectors.emplace(volume, volume.name);
        }
        if (_components == 1 || _components == 4) {
            _scalars.emplace(volume, volume.name + (_components == 4 ? "_alpha" : ""));
        }
    }

    void add(std::span<const double> rows) override
    {
        const std::size_t length = _columns * _components;
        for (std::size_t begin = 0; begin + length <= rows.size(); begin += length, ++_row) {
            const double* const row = rows.data() + begin;
            const auto y = static_cast<std::int32_t>(_row % _rows);
            const auto z = static_cast<std::int32_t>(_row / _rows);
            if (_scalars) {
                _scalars->add(y, z, [&](std::size_t i) {
                    return static_cast<typename ScalarGrid::ValueType>(row[_components * (i + 1) - 1]);
                });
            }
            if (_vectors) {
                _vectors->add(y, z, [&](std::size_t i) {
                    const double* const record = row + _components * i;
                    return typename VectorGrid::ValueType(openvdb::Vec3d(record[0], record[1], record[2]));
                });
            }
        }
    }

    Result<void> write(const ByteSink& sink, const KeepGoing& keepGoing) override
    {
        openvdb::GridCPtrVec grids;
        if (_vectors) {
            grids.push_back(_vectors->finish());
        }
        if (_scalars) {
            const auto grid = _scalars->finish();
            if (_isDensity && _components == 1) {
                grid->setGridClass(openvdb::GRID_FOG_VOLUME);
            }
            grids.push_back(grid);
        }
        return writeGrids(grids, sink, keepGoing);
    }

private:
    Session _session{1};
    std::size_t _components;
    std::size_t _columns;
    std::int64_t _rows;
    bool _isDensity;
    std::optional<GridOfRows<ScalarGrid>> _scalars;
    std::optional<GridOfRows<VectorGrid>> _vectors;
    std::int64_t _row = 0;
};

/// A level set of values that are there. Every voxel's side is told, so that nothing is filled by guess.
template <class Grid>
class LevelSetOfBoxes final : public VdbLevelSet {
public:
    explicit LevelSetOfBoxes(const VdbLevelSetHead& head)
        : _band(static_cast<Value>(head.band)), _exactBand(head.band), _grid(Grid::create(_band))
    {
        describe(*_grid, openvdb::Vec3d(head.voxel), {head.origin[0], head.origin[1], head.origin[2]},
                 head.name, head.unit);
        _grid->setGridClass(openvdb::GRID_LEVEL_SET);
    }

    void add(const std::array<std::int32_t, 3>& first, std::span<const double> values) override
    {
        const Coord corner(first[0], first[1], first[2]);
        auto leaf = std::make_unique<Leaf>(corner, _band, false);
        const double* value = values.data();
        for (std::int32_t k = 0; k < kLeafEdge; ++k) {
            for (std::int32_t j = 0; j < kLeafEdge; ++j) {
                for (std::int32_t i = 0; i < kLeafEdge; ++i) {
                    const double number = *value++;
                    const auto place = Leaf::coordToOffset(Coord(i, j, k));
                    if (std::abs(number) < _exactBand) {
                        leaf->setValueOn(place, static_cast<Value>(number));
                    } else {
                        leaf->setValueOnly(place, number < 0 ? -_band : _band);
                    }
                }
            }
        }
        const auto isInside = [](double v) { return v < 0; };
        const bool isUniform = std::all_of(values.begin(), values.end(), isInside) ||
                               std::none_of(values.begin(), values.end(), isInside);
        if (!leaf->isEmpty() || !isUniform) {
            _grid->tree().addLeaf(leaf.release());
        } else if (leaf->getFirstValue() < 0) {
            fillInside(first, kLeafEdge);
        }
    }

    void fillInside(const std::array<std::int32_t, 3>& first, std::int32_t edge) override
    {
        const Coord corner(first[0], first[1], first[2]);
        _grid->tree().fill(openvdb::CoordBBox(corner, corner.offsetBy(edge - 1)), -_band, false);
    }

    std::uint64_t activeVoxels() const override { return _grid->activeVoxelCount(); }

    Result<void> write(const ByteSink& sink, const KeepGoing& keepGoing) override
    {
        return writeGrids({_grid}, sink, keepGoing);
    }

private:
    using Leaf = typename Grid::TreeType::LeafNodeType;
    using Value = typename Grid::ValueType;

    Session _session{1};
    Value _band;
    double _exactBand; ///< which nodes are in the band doesn't depend on the type
    typename Grid::Ptr _grid;
};

/// Distances to a mesh at voxels near it.
class LevelSet {
public:
    LevelSet(const Part& part, const KeepGoing& keepGoing)
        : _part(part),
          _keepGoing(keepGoing),
          _voxel(part.voxels.side),
          _field(coordinatesOf(part.mesh), cornersOf(part.mesh))
    {}

    /// Null if it was stopped.
    openvdb::FloatGrid::Ptr grid()
    {
        findLeaves();
        fillLeaves();
        if (_isStopped) {
            return nullptr;
        }
        const auto band = static_cast<float>(kBandVoxels * _voxel);
        auto grid = openvdb::FloatGrid::create(band);
        for (auto& leaf : _leaves) {
            if (!leaf->isEmpty()) {
                grid->tree().addLeaf(leaf.release());
            }
        }
        openvdb::tools::signedFloodFill(grid->tree());
        auto transform = openvdb::math::Transform::createLinearTransform(_voxel);
        const Vector3& origin = _part.voxels.origin;
        transform->postTranslate({origin[0], origin[1], origin[2]});
        grid->setTransform(transform);
        grid->setGridClass(openvdb::GRID_LEVEL_SET);
        grid->setName("surface");
        grid->setCreator("zrk");
        if (!_part.title.empty()) {
            grid->insertMeta("title", openvdb::StringMetadata(_part.title));
        }
        if (_part.unit) {
            grid->insertMeta("unit", openvdb::StringMetadata(std::string(nameOf(*_part.unit))));
        }
        return grid;
    }

private:
    using Leaf = openvdb::FloatGrid::TreeType::LeafNodeType;

    /// Voxels from `first` on, so many along each side.
    struct VoxelCube {
        Coord first;
        std::int32_t edge;
    };

    const Part& _part;
    const KeepGoing& _keepGoing;
    double _voxel;
    MeshWindingField _field;
    std::vector<std::unique_ptr<Leaf>> _leaves;
    std::atomic<bool> _isStopped{false};

    static std::vector<double> coordinatesOf(const MeshView& mesh)
    {
        std::vector<double> all;
        all.reserve(3 * mesh.vertices.size());
        for (const Vector3& vertex : mesh.vertices) {
            all.insert(all.end(), {vertex[0], vertex[1], vertex[2]});
        }
        return all;
    }
    static std::vector<std::int32_t> cornersOf(const MeshView& mesh)
    {
        std::vector<std::int32_t> all;
        all.reserve(3 * mesh.triangles.size());
        for (const auto& triangle : mesh.triangles) {
            for (const std::uint32_t corner : triangle) {
                all.push_back(static_cast<std::int32_t>(corner));
            }
        }
        return all;
    }

    bool asksOn(double fraction)
    {
        if (!_isStopped && !goesOn(_keepGoing, kShareOfGrid * fraction)) {
            _isStopped = true;
        }
        return !_isStopped;
    }

    Vector3 position(double i, double j, double k) const
    {
        const Vector3& origin = _part.voxels.origin;
        return {origin[0] + _voxel * i, origin[1] + _voxel * j, origin[2] + _voxel * k};
    }

    /// The smallest cubes of leaves, of a power of two along each side, that hold the mesh and its band.
    std::vector<VoxelCube> cubesOfMesh() const
    {
        constexpr std::int32_t kEdge = kLeafEdge << 4;
        Coord low = Coord::max();
        Coord high = Coord::min();
        for (const Vector3& vertex : _part.mesh.vertices) {
            for (int axis = 0; axis < 3; ++axis) {
                const auto a = static_cast<std::size_t>(axis);
                const double at = (vertex[a] - _part.voxels.origin[a]) / _voxel;
                low[axis] = std::min(low[axis], static_cast<std::int32_t>(std::floor(at - kBandVoxels)));
                high[axis] = std::max(high[axis], static_cast<std::int32_t>(std::ceil(at + kBandVoxels)));
            }
        }
        std::vector<VoxelCube> cubes;
        for (std::int32_t z = low[2] & -kEdge; z <= high[2]; z += kEdge) {
            for (std::int32_t y = low[1] & -kEdge; y <= high[1]; y += kEdge) {
                for (std::int32_t x = low[0] & -kEdge; x <= high[0]; x += kEdge) {
                    cubes.push_back({Coord(x, y, z), kEdge});
                }
            }
        }
        return cubes;
    }

    /// Halves cubes down to leaves, without those whose middle is too far from the mesh.
    void findLeaves()
    {
        std::vector<VoxelCube> open = cubesOfMesh();
        MeshWindingField::Trail trail;
        for (std::size_t looks = 0; !open.empty(); ++looks) {
            constexpr std::size_t kLooksBetween = 1024;
            if (looks % kLooksBetween == 0 && !asksOn(0)) {
                return;
            }
            const VoxelCube cube = open.back();
            open.pop_back();
            const double half = 0.5 * (cube.edge - 1);
            const Vector3 middle = position(cube.first[0] + half, cube.first[1] + half, cube.first[2] + half);
            const double reach = (kBandVoxels + half * std::numbers::sqrt3) * _voxel;
            if (_field.meshDistance(middle, trail) > reach) {
                continue;
            }
            if (cube.edge == kLeafEdge) {
                _leaves.push_back(
                    std::make_unique<Leaf>(cube.first, static_cast<float>(kBandVoxels * _voxel), false));
                continue;
            }
            const std::int32_t edge = cube.edge / 2;
            for (int part = 0; part < 8; ++part) {
                open.push_back(
                    {cube.first.offsetBy((part & 1) * edge, (part >> 1 & 1) * edge, (part >> 2) * edge),
                     edge});
            }
        }
    }

    void fillLeaves()
    {
        std::atomic<std::size_t> next{0};
        const std::size_t threads = workerCount(_part.threads);
        runTeam(std::clamp<std::size_t>(_leaves.size(), 1, threads), [&](std::size_t worker, std::size_t) {
            MeshWindingField::Trail trail;
            for (std::size_t l = next++; l < _leaves.size() && !_isStopped; l = next++) {
                fill(*_leaves[l], trail);
                if (worker == 0) {
                    asksOn(static_cast<double>(l) / static_cast<double>(_leaves.size()));
                }
            }
        });
    }

    void fill(Leaf& leaf, MeshWindingField::Trail& trail) const
    {
        const double band = kBandVoxels * _voxel;
        for (openvdb::Index voxel = 0; voxel < Leaf::SIZE; ++voxel) {
            const Coord at = leaf.offsetToGlobalCoord(voxel);
            const double distance = _field.signedDistance(position(at[0], at[1], at[2]), trail);
            if (std::abs(distance) < band) {
                leaf.setValueOn(voxel, static_cast<float>(distance));
            }
        }
    }
};

std::unique_ptr<VdbVolume> beginVolume(const Volume& volume)
{
    if (volume.type == NumberType::Float32) {
        return std::make_unique<VolumeOfRows<openvdb::FloatGrid, openvdb::Vec3SGrid>>(volume);
    }
    return std::make_unique<VolumeOfRows<openvdb::DoubleGrid, openvdb::Vec3DGrid>>(volume);
}

std::unique_ptr<VdbLevelSet> beginBoxes(const VdbLevelSetHead& head)
{
    if (head.type == NumberType::Float32) {
        return std::make_unique<LevelSetOfBoxes<openvdb::FloatGrid>>(head);
    }
    return std::make_unique<LevelSetOfBoxes<openvdb::DoubleGrid>>(head);
}

Result<void> writeLevelSet(const Part& part, const ByteSink& sink, const KeepGoing& keepGoing)
{
    const Session session(part.threads);
    const auto grid = LevelSet(part, keepGoing).grid();
    return grid ? writeGrids({grid}, sink, keepGoing) : Result<void>(refused(interruptedAt("writing")));
}

/// A file's bytes on their way into OpenVDB, which asks for few at a time.
class FileBuffer final : public std::streambuf {
public:
    explicit FileBuffer(InputFile file) : _file(std::move(file)), _bytes(std::size_t{1} << 16) {}

protected:
    int_type underflow() override
    {
        stopIfAsked();
        const std::size_t size = valueOrThrow(_file.read(_bytes.data(), _bytes.size()));
        setg(_bytes.data(), _bytes.data(), _bytes.data() + size);
        return size == 0 ? traits_type::eof() : traits_type::to_int_type(*gptr());
    }

private:
    InputFile _file;
    std::vector<char> _bytes;
};

[[noreturn]] void refuseGrids(const std::string& place, std::string found)
{
    throw FaultError({place, std::move(found),
                      "one grid of numbers, or one of vectors and perhaps one of numbers for opacities",
                      "write the file again with one volume"});
}

/// Reads the values of `count` voxels from one on along x, and puts them side by side, `step` numbers apart.
using RowReader = std::function<void(Coord at, std::int32_t count, double* to, std::size_t step)>;

/// None for a grid of another type.
template <class Grid>
RowReader rowsOf(const openvdb::GridBase::Ptr& any)
{
    const auto grid = openvdb::gridPtrCast<Grid>(any);
    if (!grid) {
        return {};
    }
    return [grid, accessor = grid->getConstAccessor()](Coord at, std::int32_t count, double* to,
                                                       std::size_t step) {
        for (std::int32_t i = 0; i < count; ++i, to += step) {
            const auto& value = accessor.getValue(at.offsetBy(i, 0, 0));
            if constexpr (std::is_arithmetic_v<typename Grid::ValueType>) {
                *to = static_cast<double>(value);
            } else {
                std::copy_n(value.asPointer(), 3, to);
            }
        }
    };
}

RowReader firstOf(RowReader one, RowReader other) { return one ? std::move(one) : std::move(other); }
RowReader numbersOf(const openvdb::GridBase::Ptr& grid)
{
    return firstOf(rowsOf<openvdb::FloatGrid>(grid), rowsOf<openvdb::DoubleGrid>(grid));
}
RowReader vectorsOf(const openvdb::GridBase::Ptr& grid)
{
    return firstOf(rowsOf<openvdb::Vec3SGrid>(grid), rowsOf<openvdb::Vec3DGrid>(grid));
}

/// What the grid's transform and metadata tell of the volume in a box of voxels.
Volume volumeIn(const openvdb::CoordBBox& box, const openvdb::GridBase& grid, int components,
                const std::string& path)
{
    Volume volume{};
    volume.components = components;
    const openvdb::math::Transform& transform = grid.constTransform();
    const openvdb::Vec3d first = transform.indexToWorld(box.min());
    double lower[3];
    double spacing[3];
    for (int axis = 0; axis < 3; ++axis) {
        const auto extent = static_cast<std::int64_t>(box.max()[axis]) - box.min()[axis] + 1;
        if (extent > std::numeric_limits<std::int32_t>::max()) {
            refuseGrids(path, "active voxels too far apart");
        }
        volume.dims[axis] = static_cast<std::int32_t>(extent);
        openvdb::Vec3d step(0, 0, 0);
        step[axis] = 1;
        step = transform.indexToWorld(step) - transform.indexToWorld(openvdb::Vec3d(0, 0, 0));
        for (int other = 0; other < 3; ++other) {
            if (!transform.isLinear() || (other != axis && step[other] != 0)) {
                refuseGrids(path, "a grid that is turned or distorted");
            }
        }
        lower[axis] = first[axis];
        spacing[axis] = transform.voxelSize()[axis];
    }
    placeNodes(volume, lower, spacing, path);
    volume.name = grid.getName();
    volume.isDensity = grid.getGridClass() == openvdb::GRID_FOG_VOLUME;
    const auto unit = grid.getMetadata<openvdb::StringMetadata>("unit");
    volume.unit = unit && lengthUnit("unit", unit->value()) ? unit->value() : "";
    return volume;
}

VolumeSource sourceOf(const openvdb::GridPtrVec& grids, const std::string& path)
{
    const RowReader numbers = grids.empty() ? RowReader() : numbersOf(grids[0]);
    const RowReader vectors = grids.empty() ? RowReader() : vectorsOf(grids[0]);
    const RowReader opacities = grids.size() == 2 ? numbersOf(grids[1]) : RowReader();
    if ((grids.size() != 1 && !(vectors && opacities)) || !(numbers || vectors)) {
        refuseGrids(path, grids.size() == 1
                              ? "a grid of the type " + printable(grids[0]->type(), kMaxQuotation)
                              : std::to_string(grids.size()) + " grids");
    }
    const openvdb::CoordBBox box = grids[0]->evalActiveVoxelBoundingBox();
    if (box.empty()) {
        refuseGrids(path, "a grid without active voxels");
    }
    const std::size_t components = numbers ? 1 : opacities ? 4 : 3;
    VolumeSource source{volumeIn(box, *grids[0], static_cast<int>(components), path), false, {}};
    source.read = [=, at = box.min()](std::span<double> values) mutable {
        return attempt(path, [&] {
            for (std::size_t done = 0; done + components <= values.size();) {
                stopIfAsked();
                const auto left = static_cast<std::int32_t>(
                    std::min<std::size_t>((values.size() - done) / components, 1 << 16));
                const std::int32_t count = std::min(left, box.max()[0] - at[0] + 1);
                double* const to = values.data() + done;
                (numbers ? numbers : vectors)(at, count, to, components);
                if (opacities) {
                    opacities(at, count, to + 3, components);
                }
                done += components * static_cast<std::size_t>(count);
                at[0] += count;
                for (int axis = 0; axis < 2 && at[axis] > box.max()[axis]; ++axis) {
                    at[axis] = box.min()[axis];
                    ++at[axis + 1];
                }
            }
        });
    };
    return source;
}

Result<VolumeSource> readGrids(const std::string& path)
{
    return InputFile::open(path).and_then([&](InputFile file) {
        return attempt(path, [&] {
            const Session session(1);
            FileBuffer buffer(std::move(file));
            std::istream stream(&buffer);
            // What the buffer throws comes through, and an end before its time is told.
            stream.exceptions(std::ios::badbit | std::ios::failbit);
            try {
                return sourceOf(*openvdb::io::Stream(stream, false).getGrids(), path);
            } catch (const openvdb::Exception& error) {
                throw FaultError(
                    {path, printable(error.what(), kMaxQuotation), "a VDB file", "write it again"});
            } catch (const std::ios::failure&) {
                throw FaultError({path, "an end before its time", "a whole VDB file", "write it again"});
            }
        });
    });
}

} // namespace

} // namespace zrk

const zrk::VdbModule zrkVdbModule = {&zrk::beginVolume, &zrk::beginBoxes, &zrk::writeLevelSet,
                                     &zrk::readGrids};

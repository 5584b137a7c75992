#include "python/src/fields.h"

#include "core/engine/parallel_loop.h"
#include "core/picture/picture.h"
#include "core/surface/passages.h"
#include "core/surface/quality.h"
#include "core/surface/solid_measures.h"
#include "core/surface/surface.h"
#include "core/values/stop.h"
#include "formats/atomic_file.h"
#include "formats/part.h"
#include "formats/png.h"
#include "formats/volume.h"
#include "host/field_grid.h"
#include "host/field_remarks.h"
#include "host/slice_picture.h"
#include "host/solid.h"
#include "host/surface_inputs.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <utility>

namespace zrkpython {

namespace {

/// An array over data that it keeps alive, without a copy.
template <class T, class Owner>
py::array_t<T> arrayOver(T* data, std::vector<py::ssize_t> shape, std::unique_ptr<Owner> owner)
{
    const py::capsule keeper(owner.release(), [](void* held) { delete static_cast<Owner*>(held); });
    return py::array_t<T>(std::move(shape), data, keeper);
}

std::string typeName(const py::handle& object)
{
    return py::str(py::type::handle_of(object).attr("__name__")).cast<std::string>();
}

/// Points of shape (..., 3), read where they are.
class Points {
public:
    explicit Points(const py::object& points) : _array(asDoubles(points))
    {
        const py::ssize_t axes = _array.ndim();
        if (axes < 1 || _array.shape(axes - 1) != 3) {
            throw zrk::FaultError(
                {"points", "an array of shape " + shapeText(), "shape (n, 3), or (3,) for one",
                 "give x, y and z along the last axis; numpy.stack((x, y, z), -1) does it"});
        }
        if (axes > 2) {
            // Rows at an even distance, which a copy has where the array itself hasn't.
            _array = _array.attr("reshape")(-1, 3);
        }
        _shape.assign(_shapeBefore.begin(), _shapeBefore.end() - 1);
        _count = 1;
        for (const py::ssize_t extent : _shape) {
            _count *= static_cast<std::size_t>(extent);
        }
        _data = static_cast<const char*>(_array.data());
        _step = _array.ndim() > 1 ? _array.strides(0) : 0;
        _between = _array.strides(_array.ndim() - 1);
    }

    std::size_t count() const { return _count; }
    /// Of what is computed for each point.
    const std::vector<py::ssize_t>& shape() const { return _shape; }

    /// The coordinates of some points, one axis after the other. Needs no GIL.
    void read(std::size_t first, std::size_t count, double* x, double* y, double* z) const
    {
        const char* from = _data + static_cast<py::ssize_t>(first) * _step;
        for (std::size_t i = 0; i < count; ++i, from += _step) {
            std::memcpy(x + i, from, sizeof(double));
            std::memcpy(y + i, from + _between, sizeof(double));
            std::memcpy(z + i, from + 2 * _between, sizeof(double));
        }
    }

private:
    std::vector<py::ssize_t> _shapeBefore;
    py::array _array;
    std::vector<py::ssize_t> _shape;
    std::size_t _count;
    const char* _data;
    py::ssize_t _step;
    py::ssize_t _between;

    std::string shapeText() const { return py::str(py::object(_array.attr("shape"))).cast<std::string>(); }

    py::array asDoubles(const py::object& points)
    {
        py::array array = py::array::ensure(points);
        const char kind = array ? array.dtype().kind() : 'O';
        if (kind != 'f' && kind != 'i' && kind != 'u') {
            throw zrk::FaultError(
                {"points",
                 !array || kind == 'O' ? "an object of the type " + typeName(points)
                                       : "an array of type " + py::str(array.dtype()).cast<std::string>(),
                 "an array of real numbers", "convert it, for example with numpy.asarray(points, float)"});
        }
        if (!py::isinstance<py::array_t<double>>(array)) {
            array = numbersOf<double>(array);
        }
        _shapeBefore.assign(array.shape(), array.shape() + array.ndim());
        return array;
    }
};

/// Where records go: components side by side, then the weights, if they are wanted.
struct Records {
    double* values;
    std::size_t components;
    double* weights;
};

/// Evaluates points first to end, block by block.
void evaluate(const zrk::PreparedField& field, const Points& points, std::size_t first, std::size_t end,
              const Records& out)
{
    constexpr std::size_t kBlock = zrk::kBlockSamples;
    double x[kBlock], y[kBlock], z[kBlock];
    double components[4][kBlock];
    for (std::size_t at = first; at < end; at += kBlock) {
        zrk::stopIfAsked();
        const std::size_t count = std::min(kBlock, end - at);
        points.read(at, count, x, y, z);
        zrk::RecordArrays records;
        records.weights = out.weights ? out.weights + at : nullptr;
        if (out.components == 1) {
            records.components[0] = out.values + at;
        } else {
            for (std::size_t c = 0; c < out.components; ++c) {
                records.components[c] = components[c];
            }
        }
        field.evaluate({x, y, z, count}, records);
        if (out.components > 1) {
            double* to = out.values + at * out.components;
            for (std::size_t i = 0; i < count; ++i) {
                for (std::size_t c = 0; c < out.components; ++c) {
                    *to++ = components[c][i];
                }
            }
        }
    }
}

/// So few points are done before anybody would want to stop them.
constexpr std::size_t kFewPoints = 4096;
/// Points that a worker takes at a time.
constexpr std::size_t kPointsATask = 16 * zrk::kBlockSamples;

void evaluateAll(const Ready& ready, const Points& points, const Records& out, const py::object& progress)
{
    const zrk::PreparedField& field = ready.field;
    const std::size_t count = points.count();
    if (count <= kFewPoints && !ready.callsPython) {
        const py::gil_scoped_release noGil;
        evaluate(field, points, 0, count, out);
        return;
    }
    run(progress, ready.where(), [&](zrk::ProgressMonitor& monitor) {
        if (ready.callsPython || count <= 2 * kPointsATask) {
            evaluate(field, points, 0, count, out);
            return;
        }
        const auto tasks = static_cast<std::int32_t>((count + kPointsATask - 1) / kPointsATask);
        std::atomic<std::int32_t> done{0};
        std::mutex telling;
        zrk::parallelTasks(tasks, static_cast<std::int32_t>(zrk::workerCount(0)), [&](std::int32_t k) {
            const std::size_t first = static_cast<std::size_t>(k) * kPointsATask;
            evaluate(field, points, first, std::min(count, first + kPointsATask), out);
            const double fraction = static_cast<double>(++done) / tasks;
            if (const std::unique_lock lock(telling, std::try_to_lock); lock) {
                monitor.progress(fraction);
            }
        });
    });
}

/// The values at points and, if they are wanted, the weights.
std::pair<py::array_t<double>, py::array_t<double>>
records(Node& node, std::size_t output, const Points& points, bool wantsWeights, const py::object& progress)
{
    const SharedReady ready = node.ready(output);
    const std::size_t components = ready->output.tag.components;
    std::vector<py::ssize_t> shape = points.shape();
    py::array_t<double> weights = wantsWeights ? py::array_t<double>(shape) : py::array_t<double>();
    if (components > 1) {
        shape.push_back(static_cast<py::ssize_t>(components));
    }
    py::array_t<double> values(shape);
    evaluateAll(*ready, points,
                {values.mutable_data(), components, wantsWeights ? weights.mutable_data() : nullptr},
                progress);
    return {std::move(values), std::move(weights)};
}

/// A float in place of an array without axes.
py::object plain(const py::array_t<double>& values)
{
    return values.ndim() == 0 ? py::object(py::float_(*values.data())) : py::object(values);
}

zrk::Tensor<3, double> tensor(const Corner& corner) { return {corner[0], corner[1], corner[2]}; }

py::tuple pointTuple(const zrk::Tensor<3, double>& p) { return py::make_tuple(p[0], p[1], p[2]); }

void checkScalar(const Node& node, const Ready& ready, const char* what)
{
    if (ready.output.tag != zrkmodel::Tag::Scalar) {
        throw zrk::FaultError({node.place(), fmt::format("values of the type {}", ready.output.tag.name()),
                               fmt::format("a scalar field, {}", what),
                               "take another output, or a component of this one"});
    }
}

/// Chains that call Python run on the calling thread alone, and tell no progress.
struct Followed {
    zrk::ProgressMonitor* monitor;
    std::size_t threads;

    Followed(const Ready& ready, zrk::ProgressMonitor& follower, std::size_t wanted)
        : monitor(ready.callsPython ? nullptr : &follower), threads(ready.callsPython ? 1 : wanted)
    {}
};

/// What comes before the work proper: stops with it and tells no progress.
class Preparation final : public zrk::ProgressMonitor {
public:
    explicit Preparation(zrk::ProgressMonitor* work) : _work(work) {}

    void progress(double) override {}
    bool interruptRequested() override { return _work && _work->interruptRequested(); }

private:
    zrk::ProgressMonitor* _work;
};

/// Throws FaultError for a surface that won't fit into memory.
void checkSize(const Ready& ready, const zrk::SurfaceSettings& settings, zrk::ProgressMonitor* work)
{
    Preparation preparation(work);
    try {
        zrkmodel::checkSurfaceSize(ready.field, settings, zrk::PartFormat::Ply, preparation);
    } catch (const zrk::FaultError& error) {
        zrk::Fault fault = error.fault();
        if (fault.kind == zrk::FaultKind::FailedWork) {
            fault.remedy = "ask for a lower resolution or smaller bounds";
        }
        throw zrk::FaultError(std::move(fault));
    }
}

[[noreturn]] void interrupted(const Node& node) { throw zrk::FaultError(zrk::interruptedAt(node.place())); }

struct Solid {
    double iso;
    zrk::SolidSide side;
};

Solid solidOf(const Ready& ready, std::optional<double> iso, std::optional<bool> isDensity)
{
    const bool isAbove = isDensity.value_or(ready.output.isDensity);
    return {iso.value_or(zrkmodel::surfaceLevelOf(isAbove)),
            isAbove ? zrk::SolidSide::Above : zrk::SolidSide::Below};
}

zrk::SurfaceSettings settingsOf(const Ready& ready, const SurfaceOptions& options, std::size_t threads)
{
    const Solid solid = solidOf(ready, options.iso, options.isDensity);
    zrk::SurfaceSettings settings;
    settings.lower = tensor(options.lower);
    settings.upper = tensor(options.upper);
    settings.cells = options.cells;
    settings.iso = solid.iso;
    settings.solid = solid.side;
    settings.keepsCreases = options.keepsCreases;
    settings.isOpen = options.isOpen;
    settings.flatness = options.flatness;
    settings.threads = threads;
    return settings;
}

[[noreturn]] void refuseMesh(const std::string& found, const std::string& expected)
{
    throw zrk::FaultError({"mesh", found, expected, "check the arrays of vertices and faces"});
}

/// The arrays of a mesh, for work without the GIL.
class MeshArrays {
public:
    MeshArrays(const py::array& vertices, const py::array& faces);

    /// The mesh of them; FaultError for a coordinate that isn't finite and for an index of no vertex.
    zrk::SurfaceMesh mesh() const;

private:
    std::vector<SharedObject> _owners;
    std::span<const double> _positions;
    std::span<const std::int64_t> _indices;
};

MeshArrays::MeshArrays(const py::array& vertices, const py::array& faces)
{
    const auto shapeOf = [](const py::array& array) {
        return py::str(py::object(array.attr("shape"))).cast<std::string>();
    };
    const char kind = faces.dtype().kind();
    if (vertices.ndim() != 2 || vertices.shape(1) != 3 || vertices.dtype().kind() == 'O' ||
        vertices.dtype().kind() == 'c') {
        refuseMesh("vertices of shape " + shapeOf(vertices), "numbers of shape (n, 3)");
    }
    if (faces.ndim() != 2 || faces.shape(1) != 3 || (kind != 'i' && kind != 'u')) {
        refuseMesh("faces of shape " + shapeOf(faces) + " and type " +
                       py::str(faces.dtype()).cast<std::string>(),
                   "whole numbers of shape (k, 3)");
    }
    const auto positions = numbersOf<double>(vertices);
    const auto indices = numbersOf<std::int64_t>(faces);
    _positions = {positions.data(), static_cast<std::size_t>(positions.size())};
    _indices = {indices.data(), static_cast<std::size_t>(indices.size())};
    _owners = {SharedObject(positions), SharedObject(indices)};
}

zrk::SurfaceMesh MeshArrays::mesh() const
{
    zrk::StopLookout lookout;
    zrk::SurfaceMesh mesh;
    mesh.vertices.reserve(_positions.size() / 3);
    mesh.triangles.reserve(_indices.size() / 3);
    for (std::size_t i = 0; i < _positions.size(); i += 3) {
        lookout.step();
        const zrk::Tensor<3, double> p{_positions[i], _positions[i + 1], _positions[i + 2]};
        for (const double x : p) {
            if (!std::isfinite(x)) {
                refuseMesh(fmt::format("the coordinate {} in vertex {}", x, i / 3), "finite numbers");
            }
        }
        mesh.vertices.push_back(p);
    }
    const auto count = static_cast<std::int64_t>(mesh.vertices.size());
    for (std::size_t i = 0; i < _indices.size(); i += 3) {
        lookout.step();
        std::array<std::uint32_t, 3> triangle{};
        for (std::size_t c = 0; c < 3; ++c) {
            const std::int64_t index = _indices[i + c];
            if (index < 0 || index >= count) {
                refuseMesh(fmt::format("the index {} in face {}", index, i / 3),
                           fmt::format("indices from 0 to {}", count - 1));
            }
            triangle[c] = static_cast<std::uint32_t>(index);
        }
        mesh.triangles.push_back(triangle);
    }
    return mesh;
}

/// Arrays over a mesh, without a copy.
py::tuple arraysOf(zrk::SurfaceMesh mesh)
{
    static_assert(sizeof(zrk::Tensor<3, double>) == 3 * sizeof(double));
    auto vertices = std::make_unique<std::vector<zrk::Tensor<3, double>>>(std::move(mesh.vertices));
    auto faces = std::make_unique<std::vector<std::array<std::uint32_t, 3>>>(std::move(mesh.triangles));
    const auto n = static_cast<py::ssize_t>(vertices->size());
    const auto k = static_cast<py::ssize_t>(faces->size());
    double* const positions = n > 0 ? vertices->data()->begin() : nullptr;
    std::uint32_t* const indices = k > 0 ? faces->data()->data() : nullptr;
    return py::make_tuple(arrayOver(positions, {n, 3}, std::move(vertices)),
                          arrayOver(indices, {k, 3}, std::move(faces)));
}

template <class Picture>
py::array pixelsOf(Picture picture, py::ssize_t channels)
{
    auto owner = std::make_unique<Picture>(std::move(picture));
    unsigned char* const data = owner->data.data();
    const std::vector<py::ssize_t> shape{owner->dims[1], owner->dims[0], channels};
    return arrayOver(data, shape, std::move(owner));
}

} // namespace

py::object valuesAt(Node& node, std::size_t output, const py::object& points, const py::object& progress)
{
    return plain(records(node, output, Points(points), false, progress).first);
}

py::tuple recordsAt(Node& node, std::size_t output, const py::object& points, const py::object& progress)
{
    const auto [values, weights] = records(node, output, Points(points), true, progress);
    return py::make_tuple(plain(values), plain(weights));
}

py::array volumeOf(Node& node, std::size_t output, const Corner& lower, const Corner& upper,
                   const std::array<std::int32_t, 3>& dims, std::size_t threads, const py::object& progress)
{
    const SharedReady ready = node.ready(output, progress);
    const std::vector<SharedNode> nodes = node.upstream();
    Node::checkReadable(nodes);
    auto values = running(progress, ready->where(), [&](zrk::ProgressMonitor& monitor) {
        const Followed followed(*ready, monitor, threads);
        const zrk::Region<3, 3, double, 1> region(tensor(lower), tensor(upper), dims[0], dims[1], dims[2]);
        const Node::ReadLocks locks = Node::lockForReading(nodes);
        return std::make_unique<zrkmodel::FieldValues>(zrk::valueOrThrow(
            zrkmodel::sampleField(ready->output.field, region, followed.monitor, followed.threads)));
    });
    std::vector<py::ssize_t> shape{dims[2], dims[1], dims[0]};
    if (ready->output.tag.components > 1) {
        shape.push_back(ready->output.tag.components);
    }
    double* const data = values->data();
    return arrayOver(data, shape, std::move(values));
}

void warnOfUndefined(const Node& node, std::uint64_t samples)
{
    if (samples > 0) {
        warnOf({zrkmodel::undefinedAt(node.place(), samples)});
    }
}

/// Warns of a picture with regions that have no value.
/// @param what  the samples that were counted.
void warnOfUndefined(const Node& node, const zrkmodel::FieldSummary& summary, const char* what)
{
    if (summary.undefined > 0) {
        warnOf(
            {{node.place(),
              fmt::format("no value (NaN) at {} of {} {}", summary.undefined, summary.samples, what),
              "a number everywhere", "look for roots, quotients or coordinates that aren't defined there"}});
    }
}

py::tuple surfaceOf(Node& node, std::size_t output, const SurfaceOptions& options, const py::object& progress)
{
    const SharedReady ready = node.ready(output, progress);
    checkScalar(node, *ready, "which a surface is taken of");
    auto surface = running(progress, ready->where(), [&](zrk::ProgressMonitor& monitor) {
        const Followed followed(*ready, monitor, options.threads);
        const zrk::SurfaceSettings settings = settingsOf(*ready, options, followed.threads);
        checkSize(*ready, settings, followed.monitor);
        auto mesh = zrk::extractSurface(ready->field, settings, followed.monitor);
        if (!mesh) {
            interrupted(node);
        }
        return std::move(*mesh);
    });
    warnOfUndefined(node, surface.undefinedSamples);
    return arraysOf(std::move(surface));
}

py::dict measuresOf(Node& node, std::size_t output, const SurfaceOptions& options, double accuracy,
                    const py::object& progress)
{
    const SharedReady ready = node.ready(output, progress);
    checkScalar(node, *ready, "which a solid is taken of");
    const auto [m, passages] = running(progress, ready->where(), [&](zrk::ProgressMonitor& monitor) {
        const Followed followed(*ready, monitor, options.threads);
        const zrk::SurfaceSettings settings = settingsOf(*ready, options, followed.threads);
        const auto measures =
            zrk::measureSolid(ready->field, settings, {.accuracy = accuracy}, followed.monitor);
        if (!measures) {
            interrupted(node);
        }
        std::optional<zrk::Passages> narrowest{zrk::Passages{}};
        if (!measures->isEmpty()) {
            const auto mesh = zrk::extractSurface(ready->field, settings, followed.monitor);
            narrowest =
                mesh ? zrk::narrowestPassages(*mesh, ready->field, settings, followed.monitor) : std::nullopt;
        }
        if (!narrowest) {
            interrupted(node);
        }
        return std::pair(*measures, *narrowest);
    });
    warnOfUndefined(node, m.undefinedSamples);
    const auto passage = [](const std::optional<zrk::Passage>& p) {
        return p ? py::object(py::float_(p->length)) : py::none();
    };
    py::dict result;
    result["volume"] = m.volume.value;
    result["volume_error"] = m.volume.error;
    result["fraction"] = m.fraction.value;
    result["area"] = m.area.value;
    result["area_error"] = m.area.error;
    result["area_on_bounds"] = m.cutArea;
    result["center"] = pointTuple(m.center);
    result["lower"] = pointTuple(m.lower);
    result["upper"] = pointTuple(m.upper);
    result["smallest_wall"] = passage(passages.wall);
    result["smallest_gap"] = passage(passages.gap);
    result["is_accurate"] = m.isAccurate || m.isEmpty();
    return result;
}

/// Nodes along each axis of the grid by which it is seen whether a field has values everywhere.
constexpr std::int32_t kSpreadNodes = 16;

py::array pictureOf(Node& node, std::size_t output, const RenderOptions& options, const py::object& progress)
{
    const SharedReady ready = node.ready(output, progress);
    checkScalar(node, *ready, "whose surface can be drawn");
    const SharedReady paint = options.paint ? options.paint->ready(options.paintOutput, progress) : nullptr;
    const Solid solid = solidOf(*ready, options.iso, options.isDensity);
    const bool callsPython = ready->callsPython || (paint && paint->callsPython);
    zrk::PictureSettings settings;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        settings.region[axis] = {options.lower[axis], options.upper[axis]};
    }
    settings.iso = solid.iso;
    settings.solid = solid.side;
    settings.width = options.width;
    settings.height = options.height;
    if (static_cast<std::uint64_t>(settings.width) * static_cast<std::uint64_t>(settings.height) >
        zrk::kMaxPicturePixels) {
        throw zrk::FaultError({"size", fmt::format("{} x {} pixels", settings.width, settings.height),
                               fmt::format("at most {} pixels together", zrk::kMaxPicturePixels),
                               "ask for a smaller picture"});
    }
    settings.threads = callsPython ? 1 : options.threads;
    settings.projection =
        options.isPerspective ? zrk::Projection::Perspective : zrk::Projection::Orthographic;
    if (options.from) {
        settings.views = {tensor(*options.from)};
    }
    settings.backdrop =
        options.backdrop == "transparent" ? zrk::Backdrop::Transparent : zrk::Backdrop::Studio;
    if (paint) {
        settings.paint = paint->field;
    }
    zrkmodel::FieldSummary summary;
    const std::vector<SharedNode> nodes = node.upstream();
    Node::checkReadable(nodes);
    auto drawn =
        running(progress, callsPython ? Where::Here : Where::Aside, [&](zrk::ProgressMonitor& monitor) {
            const zrk::Region<3, 3, double, 1> spread(tensor(options.lower), tensor(options.upper),
                                                      kSpreadNodes, kSpreadNodes, kSpreadNodes);
            {
                const Node::ReadLocks locks = Node::lockForReading(nodes);
                summary = zrk::valueOrThrow(
                              zrkmodel::sampleField(ready->output.field, spread, nullptr, settings.threads))
                              .summary;
            }
            zrk::ShadedPicture picture;
            const auto outcome = zrk::drawPictures(
                ready->field, settings,
                [&](const zrk::ShadedPicture& drawn, const zrk::PictureStep&) { picture = drawn; },
                callsPython ? nullptr : &monitor);
            if (outcome == zrk::PictureOutcome::Interrupted) {
                interrupted(node);
            }
            if (outcome == zrk::PictureOutcome::NoSolid) {
                throw zrk::FaultError({node.place(),
                                       fmt::format("nothing solid at {:g} in the bounds", solid.iso),
                                       "a field with a surface there",
                                       "give other bounds or another iso value; slice() shows the values",
                                       zrk::FaultKind::FailedWork});
            }
            return picture;
        });
    warnOfUndefined(node, summary, "positions in the bounds, which the picture shows as outside");
    return pixelsOf(std::move(drawn), 4);
}

py::array sliceOf(Node& node, std::size_t output, const Corner& lower, const Corner& upper, int axis,
                  double at, int size, std::optional<std::array<double, 2>> range, const py::object& progress)
{
    const SharedReady ready = node.ready(output, progress);
    const std::vector<SharedNode> nodes = node.upstream();
    Node::checkReadable(nodes);
    zrkmodel::FieldSummary summary;
    auto picture = running(progress, ready->where(), [&](zrk::ProgressMonitor& monitor) {
        const Followed followed(*ready, monitor, 0);
        const zrkmodel::SlicePlane plane(zrk::BBox<double>(tensor(lower), tensor(upper)), axis, at, size);
        const Node::ReadLocks locks = Node::lockForReading(nodes);
        const auto values = zrk::valueOrThrow(
            zrkmodel::sampleField(ready->output.field, plane, followed.monitor, followed.threads));
        summary = values.summary;
        zrkmodel::SliceStyle style;
        if (range) {
            style.range = zrkmodel::ValueRange{(*range)[0], (*range)[1]};
        }
        const auto components = static_cast<int>(ready->output.tag.components);
        if (components == 1) {
            style.contour = ready->output.surfaceLevel;
            style.insideAbove = ready->output.isDensity;
        }
        return zrkmodel::drawSlice({plane.width(), plane.height(), components, values, values.isWeightless},
                                   style)
            .picture;
    });
    warnOfUndefined(node, summary, "pixels, which are hatched");
    return pixelsOf(std::move(picture), 3);
}

py::dict meshReport(const py::array& vertices, const py::array& faces, const py::object& progress)
{
    const MeshArrays arrays(vertices, faces);
    const zrk::MeshReport report = runningApart(progress, [arrays](zrk::ProgressMonitor& monitor) {
        const auto found = zrk::reportOn(arrays.mesh(), zrk::followedBy(&monitor));
        if (!found) {
            throw zrk::FaultError(zrk::interruptedAt("report"));
        }
        return *found;
    });
    py::dict result;
    result["vertices"] = report.vertexCount;
    result["triangles"] = report.triangleCount;
    result["open_edges"] = report.openEdges;
    result["overused_edges"] = report.overusedEdges;
    result["turned_edges"] = report.turnedEdges;
    result["pinched_vertices"] = report.pinchedVertices;
    result["degenerate_triangles"] = report.degenerateTriangles;
    result["self_intersections"] = report.selfIntersections;
    result["components"] = report.componentCount;
    result["inward_components"] = report.inwardComponents;
    result["genus"] = report.genus;
    result["volume"] = report.volume;
    result["area"] = report.area;
    result["shortest_edge"] = report.shortestEdge;
    result["smallest_angle"] = report.smallestAngleDegrees;
    result["is_closed"] = report.isClosed();
    result["is_clean"] = report.isClean();
    return result;
}

void writeMesh(const std::string& path, const py::array& vertices, const py::array& faces,
               const std::string& unit, const std::string& title, const std::optional<py::array>& colors,
               const py::object& progress)
{
    const zrk::PartFormat format = zrk::valueOrThrow(zrk::partFormat(path));
    const auto length =
        unit.empty() ? std::nullopt : std::optional(zrk::valueOrThrow(zrk::lengthUnit("unit", unit)));
    const MeshArrays arrays(vertices, faces);
    std::vector<zrk::VertexColor> paint;
    if (colors) {
        const auto bytes = py::array_t<std::uint8_t, py::array::c_style>::ensure(*colors);
        if (!bytes || bytes.ndim() != 2 || bytes.shape(1) != 4 || bytes.shape(0) != vertices.shape(0)) {
            PyErr_Clear();
            throw zrk::FaultError({"colors", "an array that isn't one colour a vertex",
                                   fmt::format("uint8 of shape ({}, 4)", vertices.shape(0)),
                                   "give red, green, blue and opacity from 0 to 255"});
        }
        paint.resize(static_cast<std::size_t>(vertices.shape(0)));
        std::memcpy(paint.data(), bytes.data(), 4 * paint.size());
    }
    if (format == zrk::PartFormat::Vdb) {
        throw zrk::FaultError(
            {path, "a level set", ".stl, .obj, .ply or .3mf", "save a volume of the field as .vdb instead"});
    }
    runApart(progress, [arrays, paint = std::move(paint), path, format, length,
                        title](zrk::ProgressMonitor& monitor) {
        const zrk::SurfaceMesh mesh = arrays.mesh();
        const zrk::PartVoxels voxels;
        const zrk::Part part{.mesh = mesh, .colors = paint, .unit = length, .title = title, .voxels = voxels};
        zrk::valueOrThrow(zrk::AtomicFile::create(path).and_then(
            [&](zrk::AtomicFile file) { return zrk::writePart(std::move(file), format, part, &monitor); }));
    });
}

py::tuple readMeshFile(const std::string& path, const py::object& progress)
{
    zrk::FileMesh mesh = runningApart(
        progress, [path](zrk::ProgressMonitor&) { return zrk::valueOrThrow(zrk::readMesh(path)); });
    warnOf(mesh.warnings);
    return arraysOf(std::move(mesh));
}

void writeVolumeFile(const std::string& path, const py::array& values, const Corner& lower,
                     const Corner& upper, const std::string& name, bool isDensity, const py::object& progress)
{
    zrk::valueOrThrow(zrk::volumeFormat(path));
    const auto doubles = numbersOf<double>(values);
    const py::ssize_t axes = doubles ? doubles.ndim() : 0;
    if ((axes != 3 && axes != 4) || doubles.size() == 0 || (axes == 4 && doubles.shape(3) > 4)) {
        PyErr_Clear();
        throw zrk::FaultError({"volume", fmt::format("an array of {} axes", axes),
                               "shape (nz, ny, nx) or (nz, ny, nx, components)", "check its values"});
    }
    zrk::Volume volume{};
    for (int axis = 0; axis < 3; ++axis) {
        volume.dims[axis] = static_cast<std::int32_t>(doubles.shape(2 - axis));
        volume.lower[axis] = lower[static_cast<std::size_t>(axis)];
        volume.upper[axis] = upper[static_cast<std::size_t>(axis)];
    }
    volume.components = axes == 4 ? static_cast<int>(doubles.shape(3)) : 1;
    volume.name = name;
    volume.values = {doubles.data(), static_cast<std::size_t>(doubles.size())};
    volume.isDensity = isDensity;
    run(progress, Where::Aside, [&](zrk::ProgressMonitor& monitor) {
        zrk::valueOrThrow(zrk::writeVolume(path, volume, zrk::followedBy(&monitor)));
    });
}

void writePicture(const std::string& path, const py::array& pixels, const py::object& progress)
{
    const auto bytes = py::array_t<std::uint8_t, py::array::c_style>::ensure(pixels);
    const bool isFit =
        bytes && pixels.dtype().kind() == 'u' && pixels.itemsize() == 1 && bytes.ndim() >= 2 &&
        bytes.ndim() <= 3 && bytes.size() > 0 &&
        (bytes.ndim() == 2 || bytes.shape(2) == 1 || bytes.shape(2) == 3 || bytes.shape(2) == 4);
    if (!isFit) {
        PyErr_Clear();
        throw zrk::FaultError({"picture", "an array of another kind",
                               "uint8 of shape (h, w), (h, w, 1), (h, w, 3) or (h, w, 4)",
                               "scale the values to 0 to 255 and convert them to numpy.uint8"});
    }
    const auto height = static_cast<std::int32_t>(bytes.shape(0));
    const auto width = static_cast<std::int32_t>(bytes.shape(1));
    const py::ssize_t channels = bytes.ndim() == 2 ? 1 : bytes.shape(2);
    run(progress, Where::Aside, [&](zrk::ProgressMonitor& monitor) {
        const std::uint8_t* from = bytes.data();
        if (channels == 4) {
            zrk::TransparentPicture picture(width, height);
            std::copy_n(from, picture.data.size(), picture.data.begin());
            zrk::valueOrThrow(zrk::writePng(path, picture, zrk::followedBy(&monitor)));
            return;
        }
        zrk::Picture picture(width, height);
        for (std::size_t i = 0; i < picture.data.size(); ++i) {
            picture.data[i] = channels == 3 ? from[i] : from[i / 3];
        }
        zrk::valueOrThrow(zrk::writePng(path, picture, zrk::followedBy(&monitor)));
    });
}

} // namespace zrkpython

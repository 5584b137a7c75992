#include "host/field_grid.h"

#include "core/engine/field_sampler.h"
#include "core/engine/worker_team.h"
#include "core/values/batch.h"
#include "core/values/large_pages.h"
#include "core/values/memory_budget.h"
#include "host/free_memory.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace zrkmodel {

namespace {

const std::string kPlace = "sampling";

/// What to lower where there are too many samples.
constexpr const char* kLessOfGrid = "ask for a lower resolution or smaller bounds";
constexpr const char* kLessOfSlice = "ask for a smaller --size";
constexpr const char* kLessOfList = "ask for fewer positions";

/// Refuses grids that can't be sampled, before anything is allocated.
void checkSize(double samples, std::size_t components, const std::string& remedy)
{
    const double bytes = samples * static_cast<double>(components) * sizeof(double);
    const auto refuse = [&](const std::string& limit, const std::string& more) {
        throw zrk::FaultError(
            {kPlace, fmt::format("a grid of {:.0f} samples, which needs {}", samples, zrk::shownBytes(bytes)),
             limit, remedy + more, zrk::FaultKind::FailedWork});
    };
    if (samples > std::numeric_limits<std::int32_t>::max()) {
        refuse("at most 2147483647 samples", "");
    }
    const auto available = memoryToUse();
    if (available && bytes > *available) {
        refuse(fmt::format("at most the {} of memory that are free", zrk::shownBytes(*available)),
               ", or allow more with --memory");
    }
}

/// Least, greatest and sum of the components of samples, lane by lane.
struct Totals {
    zrk::Batch least = std::numeric_limits<double>::infinity();
    zrk::Batch greatest = -std::numeric_limits<double>::infinity();
    zrk::Batch sum = 0.0;
    zrk::Batch finite = 0.0;  ///< how many components are
    zrk::Batch counted = 0.0; ///< how many aren't NaN
    std::size_t undefined = 0;

    /// Adds those samples of a batch whose lanes are in the mask.
    void add(const zrk::Block& block, std::size_t components, std::size_t first, zrk::BatchMask counts)
    {
        zrk::BatchMask isUndefined(false);
        for (std::size_t c = 0; c < components; ++c) {
            const zrk::Batch v = zrk::Batch::load(block.row(c) + first);
            const zrk::BatchMask isCounted = counts && isFinite(v);
            isUndefined = isUndefined || isNaN(v);
            least = select(counts && v < least, v, least);
            greatest = select(counts && v > greatest, v, greatest);
            sum += select(isCounted, v, 0.0);
            finite += select(isCounted, 1.0, 0.0);
            counted += select(counts && !isNaN(v), 1.0, 0.0);
        }
        undefined += static_cast<std::size_t>(std::popcount(bitsOf(counts && isUndefined)));
    }

    void add(const zrk::Block& block, std::size_t components, std::size_t count)
    {
        constexpr std::size_t kSize = zrk::Batch::size;
        std::size_t i = 0;
        for (; i + kSize <= count; i += kSize) {
            add(block, components, i, true);
        }
        if (i < count) {
            // Rows may be read beyond their last sample.
            std::array<double, kSize> isCounted{};
            std::fill_n(isCounted.begin(), count - i, 1.0);
            add(block, components, i, zrk::Batch::load(isCounted.data()) > 0.0);
        }
    }
};

/// Stores the components of each record side by side, and sums them up.
class ComponentSink final : public zrk::BlockSink {
public:
    ComponentSink(FieldValues& values, std::size_t components, bool keepsWeightless)
        : _values(values), _components(components), _keepsWeightless(keepsWeightless)
    {}

    void take(std::int32_t firstSample, std::size_t sampleCount, const zrk::Block& block) override
    {
        const auto first = static_cast<std::size_t>(firstSample);
        double* out = _values.data() + first * _components;
        if (_components == 1) {
            std::copy_n(block.row(0), sampleCount, out);
        } else {
            for (std::size_t c = 0; c < _components; ++c) {
                const double* row = block.row(c);
                for (std::size_t i = 0; i < sampleCount; ++i) {
                    out[i * _components + c] = row[i];
                }
            }
        }
        summarize(first, sampleCount, block);
    }

    /// The summary of all that was taken.
    FieldSummary summary() const
    {
        FieldSummary all = _summary;
        if (!(all.least <= all.greatest)) {
            all.least = all.greatest = 0;
        }
        all.mean = _finite > 0 ? _sum / _finite : 0;
        all.counted = static_cast<std::size_t>(_counted);
        all.finite = static_cast<std::size_t>(_finite);
        return all;
    }

private:
    FieldValues& _values;
    std::size_t _components;
    bool _keepsWeightless;
    std::mutex _access; ///< to what stands below
    FieldSummary _summary{.least = std::numeric_limits<double>::infinity(),
                          .greatest = -std::numeric_limits<double>::infinity()};
    double _sum = 0;
    double _counted = 0;
    double _finite = 0;

    void summarize(std::size_t first, std::size_t count, const zrk::Block& block)
    {
        Totals totals;
        totals.add(block, _components, count);
        std::size_t weightless = 0;
        for (std::size_t i = 0; !block.hasUnitWeight() && i < count; ++i) {
            weightless += block.weights()[i] == 0 ? 1 : 0;
        }
        const std::lock_guard lock(_access);
        if (weightless > 0 && _keepsWeightless) {
            _values.isWeightless.resize(sampleCount());
            std::transform(block.weights(), block.weights() + count, _values.isWeightless.data() + first,
                           [](double weight) { return weight == 0 ? 1 : 0; });
        }
        _summary.samples += count;
        _summary.weightless += weightless;
        _summary.undefined += totals.undefined;
        for (std::size_t lane = 0; lane < zrk::Batch::size; ++lane) {
            _summary.least = std::min(_summary.least, totals.least.lane(lane));
            _summary.greatest = std::max(_summary.greatest, totals.greatest.lane(lane));
            _sum += totals.sum.lane(lane);
            _counted += totals.counted.lane(lane);
            _finite += totals.finite.lane(lane);
        }
    }

    std::size_t sampleCount() const { return std::span<const double>(_values).size() / _components; }
};

FieldValues sampleDomain(const zrk::IField& field, std::shared_ptr<zrk::EvaluationDomain<3, double>> domain,
                         bool keepsWeightless, zrk::ProgressMonitor* monitor, std::size_t threads,
                         const char* remedy)
{
    const auto samples = static_cast<std::size_t>(domain->sampleCount());
    zrk::FieldSampler sampler(field.generator(), std::move(domain));
    const std::size_t components = zrk::componentCount(sampler.generator->descriptor().outputShape);
    checkSize(static_cast<double>(samples), components, remedy);
    FieldValues values(samples * components);
    if (threads > 0) {
        sampler.threadCount = threads;
    }
    ComponentSink sink(values, components, keepsWeightless);
    if (!sampler.sweep(sink, monitor)) {
        throw zrk::FaultError(zrk::interruptedAt(kPlace));
    }
    values.summary = sink.summary();
    return values;
}

/// Some of the samples of a domain, one behind the other.
class DomainPart final : public zrk::EvaluationDomain<3, double> {
public:
    DomainPart(const zrk::EvaluationDomain<3, double>& whole, std::int32_t first, std::int32_t count)
        : _whole(whole), _first(first), _count(count)
    {}

    using EvaluationDomain<3, double>::position;
    std::optional<zrk::Corners<double>> bounds() const override { return _whole.bounds(); }
    std::int32_t sampleCount() const override { return _count; }
    zrk::Tensor<4, double> position(std::int32_t i) const override { return _whole.position(_first + i); }
    void positions(std::int32_t first, std::int32_t count, double* x, double* y, double* z) const override
    {
        _whole.positions(_first + first, count, x, y, z);
    }
    std::array<bool, 3> repeatedPositions(std::int32_t earlier, std::int32_t first,
                                          std::int32_t count) const override
    {
        return _whole.repeatedPositions(_first + earlier, _first + first, count);
    }
    bool hasUnitWeights() const override { return _whole.hasUnitWeights(); }

private:
    const zrk::EvaluationDomain<3, double>& _whole;
    std::int32_t _first;
    std::int32_t _count;
};

/// Hands blocks of a part of a domain on as those of the whole.
class PartSink final : public zrk::BlockSink {
public:
    PartSink(zrk::BlockSink& whole, std::int32_t first) : _whole(whole), _first(first) {}
    void take(std::int32_t firstSample, std::size_t sampleCount, const zrk::Block& block) override
    {
        _whole.take(_first + firstSample, sampleCount, block);
    }

private:
    zrk::BlockSink& _whole;
    std::int32_t _first;
};

FieldValues samplePrepared(const zrk::PreparedField& field, const zrk::EvaluationDomain<3, double>& domain,
                           bool keepsWeightless, zrk::ProgressMonitor* monitor, std::size_t threads,
                           const char* remedy)
{
    constexpr std::int32_t kPart = 1 << 14; ///< samples that a worker takes at a time
    constexpr unsigned kInterval = 20;      ///< milliseconds between two reports
    const std::int32_t samples = domain.sampleCount();
    const std::size_t components = field.componentCount();
    checkSize(samples, components, remedy);
    FieldValues values(static_cast<std::size_t>(samples) * components);
    ComponentSink sink(values, components, keepsWeightless);
    std::atomic<std::int32_t> next{0};
    const std::int32_t parts = (samples - 1) / kPart + 1;
    const zrk::TeamReport report{monitor, static_cast<std::size_t>(parts), kInterval};
    const bool isDone = zrk::runReportedTeam(
        zrk::workerCount(threads), report, [&](std::size_t, std::size_t, zrk::ProgressManager& progress) {
            for (std::int32_t part = next++; part < parts; part = next++) {
                if (progress.shouldInterrupt()) {
                    return false;
                }
                const std::int32_t first = part * kPart;
                PartSink partSink(sink, first);
                field.sweep(DomainPart(domain, first, std::min(kPart, samples - first)), partSink);
                progress.notifyProgressUpdate(std::this_thread::get_id(), 1);
            }
            return true;
        });
    if (!isDone) {
        throw zrk::FaultError(zrk::interruptedAt(kPlace));
    }
    values.summary = sink.summary();
    return values;
}

} // namespace

FieldValues::FieldValues(std::size_t count) : _values(new double[count]), _count(count)
{
    zrk::wishLargePages(_values.get(), count * sizeof(double));
}

std::array<std::int32_t, 3> gridDims(const zrk::BBox<double>& bounds, int resolution)
{
    const double longest = std::max({bounds.size[0], bounds.size[1], bounds.size[2]});
    std::array<std::int32_t, 3> dims{};
    for (std::size_t i = 0; i < 3; ++i) {
        const double share = longest > 0 ? bounds.size[i] / longest : 1.0;
        dims[i] = std::max(2, static_cast<std::int32_t>(std::round(resolution * share)));
    }
    return dims;
}

SlicePlane::SlicePlane(const zrk::BBox<double>& bounds, int axis, double at, int size)
    : _bounds(bounds),
      _axis(axis),
      _across(axis == 0 ? 1 : 0),
      _up(axis == 2 ? 1 : 2),
      _coordinate(bounds.min[axis] + (bounds.max[axis] - bounds.min[axis]) * at)
{
    const double across = bounds.size[_across];
    const double up = bounds.size[_up];
    const double longer = std::max(across, up);
    const auto pixels = [&](double length) {
        return longer > 0 ? std::max(1, static_cast<int>(std::round(size * (length / longer)))) : size;
    };
    _width = pixels(across);
    _height = pixels(up);
}

std::optional<zrk::Corners<double>> SlicePlane::bounds() const
{
    zrk::Corners<double> corners{_bounds.min, _bounds.max};
    corners.first[_axis] = _coordinate;
    corners.second[_axis] = _coordinate;
    return corners;
}

zrk::Tensor<4, double> SlicePlane::position(std::int32_t i) const
{
    const double u = ((i % _width) + 0.5) / _width;
    const double v = ((i / _width) + 0.5) / _height;
    zrk::Tensor<4, double> p{0, 0, 0, 1};
    p[_axis] = _coordinate;
    p[_across] = _bounds.min[_across] + (_bounds.max[_across] - _bounds.min[_across]) * u;
    p[_up] = _bounds.min[_up] + (_bounds.max[_up] - _bounds.min[_up]) * v;
    return p;
}

zrk::Result<FieldValues> sampleField(const zrk::IField& field, const zrk::Region<3, 3, double, 1>& region,
                                     zrk::ProgressMonitor* monitor, std::size_t threads)
{
    return zrk::attempt(kPlace, [&] {
        const auto& n = region.dimensions();
        // Before the domain is made, which refuses such a grid without the size in bytes.
        checkSize(static_cast<double>(n[0]) * n[1] * n[2], 1, kLessOfGrid);
        return sampleDomain(field, std::make_shared<zrk::GridDomain>(region), false, monitor, threads,
                            kLessOfGrid);
    });
}

zrk::Result<FieldValues> sampleField(const zrk::IField& field,
                                     std::shared_ptr<zrk::EvaluationDomain<3, double>> positions,
                                     zrk::ProgressMonitor* monitor, std::size_t threads)
{
    return zrk::attempt(kPlace, [&] {
        return sampleDomain(field, std::move(positions), false, monitor, threads, kLessOfGrid);
    });
}

zrk::Result<FieldValues> sampleField(const zrk::IField& field, const SlicePlane& plane,
                                     zrk::ProgressMonitor* monitor, std::size_t threads)
{
    return zrk::attempt(kPlace, [&] {
        return sampleDomain(field, std::make_shared<SlicePlane>(plane), true, monitor, threads, kLessOfSlice);
    });
}

zrk::Result<FieldValues> sampleField(const zrk::IField& field,
                                     const std::vector<zrk::Tensor<3, double>>& positions,
                                     zrk::ProgressMonitor* monitor, std::size_t threads)
{
    return zrk::attempt(kPlace, [&] {
        return sampleDomain(field, std::make_shared<zrk::PointListDomain>(positions), false, monitor, threads,
                            kLessOfList);
    });
}

zrk::Result<FieldValues> sampleField(const zrk::PreparedField& field,
                                     const zrk::Region<3, 3, double, 1>& region,
                                     zrk::ProgressMonitor* monitor, std::size_t threads)
{
    return zrk::attempt(kPlace, [&] {
        const auto& n = region.dimensions();
        checkSize(static_cast<double>(n[0]) * n[1] * n[2], field.componentCount(), kLessOfGrid);
        return samplePrepared(field, zrk::GridDomain(region), false, monitor, threads, kLessOfGrid);
    });
}

zrk::Result<FieldValues> sampleField(const zrk::PreparedField& field, const SlicePlane& plane,
                                     zrk::ProgressMonitor* monitor, std::size_t threads)
{
    return zrk::attempt(kPlace,
                        [&] { return samplePrepared(field, plane, true, monitor, threads, kLessOfSlice); });
}

std::size_t componentCountOf(const zrk::IField& field)
{
    const auto generator = field.generator();
    return generator ? zrk::componentCount(generator->descriptor().outputShape) : 1;
}

} // namespace zrkmodel

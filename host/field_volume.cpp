#include "host/field_volume.h"

#include "core/engine/worker_team.h"
#include "host/free_memory.h"
#include "host/grid_rows.h"

#include <algorithm>
#include <limits>
#include <memory>

namespace zrkmodel {

namespace {

/// Tells of a part of the work as a part of the whole.
class PartProgress final : public zrk::ProgressMonitor {
public:
    explicit PartProgress(zrk::ProgressMonitor* monitor) : _monitor(monitor) {}
    void setPart(double begin, double end)
    {
        _begin = begin;
        _end = end;
    }
    void progress(double fraction) override
    {
        if (_monitor) {
            _monitor->progress(_begin + (_end - _begin) * fraction);
        }
    }
    bool interruptRequested() override { return _monitor && _monitor->interruptRequested(); }

private:
    zrk::ProgressMonitor* _monitor;
    double _begin = 0;
    double _end = 1;
};

/// Adds the summary of further samples.
void add(FieldSummary& all, const FieldSummary& more)
{
    if (more.counted > 0) {
        all.least = all.counted > 0 ? std::min(all.least, more.least) : more.least;
        all.greatest = all.counted > 0 ? std::max(all.greatest, more.greatest) : more.greatest;
    }
    const auto weight = static_cast<double>(all.finite + more.finite);
    if (more.finite > 0) {
        all.mean += (more.mean - all.mean) * (static_cast<double>(more.finite) / weight);
    }
    all.samples += more.samples;
    all.undefined += more.undefined;
    all.weightless += more.weightless;
    all.counted += more.counted;
    all.finite += more.finite;
}

} // namespace

zrk::Result<FieldSummary> samplePieces(const zrk::IField& field, const zrk::BBox<double>& bounds,
                                       const std::array<std::int32_t, 3>& dims, GridLayers layers,
                                       double bytes, const PieceSink& sink, zrk::ProgressMonitor* monitor,
                                       std::size_t threads)
{
    return zrk::attempt("sampling", [&] {
        const auto rows = std::make_shared<GridRows>(bounds, dims);
        constexpr double kMostSamples = std::numeric_limits<std::int32_t>::max();
        const double rowBytes = static_cast<double>(rows->rowLength()) * sizeof(double) *
                                static_cast<double>(componentCountOf(field));
        const double most = std::min(bytes / rowBytes, kMostSamples / rows->rowLength());
        const std::int64_t first = static_cast<std::int64_t>(layers.first) * dims[1];
        const std::int64_t end = (static_cast<std::int64_t>(layers.last) + 1) * dims[1];
        const auto all = static_cast<double>(end - first);
        const auto piece = static_cast<std::int64_t>(std::clamp(most, 1.0, all));
        PartProgress progress(monitor);
        FieldSummary summary;
        for (std::int64_t row = first; row < end; row += piece) {
            const std::int64_t count = std::min(piece, end - row);
            rows->choose(row, count);
            progress.setPart(static_cast<double>(row - first) / all,
                             static_cast<double>(row - first + count) / all);
            const FieldValues values = zrk::valueOrThrow(sampleField(field, rows, &progress, threads));
            add(summary, values.summary);
            if (!sink(values)) {
                break;
            }
        }
        return summary;
    });
}

double pieceBytes(bool hasBudget, std::size_t threads)
{
    // A worker has blocks of its own, and what is written is converted and gathered.
    constexpr double kForWorker = 2 << 20;
    constexpr double kForAll = 16 << 20;
    const double reserve = kForAll + kForWorker * static_cast<double>(zrk::workerCount(threads));
    const double available = memoryToUse().value_or(1 << 30);
    const double part = hasBudget ? available : std::min(available, freeMemory().value_or(available) / 4);
    return std::max(0.9 * (part - reserve), 0.25 * part);
}

} // namespace zrkmodel

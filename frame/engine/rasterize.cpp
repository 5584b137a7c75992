#include "frame/engine/rasterize.h"

#include "frame/engine/field_sampler.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace zrk {

namespace {

/// Makes room for new values and asks for large pages behind them: touching a large raster for the
/// first time otherwise takes about as long as computing a cheap field.
void reserveOnLargePages(std::vector<double>& values, std::size_t count)
{
    values.reserve(count);
#if defined(__linux__)
    constexpr std::uintptr_t kLargePage = std::uintptr_t{1} << 21;
    const auto begin = reinterpret_cast<std::uintptr_t>(values.data() + values.size());
    const auto end = reinterpret_cast<std::uintptr_t>(values.data() + values.capacity());
    const std::uintptr_t first = (begin + kLargePage - 1) / kLargePage * kLargePage;
    const std::uintptr_t last = end / kLargePage * kLargePage;
    if (first < last) {
        // A wish only; where it isn't granted, ordinary pages do.
        madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
    }
#endif
}

/// Stores component 0 of each record.
class RasterSink final : public BlockSink {
public:
    explicit RasterSink(double* values) : _values(values) {}

    void take(std::int32_t firstSample, std::size_t sampleCount, const Block& block) override
    {
        std::copy_n(block.row(0), sampleCount, _values + firstSample);
    }

private:
    double* _values;
};

} // namespace

void rasterizeField(const IField& field, const Region<3, 3, double, 1>& gridBox, Raster<1, 3, double>& raster)
{
    rasterizeField(field, gridBox, raster, nullptr);
}

bool rasterizeField(const IField& field, const Region<3, 3, double, 1>& gridBox, Raster<1, 3, double>& raster,
                    ProgressMonitor* monitor, std::size_t threads)
{
    const auto& extents = gridBox.dimensions();
    const auto count = static_cast<std::size_t>(gridSampleCount(extents[0], extents[1], extents[2]));
    if (!std::equal(std::begin(extents), std::end(extents), std::begin(raster.dims))) {
        reserveOnLargePages(raster.data, count);
        raster.resize(extents);
    }
    if (!field) {
        return true;
    }
    FieldSampler sampler(field.generator(), std::make_shared<GridDomain>(gridBox));
    if (threads > 0) {
        sampler.threadCount = threads;
    }
    RasterSink sink(raster.data.data());
    return sampler.sweep(sink, monitor);
}

} // namespace zrk

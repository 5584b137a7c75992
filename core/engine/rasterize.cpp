#include "core/engine/rasterize.h"

#include "core/engine/field_sampler.h"
#include "core/values/large_pages.h"

#include <algorithm>
#include <memory>

namespace zrk {

namespace {

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
    if (!std::equal(std::begin(extents), std::end(extents), std::begin(raster.dims)) ||
        raster.data.size() != count) {
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

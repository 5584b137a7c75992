#include "core/picture/tracer.h"

#include <utility>

namespace zrk::picture {

Tracer::Tracer(InsideField field, const PositionBox& region, PictureWork& work)
    : _field(std::move(field)), _region(region), _work(work), _tracers(work.threads())
{}

bool Tracer::trace(const Camera& camera, Detail detail, DepthPicture& out, const PixelMask* pixels)
{
    const TracePlan plan(_field, _region, camera, detail, pixels);
    const auto tiles =
        static_cast<std::size_t>(plan.tilesAcross()) * static_cast<std::size_t>(plan.tilesDown());
    return _work.forEach(tiles, [&](std::size_t tile, std::size_t worker) {
        if (!_tracers[worker]) {
            _tracers[worker] = std::make_unique<TileTracer>();
        }
        _tracers[worker]->trace(plan, _work, static_cast<std::int32_t>(tile), out);
    });
}

} // namespace zrk::picture

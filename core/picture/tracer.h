#pragma once

#include "core/picture/tile_tracer.h"
#include "core/values/export.h"

#include <memory>
#include <vector>

namespace zrk::picture {

/// Finds what cameras see of the solid in a region, tile by tile on all threads of a work. The picture is the
/// same for any number of threads. For one thread at a time.
class ZRK_API Tracer {
public:
    /// All three must outlive the tracer, the field excepted.
    Tracer(InsideField field, const PositionBox& region, PictureWork& work);

    const PositionBox& region() const { return _region; }
    const InsideField& field() const { return _field; }
    PictureWork& work() { return _work; }

    /// Writes all pixels of a picture of the camera's size, or those of them that are in the mask. False if
    /// it was interrupted, which is asked every few hundred samples.
    bool trace(const Camera& camera, Detail detail, DepthPicture& out, const PixelMask* pixels = nullptr);

private:
    InsideField _field;
    PositionBox _region;
    PictureWork& _work;
    std::vector<std::unique_ptr<TileTracer>> _tracers; ///< by thread
};

} // namespace zrk::picture

#pragma once

#include "core/picture/camera.h"
#include "core/picture/depth_picture.h"
#include "core/picture/picture_work.h"

namespace zrk::picture {

/// Pixels at the edges of what a picture shows: beside one of another kind, of another slope, or much farther
/// away. The ground and nothing are alike. Of no use if the work was interrupted.
PixelMask edgesOf(const Camera& camera, const DepthPicture& picture, PictureWork& work);

} // namespace zrk::picture

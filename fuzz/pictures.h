#pragma once

#include "core/values/fault.h"
#include "core/values/image_channel.h"

#include <cstdlib>
#include <vector>

/// Whatever the bytes, they give either channels of equal extents or a fault of theirs.
inline void expectSound(const zrk::Result<std::vector<zrk::ImageChannel<2>>>& channels)
{
    if (!channels && channels.error().kind != zrk::FaultKind::BadInput) {
        std::abort();
    }
    for (std::size_t c = 0; channels && c < channels->size(); ++c) {
        const auto pixels = [](const auto& raster) { return raster.data.size(); };
        const std::size_t count = std::visit(pixels, (*channels)[c]);
        if (count == 0 || count != std::visit(pixels, channels->front()) || channels->size() > 4) {
            std::abort();
        }
    }
}

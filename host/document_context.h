#pragma once

#include "model/context.h"

namespace zrkmodel {

/// What a document's "context" tells the components.
struct DocumentContext final : ZRKContext {
    std::optional<zrk::BBox<double>> bounds;
    std::optional<zrk::BBox<double>> localBounds;
    std::optional<zrk::Tensor<zrk::kMatrix4, double>> transform;

    std::optional<zrk::BBox<double>> modelBounds() const override { return bounds; }
    std::optional<zrk::BBox<double>> modelLocalBounds() const override { return localBounds; }
    std::optional<zrk::Tensor<zrk::kMatrix4, double>> modelTransform() const override { return transform; }
};

} // namespace zrkmodel

#pragma once

#include "core/values/bbox.h"
#include "core/values/tensor.h"

#include <optional>

namespace zrkmodel {

/// What a component may know about the model it is evaluated in. Each may be missing.
class ZRKContext {
public:
    virtual ~ZRKContext() = default;
    virtual std::optional<zrk::BBox<double>> modelBounds() const { return std::nullopt; }
    virtual std::optional<zrk::BBox<double>> modelLocalBounds() const { return std::nullopt; }
    /// Stored column by column.
    virtual std::optional<zrk::Tensor<zrk::kMatrix4, double>> modelTransform() const { return std::nullopt; }
};

} // namespace zrkmodel

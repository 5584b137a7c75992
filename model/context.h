#pragma once

#include "core/values/bbox.h"
#include "core/values/export.h"
#include "core/values/tensor.h"

#include <optional>

namespace zrkmodel {

/// What a component may know about the model it is evaluated in. Each may be missing, and is by default.
/// Asked from any thread that builds evaluators, so that the answers must not change meanwhile.
class ZRK_API ZRKContext {
public:
    virtual ~ZRKContext() = default;
    /// The box around the model in document space, in model units.
    virtual std::optional<zrk::BBox<double>> modelBounds() const { return std::nullopt; }
    /// The box around the model in the model's own space, before modelTransform.
    virtual std::optional<zrk::BBox<double>> modelLocalBounds() const { return std::nullopt; }
    /// Takes the model's own space to document space. Stored column by column.
    virtual std::optional<zrk::Tensor<zrk::kMatrix4, double>> modelTransform() const { return std::nullopt; }
};

} // namespace zrkmodel

#pragma once

#include "core/surface/quality.h"

#include <optional>
#include <string>

namespace zrkcli {

/// A report on a mesh, as people read it or as JSON.
struct PrintedReport {
    std::string name; ///< of the mesh's file
    std::string unit; ///< of its lengths; empty where it isn't known
    zrk::MeshReport mesh;
    /// How far the mesh is from its field; nothing where that isn't known.
    std::optional<zrk::DistanceError> distance = {};
    /// Cells that may hold features smaller than they are; nothing where the field has no bounds.
    std::optional<std::size_t> doubtfulCells = {};

    std::string text() const;
    std::string json() const;
};

} // namespace zrkcli

#pragma once

#include "apps/workbench/views/slice_work.h"
#include "apps/workbench/views/solid_work.h"
#include "apps/workbench/views/view_source.h"
#include "core/picture/picture.h"
#include "formats/volume.h"
#include "host/surface_file.h"

#include <functional>
#include <optional>
#include <string>
#include <variant>

namespace zrkworkbench {

/// @{ What is exported, as the commands `zrk sample`, `surface`, `slice` and `render` have it.
struct VolumeExport {
    int resolution = 64; ///< nodes along the longest side
    zrk::NumberType type = zrk::NumberType::Float64;
};
struct SurfaceExport {
    int resolution = 128; ///< cells along the longest side
    bool isSharp = false;
    bool isOpen = false;
    double flatness = 0; ///< triangles are joined where the surface stays within this, model units
    std::optional<double> iso{};
};
struct SliceExport {
    int axis = 2;
    double at = 0.5;
    int size = 1024; ///< pixels along the longer side
    bool hasLegend = false;
    std::optional<double> iso{}; ///< without it the one that is usual for the output
    bool hasLine = true;         ///< at that value
    QRectF window{};             ///< the part of the plane, model units, y upwards; empty for the bounds
    std::optional<zrkmodel::ValueRange> range{}; ///< at the ends of the colours; else the usual one
};
struct SolidExport {
    int width = 1600;
    int height = 1200;
    SolidEye eye{};
    /// What the eye's zoom and shift are about; without it, and in perspective, the solid fills the picture.
    std::optional<SolidFrame> frame{};
    std::optional<SolidRequest::Cut> cut{};
    std::optional<double> iso{};
    bool isPerspective = false;
    zrk::Backdrop backdrop = zrk::Backdrop::Studio;
};
/// @}
using ExportOptions = std::variant<VolumeExport, SurfaceExport, SliceExport, SolidExport>;

/// Work that writes a file. It reads nothing of the document that it was made of.
struct ExportTask {
    std::string file;
    /// Writes the file and returns what is told of it; throws FaultError, and leaves a file that was there,
    /// when it can't or is stopped.
    std::function<std::string(const zrkmodel::StageRunner& runStage)> run;
};

/// Makes the work that exports an output: its evaluators are built before this returns. Refused for what the
/// commands refuse before any work: a name of another format, an output without a surface, a box without
/// room.
zrk::Result<ExportTask> exportTask(const std::string& file, const zrkmodel::GraphDocument& document,
                                   zrkmodel::PinAddress output, const ExportOptions& options);

} // namespace zrkworkbench

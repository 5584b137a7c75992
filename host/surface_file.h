#pragma once

#include "core/engine/prepared_field.h"
#include "core/surface/surface.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/part.h"

#include <functional>
#include <optional>
#include <string>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// Does the stages of a long work one after the other: called with the title of each, and with what it does
/// under a monitor, which must be called once.
using StageRunner =
    std::function<void(const char* title, const std::function<void(zrk::ProgressMonitor&)>& stage)>;

/// A surface to be written, and what its file says beside the triangles.
struct SurfaceTask {
    zrk::PreparedField field;
    zrk::SurfaceSettings settings;
    std::string place;                        ///< of the output, for messages
    std::optional<zrk::PreparedField> colors; ///< of the vertices
    std::optional<zrk::PartBeams> beams;      ///< that the solid consists of
    std::optional<zrk::LengthUnit> unit;
    std::string title;
};

/// Refuses what a format has no place for: colours, or an open surface.
ZRK_API zrk::Result<void> checkSurfaceFormat(const std::string& file, zrk::PartFormat format, bool hasColors,
                                             bool isOpen);

/// Extracts a surface, writes it in the format of the file's name, and returns it. Its stages are
/// "estimating", "surface", "colours" where there are any, and "writing". After a fault a file that was there
/// stays as it was: BadInput for a name or a format that can't be used, FailedWork where there is no surface,
/// no memory or no way to write, Interrupted when a monitor stopped the work.
/// @param warn  told of values that are NaN; may be empty.
ZRK_API zrk::Result<zrk::SurfaceMesh> writeSurface(const std::string& file, const SurfaceTask& task,
                                                   const StageRunner& runStage,
                                                   const std::function<void(const zrk::Fault&)>& warn = {});

/// The name of a document's file without its endings.
ZRK_API std::string titleOf(const std::string& document);

} // namespace zrkmodel

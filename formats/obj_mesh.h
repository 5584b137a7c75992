#pragma once

#include "core/surface/surface.h"
#include "core/values/fault.h"
#include "formats/part.h"
#include "formats/piece_writer.h"

#include <filesystem>

namespace zrk {

/// Writes Wavefront OBJ: vertices with coordinates that read back to the same doubles, and triangles. Colours
/// stand behind the coordinates as three numbers from 0 to 1, as many programs read them; opacity is left
/// out. The unit is a comment.
Result<void> writeObj(const Part& part, const ByteSink& sink, ProgressMonitor* monitor);

/// Reads the vertices and faces of a Wavefront OBJ file as modelling programs mean them, unlike
/// `parseWavefrontObj`, which is what an import takes: faces are split, and negative indices count
/// back from the last vertex. Everything else is skipped. Refuses lines that it can't read, with their
/// number.
Result<FileMesh> readObjMesh(const std::filesystem::path& path);

} // namespace zrk

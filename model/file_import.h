#pragma once

#include "core/values/fault.h"

#include <filesystem>
#include <string>
#include <vector>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// What becomes of the faces of four and more corners of a Wavefront OBJ file: they are kept, so that the
/// corners of all faces are taken three at a time, or split into triangles. Faces of other formats are always
/// split.
enum class ZRKPolygons { Keep, Split };

/// How an imported mesh meets the box of its component: stretched axis by axis, the origin being part of the
/// mesh; scaled by one factor and centred; or not at all, with its coordinates as they are.
enum class ZRKMeshFit { Stretch, Uniform, None };

/// How files are imported. The defaults are what the component's import button does. Documents write the
/// options beside the path:
///
/// | import   | kind   | unit | default   | range | meaning                                            |
/// |----------|--------|------|-----------|-------|----------------------------------------------------|
/// | path     | string |      |           |       | a path, or an array of them, from the document's   |
/// |          |        |      |           |       | folder; it may stand for itself, without an object |
/// | polygons | string |      | "keep"    |       | what becomes of faces of four and more corners of  |
/// |          |        |      |           |       | an OBJ file; those of other formats are split      |
/// | fit      | string |      | "stretch" |       | how the mesh meets the component's box             |
///
/// | import.polygons | name | meaning                                                     |
/// |-----------------|------|-------------------------------------------------------------|
/// | "keep"          |      | the corners of all faces are taken three at a time          |
/// | "split"         |      | they are split into triangles                               |
///
/// | import.fit | name | meaning                                                            |
/// |------------|------|--------------------------------------------------------------------|
/// | "stretch"  |      | stretched axis by axis, the origin being part of the mesh          |
/// | "uniform"  |      | scaled by one factor and centred                                   |
/// | "none"     |      | not at all: the coordinates stay as they are                       |
struct ZRKImportOptions {
    ZRKPolygons polygons = ZRKPolygons::Keep;
    ZRKMeshFit fit = ZRKMeshFit::Stretch;
    /// What a length of 1 stands for where the data arrive, such as "mm"; empty where that isn't known.
    /// Nothing is rescaled; a file that has another unit is warned of.
    std::string unit;
};

/// What an import took otherwise than the files' author may think; each remedy tells how.
using ZRKImportWarnings = std::vector<zrk::Fault>;

/// The messages of an import, one a line and its remedy; empty when all went well.
inline std::string messagesOf(const zrk::Result<ZRKImportWarnings>& imported)
{
    std::string all;
    for (const zrk::Fault& fault : imported ? *imported : ZRKImportWarnings{imported.error()}) {
        all += (all.empty() ? "" : "\n") + zrk::messageOf(fault);
    }
    return all;
}

/// A component that takes data from files which its stored values don't hold: a mesh, the slices of a scan.
class ZRKFileImport {
public:
    virtual ~ZRKFileImport() = default;

    /// Does what the component's import button does with the files. What can't be read follows the
    /// component's own rule, and so does what evaluators that are built already compute with. A run under
    /// way isn't touched.
    /// @param monitor  told of the progress, may stop the import, which then changes nothing; may be null.
    /// @return warnings of what was left out or is taken otherwise; a fault of the kind BadInput where the
    /// files gave nothing, and the remedy tells what becomes of the component's data; Interrupted when the
    /// monitor stopped the import; FailedWork when the data are too large. Lack of memory may also be thrown.
    zrk::Result<ZRKImportWarnings> importFiles(const std::vector<std::filesystem::path>& paths,
                                               zrk::ProgressMonitor* monitor,
                                               const ZRKImportOptions& options = {})
    {
        return onImport(paths, options, monitor);
    }

    /// The members of "import" in documents that have an effect here beside "path".
    virtual std::vector<std::string> importOptions() const { return {}; }

protected:
    virtual zrk::Result<ZRKImportWarnings> onImport(const std::vector<std::filesystem::path>& paths,
                                                    const ZRKImportOptions& options,
                                                    zrk::ProgressMonitor* monitor) = 0;
};

} // namespace zrkmodel

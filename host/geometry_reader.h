#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "host/document_geometry.h"
#include "host/document_paths.h"
#include "model/json.h"

#include <memory>
#include <string>
#include <vector>

namespace zrkmodel {

/// A geometry from its resource entry, of any shape but a group.
///
/// @param place     of the entry, for messages: file and index.
/// @param paths     where the paths in it lead.
/// @param unit      the document's, such as "mm"; empty where it has none.
/// @param warnings  of what a mesh's file holds otherwise than its author may think; appended to.
///
/// Refuses a shape that is unknown, malformed or degenerate geometry: no box without all corners in order, no
/// circle without an axis; and a mesh that isn't read whole.
ZRK_API zrk::Result<std::shared_ptr<DocumentGeometry>>
readGeometry(const ZRKJson& entry, const std::string& place, const DocumentPaths& paths,
             const std::string& unit, std::vector<zrk::Fault>& warnings);

/// True for an entry of the shape "group", whose members are other entries.
bool isGroup(const ZRKJson& entry);

/// The keys that an entry may have beside "uuid", "kind" and "name": those of its shape, and "shape".
std::vector<const char*> shapeMembers(const ZRKJson& entry);

} // namespace zrkmodel

#pragma once

#include "core/values/fault.h"
#include "host/document_paths.h"
#include "model/json.h"
#include "model/resource.h"

#include <memory>
#include <string>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// Loads the picture of a resource entry of kind "image2d": a PNG, JPEG or TIFF file.
///
/// @param paths   where the "path" leads.
/// @param place   of the entry, for messages.
///
/// The fault of an entry without a picture names the file.
zrk::Result<std::shared_ptr<ZRKImage2d>> readImage2d(const ZRKJson& entry, const DocumentPaths& paths,
                                                     const std::string& place);

/// The same for kind "image3d": a folder of slices, a TIFF file whose pages they are, or a NumPy
/// array of shape (nz, ny, nx).
///
/// @param monitor  may be null.
zrk::Result<std::shared_ptr<ZRKImage3d>> readImage3d(const ZRKJson& entry, const DocumentPaths& paths,
                                                     const std::string& place, zrk::ProgressMonitor* monitor);

} // namespace zrkmodel

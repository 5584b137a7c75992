#pragma once

#include "core/values/export.h"
#include "model/resource.h"

#include <memory>
#include <string>

namespace zrkmodel {

/// The images of voxels among the resources of a document.
class ZRK_API ZRKImage3dLibraryView {
public:
    virtual ~ZRKImage3dLibraryView() = default;

    /// The image made of the slices in a folder, which becomes a resource of the document unless it is one
    /// already. Null, or an entry without an object, when the folder can't be read or the path is empty.
    virtual std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string& path) = 0;
};

} // namespace zrkmodel

#pragma once

#include "core/values/export.h"
#include "model/geometry.h"
#include "model/image_library.h"
#include "model/resource.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// What a geometry may be picked as. Kinds are added up to a filter.
inline constexpr unsigned kPointGeometry = 1;
inline constexpr unsigned kCurveGeometry = 2;
inline constexpr unsigned kSurfaceGeometry = 4;
inline constexpr unsigned kOtherGeometry = 8; ///< solids, groups
inline constexpr unsigned kAnyGeometry = 15;

/// The kind of a geometry, one of the above.
inline unsigned geometryKind(const ZRKGeometry& geometry)
{
    const std::shared_ptr<IGeometry3d> shape = geometry.geometry();
    if (std::dynamic_pointer_cast<IPoint>(shape)) {
        return kPointGeometry;
    }
    if (std::dynamic_pointer_cast<IParametricCurve>(shape)) {
        return kCurveGeometry;
    }
    return std::dynamic_pointer_cast<IParametricSurface>(shape) ? kSurfaceGeometry : kOtherGeometry;
}

/// A resource with the name that lists show.
template <class R>
struct ZRKNamedResource {
    std::string name;
    std::shared_ptr<R> object;
};

/// A picture that was to be added: the resource, or why there is none.
struct ZRKAddedImage {
    std::shared_ptr<ZRKImage2d> image;
    std::string problem;
};

enum class ZRKImageKind { picture, volume };

/// A picture or a volume that is read for a document apart from it.
struct ZRKImageReading {
    /// Reads the file or folder. On any thread, also where the document is gone meanwhile; throws nothing.
    std::function<void(zrk::ProgressMonitor&)> read;
    /// Hands what was read to the document, which must still be there: when it is next asked to ensure that
    /// image, it takes this one, or the reason why there is none, and reads nothing.
    std::function<void()> keep;
};

/// The open document, as panels see it: what there is to pick from. Used on the interface thread.
class ZRK_API ZRKDocument {
public:
    virtual ~ZRKDocument() = default;

    /// The pictures, in the order of the document.
    virtual std::vector<ZRKNamedResource<ZRKImage2d>> images2d() const = 0;
    /// The geometries whose kind is in the filter, in the order of the document.
    virtual std::vector<ZRKNamedResource<ZRKGeometry>> geometries(unsigned filter) const = 0;
    virtual ZRKImage3dLibraryView& images3d() = 0;
    /// The picture of a PNG file, which becomes a resource of the document unless it is one already.
    virtual ZRKAddedImage ensureImage2d(const std::string& path) = 0;
    /// What reads the image of a path before `ensureImage2d`, or `ensureImageFromfolder`, is called.
    virtual ZRKImageReading startReading(ZRKImageKind kind, const std::string& path) = 0;
};

} // namespace zrkmodel

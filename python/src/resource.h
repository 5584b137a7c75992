#pragma once

#include "model/json.h"
#include "model/resource.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zrkpython {

namespace py = pybind11;

/// A picture, a volume or a geometry that nodes refer to by its uuid. Immutable.
struct Resource {
    std::shared_ptr<zrkmodel::ZRKSerializableObject> object; ///< has the uuid
    /// What a document's "resources" have for it. The path of what lies in a file is whole; what was made
    /// from arrays has none, and is written beside the document.
    zrkmodel::ZRKJson entry;
    py::object source =
        py::none(); ///< what it was made from in Python; no more than that, so that nothing refers back
    std::vector<std::shared_ptr<Resource>> members = {}; ///< of a group

    std::string uuid() const { return object->uuid().text(); }
};

using SharedResource = std::shared_ptr<Resource>;

/// @{ Resources from arrays. Throw FaultError for arrays of another shape or type.
/// Shape (h, w) or (h, w, channels), row 0 being row j = 0; uint8, uint16, or floats.
SharedResource pictureResource(const py::array& pixels, const py::object& source);
/// Shape (nz, ny, nx); uint8, uint16, or floats.
SharedResource volumeResource(const py::array& values, const py::object& source);
/// Triangles over vertices; reads the OBJ file that was written for it.
SharedResource meshResource(const std::string& objFile, const py::object& source);
/// Any shape of a document's geometry but mesh and group, by its keys.
SharedResource shapeResource(const py::dict& keys, const std::string& uuid, const py::object& source);
/// The distances of all members in order.
SharedResource groupResource(const std::vector<SharedResource>& members, const std::string& uuid,
                             const py::object& source);
/// @}

/// Finds resources among those given: for reading the values of one node.
class ResourceList final : public zrkmodel::ZRKResourceLibrary {
public:
    void add(const SharedResource& resource) { _resources[resource->uuid()] = resource; }
    zrkmodel::ZRKResourceHandle find(const zrkmodel::ZRKuuid& uuid) override;

private:
    std::map<std::string, SharedResource> _resources;
};

/// All strings of a stored value, at any level.
void forEachString(const zrkmodel::ZRKJson& value, const std::function<void(const std::string&)>& take);

} // namespace zrkpython

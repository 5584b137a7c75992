#include "python/src/resource.h"

#include "host/document_geometry.h"
#include "host/geometry_reader.h"
#include "python/src/json_values.h"
#include "python/src/running.h"

#include <fmt/core.h>

#include <cstdint>
#include <functional>
#include <utility>

namespace zrkpython {

using zrkmodel::ZRKJson;

namespace {

std::string newUuid() { return py::str(py::module_::import("uuid").attr("uuid4")()).cast<std::string>(); }

[[noreturn]] void refuseArray(const py::array& array, const char* kind, const char* expected)
{
    std::string shape;
    for (py::ssize_t i = 0; i < array.ndim(); ++i) {
        shape += fmt::format("{}{}", i > 0 ? ", " : "", array.shape(i));
    }
    throw zrk::FaultError(
        {kind,
         fmt::format("an array of shape ({}) and type {}", shape, py::str(array.dtype()).cast<std::string>()),
         expected, "convert the array, for example with numpy.asarray(array, float)"});
}

/// The channels of an array whose last axis runs over them, each as a raster of D axes.
template <int D, class T>
std::vector<zrk::ImageChannel<D>> channels(const py::array& array, py::ssize_t channelCount)
{
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    const auto values = numbersOf<T>(array);
    std::vector<zrk::ImageChannel<D>> all;
    for (py::ssize_t c = 0; c < channelCount; ++c) {
        zrk::Raster<1, D, T> raster;
        std::int32_t extents[D];
        for (int d = 0; d < D; ++d) {
            extents[d] = static_cast<std::int32_t>(values.shape(D - 1 - d));
        }
        raster.resize(extents);
        const T* from = values.data() + c;
        for (std::size_t i = 0; i < raster.data.size(); ++i) {
            if (i % kPiece == 0) {
                hearSignals();
            }
            raster.data[i] = *from;
            from += channelCount;
        }
        all.emplace_back(std::move(raster));
    }
    return all;
}

template <int D>
std::vector<zrk::ImageChannel<D>> channelsOf(const py::array& array, const char* kind, const char* expected)
{
    constexpr py::ssize_t kMostPixels = py::ssize_t{1} << 31;
    const bool hasChannels = D == 2 && array.ndim() == 3;
    const py::ssize_t count = hasChannels ? array.shape(2) : 1;
    bool isFit = (hasChannels || array.ndim() == D) && count >= 1 && count <= 4 && array.size() > 0 &&
                 array.size() < kMostPixels;
    const char type = array.dtype().kind();
    const py::ssize_t bytes = array.itemsize();
    if (isFit && type == 'u' && bytes == 1) {
        return channels<D, std::uint8_t>(array, count);
    }
    if (isFit && type == 'u' && bytes == 2) {
        return channels<D, std::uint16_t>(array, count);
    }
    if (isFit && type == 'f' && bytes == 4) {
        return channels<D, float>(array, count);
    }
    if (isFit && type == 'f') {
        return channels<D, double>(array, count);
    }
    refuseArray(array, kind, expected);
}

SharedResource resource(std::shared_ptr<zrkmodel::ZRKSerializableObject> object, ZRKJson entry,
                        const std::string& uuid, const py::object& source)
{
    object->setUuid(zrkmodel::ZRKuuid(uuid));
    entry["uuid"] = uuid;
    return std::make_shared<Resource>(Resource{std::move(object), std::move(entry), source, {}});
}

} // namespace

SharedResource pictureResource(const py::array& pixels, const py::object& source)
{
    auto read = channelsOf<2>(pixels, "picture",
                              "shape (height, width) or (height, width, 1 to 4) of uint8, uint16 or floats");
    return resource(std::make_shared<zrkmodel::ZRKImage2d>(std::move(read)), {{"kind", "image2d"}}, newUuid(),
                    source);
}

SharedResource volumeResource(const py::array& values, const py::object& source)
{
    auto read = channelsOf<3>(values, "volume", "shape (nz, ny, nx) of uint8, uint16 or floats");
    return resource(std::make_shared<zrkmodel::ZRKImage3d>(std::move(read)), {{"kind", "image3d"}}, newUuid(),
                    source);
}

namespace {

/// The geometry of an entry of no document: paths start from the current folder, and there is no unit that a
/// file's could differ from.
std::shared_ptr<zrkmodel::DocumentGeometry> geometryOf(const ZRKJson& entry, const char* place)
{
    std::vector<zrk::Fault> warnings;
    return zrk::valueOrThrow(
        zrkmodel::readGeometry(entry, place, zrkmodel::DocumentPaths(std::filesystem::path()), "", warnings));
}

} // namespace

SharedResource meshResource(const std::string& objFile, const py::object& source)
{
    const ZRKJson entry{{"kind", "geometry"}, {"shape", "mesh"}, {"path", objFile}};
    return resource(geometryOf(entry, "mesh"), {{"kind", "geometry"}, {"shape", "mesh"}}, newUuid(), source);
}

SharedResource shapeResource(const py::dict& keys, const std::string& uuid, const py::object& source)
{
    ZRKJson entry{{"kind", "geometry"}};
    entry.update(fromPython(keys, "geometry"));
    auto geometry = geometryOf(entry, "geometry");
    return resource(std::move(geometry), std::move(entry), uuid.empty() ? newUuid() : uuid, source);
}

SharedResource groupResource(const std::vector<SharedResource>& members, const std::string& uuid,
                             const py::object& source)
{
    ZRKJson entry{{"kind", "geometry"}, {"shape", "group"}, {"members", ZRKJson::array()}};
    std::vector<zrkmodel::ZRKGeometry::SignedDistance> distances;
    for (const SharedResource& member : members) {
        const auto geometry = std::dynamic_pointer_cast<zrkmodel::ZRKGeometry>(member->object);
        if (!geometry) {
            throw zrk::FaultError({"group", "a member that is no geometry", "curves, shapes and meshes",
                                   "leave pictures and volumes out"});
        }
        for (auto& distance : geometry->getSDFUngroup()) {
            distances.push_back(std::move(distance));
        }
        entry["members"].push_back(member->uuid());
    }
    auto group = resource(std::make_shared<zrkmodel::DocumentGeometry>(nullptr, std::move(distances)),
                          std::move(entry), uuid.empty() ? newUuid() : uuid, source);
    group->members = members;
    return group;
}

zrkmodel::ZRKResourceHandle ResourceList::find(const zrkmodel::ZRKuuid& uuid)
{
    const auto found = _resources.find(uuid.text());
    return found == _resources.end() ? zrkmodel::ZRKResourceHandle()
                                     : zrkmodel::ZRKResourceHandle(found->second->object);
}

void forEachString(const ZRKJson& value, const std::function<void(const std::string&)>& take)
{
    if (value.is_string()) {
        take(value.get_ref<const std::string&>());
    } else if (value.is_structured()) {
        for (const ZRKJson& member : value) {
            forEachString(member, take);
        }
    }
}

} // namespace zrkpython

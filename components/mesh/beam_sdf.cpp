#include "components/mesh/beam_sdf.h"

#include "components/distance_pins.h"
#include "components/mesh/mesh_import.h"
#include "core/values/bbox.h"

#include <iterator>
#include <optional>
#include <utility>

namespace zrkmodel {

namespace {

constexpr std::int32_t kNodes = 6;         ///< of the lattice over `min` to `max`; `resolution` isn't it
constexpr std::int32_t kNodesOfImport = 4; ///< of the lattice that an import of no file makes
const zrk::BBox<double> kImportBox({0, 0, 0}, {5, 5, 5});

} // namespace

ComponentIdentity ZRKBeamSDF::identity()
{
    return {
        .className = "ZRKBeamSDF",
        .typeName = "BeamSDF",
        .uuid = "ebd8fcf-fbf7-48e6-a881-41dabd05dce8", // one digit short, as documents have it
        .icon = IconResources::sc_sdf_beam,
        .strings = ZRKUIStrings::beam_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKBeamSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKBeamSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    makeCacheIfMissing();
    return zrk::slotEvaluator(_slot);
}

void ZRKBeamSDF::makeCacheIfMissing() const
{
    const std::lock_guard lock(_mutex);
    if (!_cache) {
        setCache(zrk::BeamCacheData::ofGrid(zrk::LatticeGrid::between(min.value(), max.value(), kNodes)));
    }
}

std::shared_ptr<const zrk::BeamCacheData> ZRKBeamSDF::lattice() const
{
    makeCacheIfMissing();
    const std::lock_guard lock(_mutex);
    return _cache;
}

void ZRKBeamSDF::replaceCache(Cache cache)
{
    const std::lock_guard lock(_mutex);
    setCache(std::move(cache));
}

/// For a caller that holds _mutex.
void ZRKBeamSDF::setCache(Cache cache) const
{
    if (cache) {
        _slot->fill(zrk::beamKernel(cache->field));
    }
    _cache = std::move(cache);
}

zrk::Result<ZRKImportWarnings> ZRKBeamSDF::makeLatticeBeam(const std::filesystem::path& path,
                                                           const ZRKImportOptions& options)
{
    MeshToImport mesh = readMeshToImport(path, options);
    const bool isBeyondLimits = mesh.fault && mesh.fault->kind != zrk::FaultKind::BadInput;
    if (std::optional<zrk::Fault>& fault = isBeyondLimits ? mesh.fault : mesh.indexFault) {
        fault->remedy += "; the lattice stays as it was";
        return zrk::refused(std::move(*fault));
    }
    const Cache lattice = zrk::BeamCacheData::ofEdges(std::move(mesh.vertices), std::move(mesh.indices));
    announceEdit();
    replaceCache(lattice);
    announceImport({path});
    if (!mesh.fault && !lattice->bvh) {
        mesh.fault = {path.string(), "no triangles", "faces of three corners",
                      "export a mesh of triangles; the lattice is empty"};
    }
    if (mesh.fault) {
        mesh.warnings.push_back(std::move(*mesh.fault));
    }
    return std::move(mesh.warnings);
}

std::vector<std::string> ZRKBeamSDF::importOptions() const
{
    return {std::begin(kMeshImportOptions), std::end(kMeshImportOptions)};
}

zrk::Result<ZRKImportWarnings> ZRKBeamSDF::onImport(const std::vector<std::filesystem::path>& paths,
                                                    const ZRKImportOptions& options, zrk::ProgressMonitor*)
{
    if (!paths.empty()) {
        return makeLatticeBeam(paths.front(), options);
    }
    announceEdit();
    replaceCache(zrk::BeamCacheData::ofGrid(
        zrk::LatticeGrid::between(kImportBox.min, kImportBox.max, kNodesOfImport)));
    announceImport({});
    return {};
}

ZRKHeldData ZRKBeamSDF::held() const
{
    constexpr std::size_t kBytesABeam = 300; // with its search tree, about
    const std::lock_guard lock(_mutex);
    ZRKHeldData data;
    data.add(_cache, _cache ? static_cast<std::size_t>(_cache->beamCount()) * kBytesABeam : 0);
    return data;
}

void ZRKBeamSDF::hold(const ZRKHeldData& data) { replaceCache(data.part<zrk::BeamCacheData>(0)); }

bool ZRKBeamSDF::onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    replaceCache(nullptr);
    return ZRKComponent::onInspection(view, node);
}

void ZRKBeamSDF::onSerialize(ZRKSerialization& s) const
{
    min.serialize(s);
    max.serialize(s);
    resolution.serialize(s);
}

void ZRKBeamSDF::onDeserialize(const ZRKDeserialization& d)
{
    min.deserialize(d);
    max.deserialize(d);
    resolution.deserialize(d);
}

} // namespace zrkmodel

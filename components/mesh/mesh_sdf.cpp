#include "components/mesh/mesh_sdf.h"

#include "components/distance_pins.h"
#include "components/mesh/mesh_import.h"
#include "core/engine/progress.h"

#include <iterator>
#include <utility>

namespace zrkmodel {

ComponentIdentity ZRKMeshSDF::identity()
{
    return {
        .className = "ZRKMeshSDF",
        .typeName = "MeshSDF",
        .uuid = "BC569064-23FF-426D-8301-9C92F9913E33",
        .icon = IconResources::sc_sdf_sphere,
        .strings = ZRKUIStrings::mesh_sdf(),
        .inputs = {Tag::Vector3d},
        .outputs = {Tag::Scalar},
    };
}

void ZRKMeshSDF::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) { addDistancePins(node); }

zrk::Evaluation ZRKMeshSDF::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    return zrk::slotEvaluator(_slot);
}

ZRKMeshSDF::Field ZRKMeshSDF::field() const
{
    const std::lock_guard lock(_mutex);
    return _field;
}

void ZRKMeshSDF::replaceField(Field field)
{
    const std::lock_guard lock(_mutex);
    _slot->fill(zrk::meshKernel(field));
    _field.swap(field);
}

ZRKHeldData ZRKMeshSDF::held() const
{
    constexpr std::size_t kBytesATriangle = 293; // with its search tree, measured
    const Field mesh = field();
    ZRKHeldData data;
    data.add(mesh, mesh ? static_cast<std::size_t>(mesh->triangleCount()) * kBytesATriangle : 0);
    return data;
}

void ZRKMeshSDF::hold(const ZRKHeldData& data) { replaceField(data.part<zrk::MeshWindingField>(0)); }

std::vector<std::string> ZRKMeshSDF::importOptions() const
{
    return {std::begin(kMeshImportOptions), std::end(kMeshImportOptions)};
}

zrk::Result<ZRKImportWarnings> ZRKMeshSDF::onImport(const std::vector<std::filesystem::path>& paths,
                                                    const ZRKImportOptions& options,
                                                    zrk::ProgressMonitor* monitor)
{
    if (paths.empty()) {
        return {};
    }
    const auto refuse = [](zrk::Fault fault) {
        fault.remedy += "; the mesh stays as it was";
        return zrk::refused(std::move(fault));
    };
    const std::string file = paths.front().string();
    MeshToImport mesh = readMeshToImport(paths.front(), options);
    if (mesh.indexFault) {
        return refuse(std::move(*mesh.indexFault));
    }
    if (mesh.triangleCount() == 0) {
        return refuse(mesh.fault.value_or(zrk::Fault{
            file, "no triangles", "vertices and faces of three corners", "export a mesh of triangles"}));
    }
    if (monitor && monitor->interruptRequested()) {
        monitor->interruptAcknowledged();
        return refuse(zrk::interruptedAt(file));
    }
    Field field =
        std::make_shared<const zrk::MeshWindingField>(std::move(mesh.vertices), std::move(mesh.indices));
    announceEdit();
    replaceField(std::move(field));
    announceImport(paths);
    if (mesh.fault) {
        mesh.warnings.push_back(std::move(*mesh.fault));
    }
    return std::move(mesh.warnings);
}

} // namespace zrkmodel

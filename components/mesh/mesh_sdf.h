#pragma once

#include "components/mesh/mesh_kernel.h"
#include "core/engine/kernel_slot.h"
#include "core/mesh/mesh_field.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/file_import.h"
#include "model/held_data.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zrkmodel {

/// Signed distance to an imported triangle mesh.
///
/// | input  | unit | meaning                        |
/// |--------|------|--------------------------------|
/// | coords | mu   | where the distance is measured |
///
/// | output | unit | meaning                                                                      |
/// |--------|------|------------------------------------------------------------------------------|
/// | sdf    | mu   | the distance, negative inside, with the weight of `coords`; 0 without a mesh |
///
/// Import (path, polygons, fit): The mesh, from an OBJ, STL, PLY or 3MF file. Without "fit" it is stretched,
/// axis by axis, into the box from (0, 0, 0) to (5, 5, 5), where the origin counts as part of the mesh. It
/// isn't stored with the component: a document that names the file has it read again. Of several paths the
/// first one counts.
///
/// Formula: d is the distance to the nearest triangle, negative where the winding number exceeds a half.
///
/// Notes: Triangles that run counter-clockwise as seen from outside have their inside inside, and meshes with
/// holes still have one; with reversed triangles d is positive everywhere. At NaN and at infinity d is the
/// largest double.
///
/// Example: A knot from a file.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-0.5, -0.5, -0.5], [5.5, 5.5, 5.5]]},
///      "nodes": [{"id": 1, "type": "MeshSDF", "import": "torus_knot.obj"}],
///      "output": [1, 0]}
///
/// Threads: An import reaches evaluators that are already built: their next run, not one under way, has the
/// new mesh. They go on with the last mesh when the component is gone. Imports belong to the interface
/// thread; evaluators may be asked for and run on any.
class ZRK_API ZRKMeshSDF final : public ZRKComponent<ZRKMeshSDF>, public ZRKFileImport, public ZRKDataHolder {
public:
    using Field = std::shared_ptr<const zrk::MeshWindingField>;

    ZRKMeshSDF() = default;
    /// A copy, and so a clone, starts without a mesh.
    ZRKMeshSDF(const ZRKMeshSDF& other) : ZRKComponent(other), ZRKFileImport(), ZRKDataHolder(other) {}
    /// Assigns values and the mesh, which both have then, telling no one.
    ZRKMeshSDF& operator=(const ZRKMeshSDF& other)
    {
        other._copyTo(this);
        hold(other.held());
        return *this;
    }

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    /// The mesh with what makes queries fast; null without a mesh.
    Field field() const;

    /// The mesh.
    ZRKHeldData held() const override;
    void hold(const ZRKHeldData& data) override;
    std::vector<std::string> importOptions() const override;

protected:
    /// Replaces the mesh by that of the first file; without a file nothing happens. The mesh stays as it was
    /// when the file can't be read, has no vertices or no faces, or has faces that name vertices that aren't
    /// there. A line of an OBJ file that isn't understood ends the reading, and what stands before it is
    /// taken. Sends no event of a change.
    zrk::Result<ZRKImportWarnings> onImport(const std::vector<std::filesystem::path>& paths,
                                            const ZRKImportOptions& options,
                                            zrk::ProgressMonitor* monitor) override;

private:
    void replaceField(Field field);

    mutable std::mutex _mutex;
    Field _field; ///< guarded by _mutex
    std::shared_ptr<zrk::KernelSlot> _slot = std::make_shared<zrk::KernelSlot>(zrk::meshKernel(nullptr));
};

} // namespace zrkmodel

#pragma once

#include "components/mesh/beam_kernel.h"
#include "core/engine/kernel_slot.h"
#include "core/mesh/beams/beam_lattice.h"
#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/component.h"
#include "model/file_import.h"
#include "model/held_data.h"
#include "model/property.h"

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace zrkmodel {

/// Signed distance to a lattice of beams along the edges of a mesh. Without an imported one they are the
/// edges of a grid.
///
/// | property   | kind    | unit | default   | range | meaning                                              |
/// |------------|---------|------|-----------|-------|------------------------------------------------------|
/// | resolution | int     |      | 3         |       | is stored and changes nothing                        |
/// | min        | vector3 | mu   | [0, 0, 0] |       | first node of the grid                               |
/// | max        | vector3 | mu   | [5, 5, 5] |       | the grid's sixth node on each axis; a seventh        |
/// |            |         |      |           |       | follows beyond it. Below `min` the grid runs         |
/// |            |         |      |           |       | backwards from `min`                                 |
///
/// | input  | unit | meaning                        |
/// |--------|------|--------------------------------|
/// | coords | mu   | where the distance is measured |
///
/// | output | unit | meaning                                                    |
/// |--------|------|------------------------------------------------------------|
/// | sdf    | mu   | the distance, negative inside, with the weight of `coords` |
///
/// Import (path, polygons, fit): An OBJ, STL, PLY or 3MF file, whose edges take the place of the grid's.
/// Without "fit" they are stretched into the box (0, 0, 0) to (5, 5, 5), axis by axis; they have the radius
/// 0.001. With "polygons": "split" the diagonals of polygons become beams too. The edges aren't stored with
/// the component and last until the inspector is opened; a document that names the file has it read again. Of
/// several paths the first one counts.
///
/// Formula: d is the smallest distance of all beams; each is a capsule, a cylinder with round ends. The grid
/// has a spacing of (max - min) / 5 on each axis and beams between neighbouring nodes, of 0.35 times the
/// largest spacing for a radius.
///
/// Notes: Without a beam, as after an import of a file without faces, d is the largest double. The lattice is
/// built when it is first asked for, and kept: a later edit of `min` or `max` has no effect on it until the
/// inspector is opened.
///
/// Example: A grid between two corners.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.6, -1.6, -1.6], [1.6, 1.6, 1.6]]},
///      "nodes": [{"id": 1, "type": "BeamSDF", "values": {"min": [-1, -1, -1], "max": [1, 1, 1]}}],
///      "output": [1, 0]}
///
/// Threads: A lattice that is imported, or built anew after the inspector was opened, reaches evaluators that
/// are already built: their next run, not one under way, has it. They go on with the last lattice when the
/// component is gone. Imports belong to the interface thread; evaluators may be asked for and run on any.
class ZRK_API ZRKBeamSDF final : public ZRKComponent<ZRKBeamSDF>, public ZRKFileImport, public ZRKDataHolder {
public:
    ZRKProperty<int> resolution{"resolution", 3, this};
    ZRKProperty<zrk::Tensor<3, double>> min{"min", {0, 0, 0}, this};
    ZRKProperty<zrk::Tensor<3, double>> max{"max", {5, 5, 5}, this};

    ZRKBeamSDF() = default;
    /// A copy, and so a clone, starts without a lattice.
    ZRKBeamSDF(const ZRKBeamSDF& other) : ZRKComponent(other), ZRKFileImport(), ZRKDataHolder(other) {}
    /// Assigns values and the lattice, which both have then, telling no one.
    ZRKBeamSDF& operator=(const ZRKBeamSDF& other)
    {
        other._copyTo(this);
        hold(other.held());
        return *this;
    }

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    /// Drops the lattice, an imported one too.
    bool onInspection(zrkui::ZRKPropertyView* view, const ZRKNodeBase<0, ZRKGraphObject>& node) override;

    /// The lattice as evaluators have it, made from `min` and `max` if there was none yet. Never null.
    std::shared_ptr<const zrk::BeamCacheData> lattice() const;

    /// The lattice.
    ZRKHeldData held() const override;
    void hold(const ZRKHeldData& data) override;
    std::vector<std::string> importOptions() const override;

protected:
    /// Replaces the lattice by the edges of the first file; without a file by a grid of four nodes over
    /// (0, 0, 0) to (5, 5, 5). A file that can't be read leaves a lattice without beams; an OBJ file whose
    /// faces name vertices that aren't there, and one beyond a limit, leave the former lattice. Sends no
    /// event of a change.
    zrk::Result<ZRKImportWarnings> onImport(const std::vector<std::filesystem::path>& paths,
                                            const ZRKImportOptions& options,
                                            zrk::ProgressMonitor* monitor) override;

private:
    using Cache = std::shared_ptr<const zrk::BeamCacheData>;

    mutable std::mutex _mutex;
    mutable Cache _cache; ///< null until it is asked for; guarded by _mutex
    /// Holds the last lattice there was.
    std::shared_ptr<zrk::KernelSlot> _slot = std::make_shared<zrk::KernelSlot>(zrk::beamKernel(nullptr));

    zrk::Result<ZRKImportWarnings> makeLatticeBeam(const std::filesystem::path& path,
                                                   const ZRKImportOptions& options);
    void replaceCache(Cache cache);
    void setCache(Cache cache) const;
    void makeCacheIfMissing() const;
};

} // namespace zrkmodel

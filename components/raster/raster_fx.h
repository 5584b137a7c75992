#pragma once

#include "components/guarded.h"
#include "components/pending.h"
#include "core/values/bbox.h"
#include "core/values/export.h"
#include "core/values/raster.h"
#include "model/component.h"
#include "model/held_data.h"
#include "model/property.h"

#include <memory>

namespace zrkmodel {

/// Freezes a field into a raster and filters it. The field behind it is computed once, at the nodes of a grid
/// over the model bounds, and blurred; a sample then costs one lookup, however slow the field is.
///
/// | property    | kind                | unit  | default | range | meaning                                  |
/// |-------------|---------------------|-------|---------|-------|------------------------------------------|
/// | auto-update | bool                |       | false   |       | true: a stale raster is rebuilt with     |
/// |             |                     |       |         |       | every evaluator                          |
/// | resolution  | int                 | nodes | 8       |       | edge of a cube of as many nodes; at      |
/// |             |                     |       |         |       | least 2 nodes an axis                    |
/// | blur radius | double (not stored) | mu    | 0.2     |       | where the Gaussian's weight is exp(-4);  |
/// |             |                     |       |         |       | 0 or less: no blur. Documents don't hold |
/// |             |                     |       |         |       | it: a loaded node has the default        |
///
/// | input     | unit | meaning                                          |
/// |-----------|------|--------------------------------------------------|
/// | (unnamed) |      | the scalar field; without one nothing is written |
///
/// | output    | unit    | meaning                                                                          |
/// |-----------|---------|----------------------------------------------------------------------------------|
/// | (unnamed) | input's | the filtered field, with the weight of the position; without bounds nothing is   |
/// |           |         | written                                                                          |
///
/// Formula: The nodes lie on the faces of the bounds and have about equal steps along all axes. Between them
/// the value is interpolated linearly; beyond the bounds it is that of the nearest border node.
///
/// Notes: On an axis with an even number of nodes the blur moves the field up by half a step. In bounds that
/// are flat along an axis every sample is NaN. The raster is built with the first evaluator after loading.
/// Later it becomes stale by changes upstream, not by those of its own properties, and is rebuilt on request
/// (`update`, or always with "auto-update"). Until then the former one is read.
///
/// Example: A gyroid, made blunt.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
///      "nodes": [{"id": 1, "type": "Gyroid"},
///                {"id": 2, "type": "RasterFX", "values": {"resolution": 32}}],
///      "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]}
///
/// Threads: The thread that asks for an evaluator builds the raster, its nodes on all processors; others that
/// ask meanwhile wait for it, but changes upstream don't. One that is announced meanwhile leaves the new
/// raster to those who asked for it, and the component stale. Under a ZRKDeferredBuilding the first sample
/// builds the raster. Evaluators share the raster and keep it when it is replaced.
class ZRK_API ZRKRasterFX final : public ZRKComponent<ZRKRasterFX>, public ZRKDataHolder {
public:
    ZRKProperty<bool> autoUpdate{"auto-update", false, this};
    ZRKProperty<int> resolution{"resolution", 8, this};
    ZRKProperty<double> blurRadius{"blur radius", 0.2, this};

    ZRKRasterFX() = default;
    /// A copy reads the same raster, but has forgotten the grid, and is stale.
    ZRKRasterFX(const ZRKRasterFX& other);
    ZRKRasterFX& operator=(const ZRKRasterFX&) = default;

    /// Asks for a stale raster to be rebuilt with the next evaluator; announced as "update".
    void update();

    /// The raster with what is known of its age.
    ZRKHeldData held() const override;
    void hold(const ZRKHeldData& data) override;
    ZRKComputation computation() const override;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    void onUpstreamChange(const ZRKNodeBase<0, ZRKGraphObject>& node, const ZRKEvent& event) override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

private:
    using Volume = std::shared_ptr<const zrk::Raster<1, 3, double>>;

    /// A raster, there or still to be computed, and the box that it fills.
    struct Frozen {
        template <class ValueOrWork>
        Frozen(ValueOrWork raster, const zrk::GridBox<double>& gridBox)
            : raster(std::move(raster)), gridBox(gridBox)
        {}

        Pending<Volume> raster;
        zrk::GridBox<double> gridBox;
    };
    struct Cache {
        std::shared_ptr<const Frozen> frozen{};
        std::shared_ptr<const Frozen> next{}; ///< takes the other's place when it is computed
        bool cacheDirty = true;
        bool updateRequested = false;

        void takeNext();
    };
    mutable Guarded<Cache> _cache;
    std::shared_ptr<ComputationMeter> _meter = std::make_shared<ComputationMeter>();

    std::shared_ptr<const Frozen> next(Cache& cache, const ZRKNodeBase<1, ZRKGraphObject>& node,
                                       const ZRKContext& context) const;

protected:
    /// Announces an edit where "auto-update" changes: the raster that comes by it is the edit's, and with
    /// undo the former one is back.
    void _onPropertyChanged(const ZRKEvent& event) override;
    /// The raster to read, rebuilt if it was stale; null without a field or bounds. What the field throws
    /// passes through, and all stays as it was.
    std::shared_ptr<const Frozen> _ensureRasterCache(const ZRKNodeBase<1, ZRKGraphObject>& node,
                                                     const ZRKContext& context) const;
};

} // namespace zrkmodel

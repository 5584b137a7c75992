#include "components/operators/geometry_blend.h"

#include "core/engine/centred_box.h"
#include "core/engine/evaluation_context.h"
#include "core/values/batch.h"
#include "core/values/stop.h"
#include "model/channel_names.h"
#include "model/pins.h"

#include <algorithm>
#include <utility>

namespace zrkmodel {

namespace {

using zrk::Batch;

/// Samples of one distance, which may be a host's and slow, between two looks for a request to stop.
constexpr std::size_t kSamplesALook = 64;

/// The sum of falloff(distance) over distance functions, in their order. Shares nothing that changes.
class BlendKernel final : public zrk::Kernel {
public:
    BlendKernel(std::vector<ZRKGeometry::SignedDistance> distances, const ZRKFallOffFunction& falloff)
        : _distances(std::move(distances)), _falloff(falloff)
    {
        for (auto& distance : _distances) {
            if (const SlopeOneDistance* known = distance.target<SlopeOneDistance>()) {
                _sizes.push_back(known->size);
                distance = ZRKGeometry::SignedDistance(known->distance);
            }
        }
    }

    zrk::KernelReads reads() const override { return {1, false}; }

    void sample(zrk::EvaluationContext& context) const override
    {
        const double* record = context.readInput(0);
        const zrk::Tensor<3, double> p{record[0], record[1], record[2]};
        const double weight = record[3];
        Batch sum = 0.0;
        for (const auto& distance : _distances) {
            zrk::stopIfAsked();
            sum += _falloff(Batch(distance(p)));
        }
        context.writeOutput(sum.lane(0), weight);
    }

    void block(zrk::BlockRun& run) const override
    {
        const zrk::Block& p = run.input(0);
        double* sum = run.output(0);
        run.forwardWeights(p);
        std::fill_n(sum, zrk::kRowLength, 0.0);
        alignas(64) double row[zrk::kRowLength] = {};
        for (const auto& distance : _distances) {
            for (std::size_t first = 0; first < run.sampleCount(); first += kSamplesALook) {
                zrk::stopIfAsked();
                const std::size_t end = std::min(first + kSamplesALook, run.sampleCount());
                for (std::size_t i = first; i < end; ++i) {
                    row[i] = distance({p.row(0)[i], p.row(1)[i], p.row(2)[i]});
                }
            }
            for (std::size_t i = 0; i < run.sampleCount(); i += Batch::size) {
                (Batch::loadAligned(sum + i) + _falloff(Batch::loadAligned(row + i))).storeAligned(sum + i);
            }
        }
    }

    /// By the distances at a box's centre, where all of them are known to be steep by 1 at most.
    bool bounds(zrk::BoxRun& run) const override
    {
        if (_sizes.size() != _distances.size()) {
            return false;
        }
        const zrk::BoxBounds& positions = run.input(0);
        zrk::IntervalRow& out = run.output(0);
        run.forwardWeights(positions);
        for (std::size_t i = 0; i < run.boxCount(); ++i) {
            const auto box = zrk::centredBox(positions, i);
            out.set(i, box ? sumOver(*box) : zrk::Interval<double>::entire());
        }
        return true;
    }

private:
    std::vector<ZRKGeometry::SignedDistance> _distances;
    std::vector<double> _sizes; ///< of the geometries, as many as have distances that are steep by 1 at most
    ZRKFallOffFunction _falloff;

    zrk::Interval<double> sumOver(const zrk::CentredBox& box) const
    {
        zrk::Interval<double> sum = 0.0;
        for (std::size_t k = 0; k < _distances.size(); ++k) {
            zrk::stopIfAsked();
            sum += _falloff(box.around(_distances[k](box.center), box.roundingOf(_sizes[k])));
        }
        return sum;
    }
};

} // namespace

ComponentIdentity ZRKGeometryBlend::identity()
{
    return {
        .className = "ZRKGeometryBlend",
        .typeName = "geometry blend",
        .uuid = "B4E613F3-592C-4214-B323-15644932F6AC",
        .icon = IconResources::sc_geometry_blend,
        .strings = ZRKUIStrings::geometry_blend(),
        .inputs = {}, // none, though there is an input pin
        .outputs = {Tag::Scalar},
    };
}

void ZRKGeometryBlend::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addCoordinatesPin(node, Tag::Vector3d, ChannelNames::pin_coords());
    addOutputPin(node, Tag::Scalar, ChannelNames::pin_density());
}

void ZRKGeometryBlend::onSerialize(ZRKSerialization& s) const
{
    falloff.serialize(s);
    geometries.serialize(s);
}

void ZRKGeometryBlend::onDeserialize(const ZRKDeserialization& d)
{
    falloff.deserialize(d);
    geometries.deserialize(d);
}

zrk::Evaluation ZRKGeometryBlend::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    auto distances =
        geometries.value() ? geometries.value()->getSDFUngroup() : std::vector<ZRKGeometry::SignedDistance>();
    if (distances.empty()) {
        return zrk::doNothing();
    }
    return zrk::Evaluator(std::make_shared<BlendKernel>(std::move(distances), falloff.value()));
}

void ZRKGeometryBlend::pick(const std::vector<std::shared_ptr<ZRKGeometry>>& selection)
{
    if (!selection.empty()) {
        geometries.set(selection.front());
    }
}

} // namespace zrkmodel

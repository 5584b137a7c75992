#pragma once

#include "model/component.h"
#include "model/property.h"
#include "model/value_list.h"

namespace zrkmodel {

/// A periodic density of plane waves, chosen by hand or thrown by `randomize`.
///
/// | property       | unit | default | effect                                                          |
/// |----------------|------|---------|-----------------------------------------------------------------|
/// | mutliply       |      | false   | false: waves add; true: they multiply. Spelled so in documents  |
/// | waves (a list) |      | empty   | without a wave the output isn't written                         |
///
/// A wave is {"fx": 1, "fy": 0, "fz": 0, "amplitude": 1, "phase": 0}: cycles per model unit along
/// each axis, weight, and an offset in cycles. With w the wave's value
///
///     w = k * amplitude * sin(2 pi (fy y + fx x + fz z + phase))
///
/// the density is 0.5 + 0.5 * (sum of all w), with k = 1 / (sum of |amplitude|), or 0 where that is 0; or
/// 0.5 + 0.5 * (product of all w), with k = 1 / (product of |amplitude|), where waves of amplitude 0 are
/// left out. k stands in every factor: two waves of amplitude 0.5 reach 4 in the product. The density isn't
/// clamped. It is that at the positions of the domain, with their weight; there is no input.
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PatternDesigner",
///                 "values": {"waves": [{"fx": 1}, {"fx": 0, "fy": 1}, {"fx": 0, "fz": 1}]}}],
///      "output": [1, 0]}
///
/// Edits belong to the interface thread.
class ZRKPatternDesigner final : public ZRKComponent<ZRKPatternDesigner> {
public:
    struct Wave {
        double fx = 1.0;
        double fy = 0.0;
        double fz = 0.0;
        double amplitude = 1.0;
        double phase = 0.0;
    };

    ZRKProperty<bool> multiply{"mutliply", false, this}; // spelled as documents have it
    ZRKValueList<Wave> waves{"waves", this};             ///< announced as "waves"

    ZRKPatternDesigner() = default;
    /// A copy, and so a clone, starts without waves.
    ZRKPatternDesigner(const ZRKPatternDesigner& other) : ZRKComponent(other) {}
    /// Assigns what a clone gets, telling no one. The target keeps the waves that it has.
    ZRKPatternDesigner& operator=(const ZRKPatternDesigner& other)
    {
        other._copyTo(this);
        return *this;
    }

    /// Throws all waves anew and adds none: whole frequencies from -3 to 3, amplitude and phase from 0 to
    /// below 1. The numbers go on from call to call of one thread, and are the same in every thread.
    void randomize();

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
};

/// An object with the members "fx", "fy", "fz", "amplitude", "phase".
template <>
struct ZRKValueSerializer<ZRKPatternDesigner::Wave> {
    using Wave = ZRKPatternDesigner::Wave;
    static void write(ZRKSerialization& s, const Wave& wave, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, Wave& wave, const ZRKSerializationPos& pos);
};

} // namespace zrkmodel

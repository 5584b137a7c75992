#pragma once

#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"
#include "model/value_list.h"

namespace zrkmodel {

/// A periodic pattern summed from waves of your own. The waves are plane; they are chosen by hand or drawn at
/// random by `randomize`.
///
/// | property | kind | unit | default | range | meaning                                                     |
/// |----------|------|------|---------|-------|-------------------------------------------------------------|
/// | mutliply | bool |      | false   |       | false: the waves add; true: they multiply; documents spell  |
/// |          |      |      |         |       | it so                                                       |
///
/// | stored key | kind | unit | default | range | meaning                                         |
/// |------------|------|------|---------|-------|-------------------------------------------------|
/// | waves      | list |      | []      |       | the waves; without one the output isn't written |
///
/// | waves[]   | kind   | unit      | default | range   | meaning                                           |
/// |-----------|--------|-----------|---------|---------|---------------------------------------------------|
/// | fx        | double | cycles/mu | 1.0     | -6 to 6 | how often the wave repeats along x                |
/// | fy        | double | cycles/mu | 0.0     | -6 to 6 | the same along y                                  |
/// | fz        | double | cycles/mu | 0.0     | -6 to 6 | the same along z                                  |
/// | amplitude | double |           | 1.0     | 0 to 1  | its share in the pattern; a negative one turns    |
/// |           |        |           |         |         | the wave over                                     |
/// | phase     | double | cycles    | 0.0     | 0 to 1  | how far the wave is moved backwards               |
///
/// | output  | unit | meaning                                                          |
/// |---------|------|------------------------------------------------------------------|
/// | density |      | the density, with the weight of the position; 0.5 is the surface |
///
/// Formula: The value of a wave is
///
///     w = k * amplitude * sin(2 pi (fy y + fx x + fz z + phase))
///
/// - Waves that add give the density 0.5 + 0.5 * (sum of all w) with k = 1 / (sum of |amplitude|), or k = 0
///   if that sum is 0. The density runs from 0 to 1.
/// - Waves that multiply give 0.5 + 0.5 * (product of all w) with k = 1 / (product of |amplitude|). Waves of
///   amplitude 0 are left out; if none is left, the output isn't written. As k stands in every factor, the
///   product of two waves of amplitude 0.5 reaches 4 and the density 2.5.
///
/// Notes: The density isn't cut to 0..1. There is no input: the waves are those at the positions of the
/// domain.
///
/// Example: Three waves, along the three axes.
///
///     {"zrkGraph": 1,
///      "nodes": [{"id": 1, "type": "PatternDesigner",
///                 "values": {"waves": [{"fx": 1}, {"fx": 0, "fy": 1}, {"fx": 0, "fz": 1}]}}],
///      "output": [1, 0]}
///
/// Threads: Edits belong to the interface thread. Evaluators own their waves.
class ZRK_API ZRKPatternDesigner final : public ZRKComponent<ZRKPatternDesigner> {
public:
    /// Frequencies in cycles per model unit, amplitude without a unit, phase in cycles.
    struct Wave {
        double fx = 1.0;
        double fy = 0.0;
        double fz = 0.0;
        double amplitude = 1.0;
        double phase = 0.0;

        friend bool operator==(const Wave&, const Wave&) = default;
    };

    ZRKProperty<bool> multiply{"mutliply", false, this}; // spelled as documents have it
    ZRKValueList<Wave> waves{"waves", this};             ///< a change is announced as "waves"

    ZRKPatternDesigner() = default;
    /// A copy, and so a clone, starts without waves.
    ZRKPatternDesigner(const ZRKPatternDesigner& other) : ZRKComponent(other) {}
    ZRKPatternDesigner& operator=(const ZRKPatternDesigner&) = default;

    /// Draws new values for all waves and adds none: whole frequencies from -3 to 3, amplitude and phase from
    /// 0 to below 1. It announces "waves", even if there is no wave.
    ///
    /// Each thread has generators of its own with the standard seed 5489. They go on from call to call, so
    /// that every thread draws the same sequence.
    ///
    /// Source: std::mt19937, which is Matsumoto, Nishimura, "Mersenne Twister: a 623-dimensionally
    /// equidistributed uniform pseudo-random number generator", ACM Transactions on Modeling and Computer
    /// Simulation 8(1), 1998, doi:10.1145/272991.272995. One generator draws the frequencies, by the standard
    /// library's uniform integers; another draws the shares, each from two numbers of 32 bits.
    void randomize();

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;
    void onSerialize(ZRKSerialization& s) const override;
    void onDeserialize(const ZRKDeserialization& d) override;
};

/// A wave is stored as an object with the members "fx", "fy", "fz", "amplitude" and "phase".
template <>
struct ZRK_API ZRKValueSerializer<ZRKPatternDesigner::Wave> {
    using Wave = ZRKPatternDesigner::Wave;
    static void write(ZRKSerialization& s, const Wave& wave, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, Wave& wave, const ZRKSerializationPos& pos);
};

} // namespace zrkmodel

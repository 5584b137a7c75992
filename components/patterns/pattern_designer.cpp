#include "components/patterns/pattern_designer.h"

#include "components/patterns/pattern_designer_formula.h"
#include "core/engine/formula.h"
#include "model/channel_names.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

namespace zrkmodel {

namespace {

double drawFrequency()
{
    thread_local std::mt19937 generator;
    return std::uniform_int_distribution<int>(-3, 3)(generator);
}

/// Returns a number from 0 to below 1. The formula is written out because standard libraries differ in how
/// they make a double of two draws.
double drawShare()
{
    thread_local std::mt19937 generator;
    const double low = generator();
    const double high = generator();
    return std::min((low + high * 4294967296.0) / 18446744073709551616.0, std::nextafter(1.0, 0.0));
}

/// Calls visit(key, number) for the wave's numbers in the order in which they are stored.
template <class Wave, class Visit>
void forEachNumber(Wave& wave, Visit visit)
{
    visit("fx", wave.fx);
    visit("fy", wave.fy);
    visit("fz", wave.fz);
    visit("amplitude", wave.amplitude);
    visit("phase", wave.phase);
}

template <class Combine>
zrk::Evaluation waveEvaluator(std::vector<zrk::PlaneWave> records)
{
    if (records.empty()) {
        return zrk::doNothing();
    }
    return zrk::positionEvaluator(
        zrk::WaveDensity<Combine>{std::make_shared<const std::vector<zrk::PlaneWave>>(std::move(records))});
}

} // namespace

void ZRKValueSerializer<ZRKPatternDesigner::Wave>::write(ZRKSerialization& s, const Wave& wave,
                                                         const ZRKSerializationPos& pos)
{
    s.beginObject(pos);
    forEachNumber(wave,
                  [&](const char* key, double number) { ZRKValueSerializer<double>::write(s, number, key); });
    s.end();
}

bool ZRKValueSerializer<ZRKPatternDesigner::Wave>::read(const ZRKDeserialization& d, Wave& wave,
                                                        const ZRKSerializationPos& pos)
{
    if (!d.beginObject(pos)) {
        return false;
    }
    forEachNumber(wave,
                  [&](const char* key, double& number) { ZRKValueSerializer<double>::read(d, number, key); });
    d.end();
    return true;
}

ComponentIdentity ZRKPatternDesigner::identity()
{
    return {
        .className = "ZRKPatternDesigner",
        .typeName = "PatternDesigner",
        .uuid = "AE4FDE65-6F8E-4F44-B786-0C3F41F584FF",
        .icon = IconResources::pattern_waves,
        .strings = ZRKUIStrings::periodic_wave_pattern(),
        .inputs = {},
        .outputs = {Tag::Scalar},
    };
}

void ZRKPatternDesigner::onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node)
{
    addOutputPin(node, Tag::Scalar, ChannelNames::pin_density());
}

zrk::Evaluation ZRKPatternDesigner::getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const
{
    std::vector<zrk::PlaneWave> planeWaves;
    for (const Wave& wave : waves.values()) {
        planeWaves.push_back({wave.fx, wave.fy, wave.fz, wave.amplitude, wave.phase});
    }
    return multiply.value() ? waveEvaluator<zrk::MultiplyWaves>(zrk::multipliedWaves(std::move(planeWaves)))
                            : waveEvaluator<zrk::AddWaves>(zrk::addedWaves(std::move(planeWaves)));
}

void ZRKPatternDesigner::randomize()
{
    std::vector<Wave> drawn = waves.values();
    for (Wave& wave : drawn) {
        wave.fx = drawFrequency();
        wave.fy = drawFrequency();
        wave.fz = drawFrequency();
        wave.amplitude = drawShare();
        wave.phase = drawShare();
    }
    waves.edit(drawn, -1);
}

void ZRKPatternDesigner::onSerialize(ZRKSerialization& s) const
{
    multiply.serialize(s);
    waves.serialize(s);
}

void ZRKPatternDesigner::onDeserialize(const ZRKDeserialization& d)
{
    multiply.deserialize(d);
    waves.deserialize(d);
}

} // namespace zrkmodel

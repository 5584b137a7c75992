#include "host/field_remarks.h"

#include "core/values/vector3.h"
#include "host/percent.h"
#include "model/channel_names.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace zrkmodel {

namespace {

using Point = zrk::Tensor<3, double>;

constexpr double kMostUndefined = 0.1;
constexpr std::size_t kSpreadPoints = 4096;

/// Whether the output would have its surface where others have it.
bool mayHaveSurface(const OutputField& output, const FieldSummary& summary)
{
    if (output.tag != Tag::Scalar) {
        return false;
    }
    if (isNamedDistance(output) || output.isDensity) {
        return true;
    }
    // What operators make of densities may be a density, whose surface nobody knows.
    const bool isOperator =
        output.name.empty() || output.name == "a<>b" || output.name == "a*b" || output.name == "masked(f)";
    return isOperator && !(summary.least >= 0 && summary.greatest <= 1);
}

/// Lengths of gradients that are finite.
struct Slopes {
    double least = std::numeric_limits<double>::infinity();
    double greatest = 0;
    std::size_t count = 0;
    std::size_t farFromOne = 0;

    void add(double slope)
    {
        if (!std::isfinite(slope)) {
            return;
        }
        ++count;
        least = std::min(least, slope);
        greatest = std::max(greatest, slope);
        farFromOne += SlopeRule::isFarFromOne(slope) ? 1 : 0;
    }
};

/// Samples outputs at the same positions within the bounds.
class SpreadSamples {
public:
    explicit SpreadSamples(const zrk::BBox<double>& bounds) : _size(bounds.size)
    {
        // Powers of the plastic number's kin for three dimensions, the root of x^4 = x + 1.
        constexpr double kRoot = 1.2207440846057596;
        for (std::size_t i = 0; i < kSpreadPoints; ++i) {
            Point p{};
            double step = 1;
            for (std::size_t axis = 0; axis < 3; ++axis) {
                step /= kRoot;
                const double share = 0.5 + step * static_cast<double>(i + 1);
                p[axis] = bounds.min[axis] + _size[axis] * (share - std::floor(share));
            }
            _positions.push_back(p);
        }
    }

    FieldSummary summaryOf(const OutputField& output, zrk::ProgressMonitor* monitor) const
    {
        return zrk::valueOrThrow(sampleField(output.field, _positions, monitor)).summary;
    }

    Slopes slopesOf(const OutputField& output, zrk::ProgressMonitor* monitor) const
    {
        std::vector<Point> around;
        for (const Point& p : _positions) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                for (const double side : {-0.5, 0.5}) {
                    around.push_back(p);
                    around.back()[axis] += side * SlopeRule::kStep * _size[axis];
                }
            }
        }
        const FieldValues sampled = zrk::valueOrThrow(sampleField(output.field, around, monitor));
        const std::span<const double> values = sampled;
        Slopes slopes;
        for (std::size_t i = 0; i < values.size(); i += 6) {
            Point slope{};
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const double difference = values[i + 2 * axis + 1] - values[i + 2 * axis];
                slope[axis] = difference / (SlopeRule::kStep * _size[axis]);
            }
            slopes.add(length(slope));
        }
        return slopes;
    }

private:
    Point _size;
    std::vector<Point> _positions;
};

std::string placeOf(const OutputField& output, const std::string& document)
{
    const std::string name = output.name.empty() ? "" : fmt::format(" ({})", output.name);
    return fmt::format("{}, output {}:{}{}", document, output.address.node, output.address.output, name);
}

} // namespace

bool isNamedDistance(const OutputField& output) { return output.name == ChannelNames::pin_sdf(); }

FieldRemarks remarksOn(const FieldSummary& summary, const OutputField& output, const std::string& document)
{
    const std::string place = placeOf(output, document);
    FieldRemarks remarks;
    if (summary.samples == 0) {
        return remarks;
    }
    if (static_cast<double>(summary.undefined) > kMostUndefined * static_cast<double>(summary.samples)) {
        remarks.push_back(
            {place, fmt::format("NaN in {} of the samples", percent(summary.undefined, summary.samples)),
             "numbers nearly everywhere",
             "look for roots, quotients or coordinates that aren't defined there"});
    }
    const bool hasValues = summary.undefined < summary.samples;
    const bool isConstant = hasValues && summary.least == summary.greatest;
    if (summary.weightless == summary.samples) {
        remarks.push_back(
            {place, fmt::format("weight 0 in all {} samples", summary.samples),
             "a field that is defined somewhere",
             "give the inputs that it needs, such as links, a geometry, a picture or an import"});
    } else if (isConstant) {
        remarks.push_back({place,
                           fmt::format("the value {:g} in all {} samples", summary.least, summary.samples),
                           "values that differ",
                           "look at the bounds, and for inputs, geometry or imports that are missing"});
    } else if (hasValues && mayHaveSurface(output, summary) &&
               (summary.least > output.surfaceLevel || summary.greatest < output.surfaceLevel)) {
        remarks.push_back(
            {place, fmt::format("values from {:g} to {:g}, no surface", summary.least, summary.greatest),
             fmt::format("values on both sides of {:g}", output.surfaceLevel),
             "look elsewhere, or change the bounds or the solid"});
    }
    return remarks;
}

zrk::Result<FieldRemarks> remarksOnFields(const GraphDocument& document, zrk::ProgressMonitor* monitor)
{
    return zrk::attempt(document.name(), [&] {
        FieldRemarks remarks;
        const SpreadSamples samples(document.samplingBounds());
        for (const OutputPin& pin : document.outputPins()) {
            if (pin.tag == Tag::None || pin.tag == Tag::Any) {
                continue;
            }
            const OutputField output = zrk::valueOrThrow(document.outputField(pin.address));
            const FieldSummary summary = samples.summaryOf(output, monitor);
            for (zrk::Fault& remark : remarksOn(summary, output, document.name())) {
                remarks.push_back(std::move(remark));
            }
            const bool isNothing = summary.least == summary.greatest || summary.weightless == summary.samples;
            if (!isNamedDistance(output) || isNothing) {
                continue;
            }
            const Slopes slopes = samples.slopesOf(output, monitor);
            if (static_cast<double>(slopes.farFromOne) >
                SlopeRule::kMany * static_cast<double>(slopes.count)) {
                remarks.push_back(
                    {placeOf(output, document.name()),
                     fmt::format("a gradient of length {:.3g} to {:.3g}, below {:g} or above {:g} in {} of "
                                 "the bounds",
                                 slopes.least, slopes.greatest, SlopeRule::kFlat, SlopeRule::kSteep,
                                 percent(slopes.farFromOne, slopes.count)),
                     "a length of 1, as of a distance",
                     "offsets, shells and blends aren't of the width that they tell there: apply them before "
                     "what scales or bends the distance, or take smaller values"});
            }
        }
        return remarks;
    });
}

zrk::Fault undefinedAt(const std::string& place, std::uint64_t samples)
{
    return {place, fmt::format("no value (NaN) at {} samples", samples), "a number everywhere",
            "`zrk slice` shows where; the surface is closed around these regions"};
}

} // namespace zrkmodel

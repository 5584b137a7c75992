#include "core/picture/tile_samples.h"

#include <algorithm>
#include <limits>

namespace zrk::picture {

namespace {

/// Samples between two looks at whether to go on: a millisecond for a mesh. A thousand were hardly faster.
constexpr std::size_t kSamplesAtOnce = 256;

} // namespace

TileSamples::TileSamples() : pixels(4 * kTilePixels)
{
    for (std::vector<double>* bySample : {&depths, &values, &x, &y, &z}) {
        bySample->resize(4 * kTilePixels);
    }
}

void TileSamples::begin(const TracePlan& plan, PictureWork& work, std::int32_t x0, std::int32_t y0)
{
    _plan = &plan;
    _work = &work;
    _fields.assign(1, plan.field);
    _x0 = x0;
    _y0 = y0;
    for (std::int32_t i = 0; i < kTileEdge; ++i) {
        _across[static_cast<std::size_t>(i)] = plan.camera.across(x0 + i);
        _upwards[static_cast<std::size_t>(i)] = plan.camera.upwards(y0 + i);
    }
}

/// Neighbours in depth and beside usually have the same field left.
FieldIndex TileSamples::indexOf(const InsideField& left)
{
    constexpr std::size_t kLookBack = 64;
    constexpr std::size_t kMost = std::numeric_limits<FieldIndex>::max();
    const std::size_t first = _fields.size() > kLookBack ? _fields.size() - kLookBack : 0;
    for (std::size_t i = first; i < _fields.size(); ++i) {
        if (_fields[i] == left) {
            return static_cast<FieldIndex>(i);
        }
    }
    if (left == _fields[0] || _fields.size() > kMost) {
        return 0; // the whole field has the same values
    }
    _fields.push_back(left);
    return static_cast<FieldIndex>(_fields.size() - 1);
}

bool TileSamples::evaluate(FieldIndex field)
{
    const Camera& camera = _plan->camera;
    const Vector3& o = camera.origin;
    const Vector3& f = camera.forward;
    const Vector3& r = camera.right;
    const Vector3& u = camera.up;
    if (camera.isPerspective()) {
        for (std::size_t i = 0; i < count; ++i) {
            const double a = _across[pixels[i] % kTileEdge];
            const double b = _upwards[pixels[i] / kTileEdge];
            x[i] = o[0] + depths[i] * (f[0] + (a * r[0] + b * u[0]));
            y[i] = o[1] + depths[i] * (f[1] + (a * r[1] + b * u[1]));
            z[i] = o[2] + depths[i] * (f[2] + (a * r[2] + b * u[2]));
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            const double a = _across[pixels[i] % kTileEdge];
            const double b = _upwards[pixels[i] / kTileEdge];
            x[i] = o[0] + depths[i] * f[0] + (a * r[0] + b * u[0]);
            y[i] = o[1] + depths[i] * f[1] + (a * r[1] + b * u[1]);
            z[i] = o[2] + depths[i] * f[2] + (a * r[2] + b * u[2]);
        }
    }
    return evaluatePositions(field);
}

bool TileSamples::evaluatePositions(FieldIndex field)
{
    for (std::size_t first = 0; first < count; first += kSamplesAtOnce) {
        if (!_work->keepsGoing()) {
            return false;
        }
        const std::size_t size = std::min(kSamplesAtOnce, count - first);
        _fields[field].values({&x[first], &y[first], &z[first], size}, &values[first]);
    }
    return true;
}

} // namespace zrk::picture

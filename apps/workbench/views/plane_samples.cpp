#include "apps/workbench/views/plane_samples.h"

#include "core/engine/worker_team.h"
#include "core/values/stop.h"
#include "core/values/vector3.h"
#include "host/field_remarks.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>

namespace zrkworkbench {

using zrkmodel::SlicePlane;
using zrkmodel::SlopeRule;

namespace {

/// Samples between two looks at whether the work is still wanted: at first, and at most.
constexpr std::int32_t kFirstTake = 256;
constexpr std::int32_t kMaxTake = 4 * 1024;
/// Milliseconds that those between two looks should take.
constexpr double kMillisecondsOfTake = 2;

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// How many samples to take next: more or fewer by how long the last ones took.
std::int32_t nextTake(std::int32_t last, double milliseconds)
{
    const double fitting = last * kMillisecondsOfTake / std::max(milliseconds, 1e-3);
    return static_cast<std::int32_t>(std::clamp<double>(fitting, 1, std::min(4 * last, kMaxTake)));
}

/// The positions of a plane, a coordinate at a time.
class PlanePositions {
public:
    explicit PlanePositions(const SlicePlane& plane)
        : _width(plane.width()), _axis(plane.axis()), _across(_axis == 0 ? 1 : 0), _up(_axis == 2 ? 1 : 2)
    {
        for (std::int32_t x = 0; x < plane.width(); ++x) {
            _columns.push_back(plane.position(x)[_across]);
        }
        for (std::int32_t y = 0; y < plane.height(); ++y) {
            _rows.push_back(plane.position(y * plane.width())[_up]);
        }
        _fixed = plane.position(0)[_axis];
    }

    /// Writes `count` positions from the sample `first` on.
    void write(std::int32_t first, std::size_t count, std::array<double*, 3> out) const
    {
        auto x = static_cast<std::size_t>(first % _width);
        auto y = static_cast<std::size_t>(first / _width);
        std::fill_n(out[_axis], count, _fixed);
        for (std::size_t i = 0; i < count; ++i) {
            out[_across][i] = _columns[x];
            out[_up][i] = _rows[y];
            if (++x == _columns.size()) {
                x = 0;
                ++y;
            }
        }
    }

private:
    std::int32_t _width;
    std::size_t _axis;
    std::size_t _across;
    std::size_t _up;
    double _fixed = 0;
    std::vector<double> _columns;
    std::vector<double> _rows;
};

/// Calls take(first, count, buffer) until all samples of a plane are taken; each worker has its own buffer.
template <class Take>
void inTakes(std::int32_t samples, std::size_t workers, const Take& take)
{
    std::atomic<std::int32_t> next{0};
    zrk::runTeam(samples > kFirstTake ? workers : 1, [&](std::size_t, std::size_t) {
        std::vector<double> buffer;
        std::int32_t wanted = kFirstTake;
        for (;;) {
            zrk::stopIfAsked();
            const std::int32_t first = next.fetch_add(wanted);
            if (first >= samples || first < 0) {
                return;
            }
            const std::int32_t count = std::min(wanted, samples - first);
            const auto begin = Clock::now();
            take(first, static_cast<std::size_t>(count), buffer);
            wanted = nextTake(count, millisecondsSince(begin));
        }
    });
}

} // namespace

PlaneSamples samplePlane(const zrk::PreparedField& field, const SlicePlane& plane, std::size_t workers)
{
    const auto begin = Clock::now();
    const std::size_t components = field.componentCount();
    const auto count = static_cast<std::size_t>(plane.sampleCount());
    PlaneSamples samples;
    samples.values.resize(count * components);
    samples.isWeightless.resize(count);
    std::atomic<bool> isAnyWeightless{false};
    const PlanePositions positions(plane);
    inTakes(plane.sampleCount(), workers,
            [&](std::int32_t first, std::size_t n, std::vector<double>& buffer) {
                buffer.resize((4 + components) * n);
                const auto row = [&](std::size_t r) { return buffer.data() + r * n; };
                positions.write(first, n, {row(0), row(1), row(2)});
                zrk::RecordArrays records;
                records.weights = row(3);
                double* const out = samples.values.data() + static_cast<std::size_t>(first) * components;
                for (std::size_t c = 0; c < components; ++c) {
                    records.components[c] = components == 1 ? out : row(4 + c);
                }
                field.evaluate(zrk::PositionArrays{row(0), row(1), row(2), n}, records);
                for (std::size_t c = 0; components > 1 && c < components; ++c) {
                    for (std::size_t i = 0; i < n; ++i) {
                        out[i * components + c] = row(4 + c)[i];
                    }
                }
                for (std::size_t i = 0; i < n; ++i) {
                    if (row(3)[i] == 0) {
                        samples.isWeightless[static_cast<std::size_t>(first) + i] = 1;
                        isAnyWeightless.store(true, std::memory_order_relaxed);
                    }
                }
            });
    if (!isAnyWeightless) {
        samples.isWeightless.clear();
    }
    samples.milliseconds = millisecondsSince(begin);
    return samples;
}

namespace {

/// The lengths of gradients at `count` positions, whose arrays follow one another in `p`.
void slopes(const zrk::PreparedField& field, const double* p, std::size_t count,
            const zrk::BBox<double>& bounds, double* out)
{
    std::vector<double> moved(p, p + 3 * count);
    std::vector<double> sides(2 * count);
    std::fill_n(out, count, 0.0);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double step = SlopeRule::kStep * bounds.size[axis];
        for (std::size_t side = 0; side < 2; ++side) {
            for (std::size_t i = 0; i < count; ++i) {
                moved[axis * count + i] = p[axis * count + i] + (side == 0 ? -0.5 : 0.5) * step;
            }
            field.evaluate(moved.data(), moved.data() + count, moved.data() + 2 * count, count,
                           sides.data() + side * count);
        }
        std::copy_n(p + axis * count, count, moved.data() + axis * count);
        for (std::size_t i = 0; i < count; ++i) {
            const double difference = (sides[count + i] - sides[i]) / step;
            out[i] += difference * difference;
        }
    }
    std::transform(out, out + count, out, [](double square) { return std::sqrt(square); });
}

} // namespace

std::vector<double> slopesOnPlane(const zrk::PreparedField& field, const SlicePlane& plane,
                                  const zrk::BBox<double>& bounds, std::size_t workers)
{
    std::vector<double> lengths(static_cast<std::size_t>(plane.sampleCount()));
    const PlanePositions positions(plane);
    inTakes(plane.sampleCount(), workers,
            [&](std::int32_t first, std::size_t n, std::vector<double>& buffer) {
                buffer.resize(3 * n);
                positions.write(first, n, {buffer.data(), buffer.data() + n, buffer.data() + 2 * n});
                slopes(field, buffer.data(), n, bounds, lengths.data() + first);
            });
    return lengths;
}

double slopeAt(const zrk::PreparedField& field, const zrk::Tensor<3, double>& position,
               const zrk::BBox<double>& bounds)
{
    const double p[3] = {position[0], position[1], position[2]};
    double slope = 0;
    slopes(field, p, 1, bounds, &slope);
    return slope;
}

} // namespace zrkworkbench

#include "components/operators/gradient_kernel.h"

#include "core/engine/block_sink.h"
#include "core/engine/evaluation_context.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/prepared_field.h"
#include "core/values/batch.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace zrk {

namespace {

constexpr std::size_t kCorners = 4;

/// Positions whose corners make one block of the field's chain.
constexpr std::size_t kSamplesAtOnce = kBlockSamples / kCorners;

/// Where the corners lie, seen from the position: a tetrahedron.
using CornerOffsets = std::array<Tensor<3, double>, kCorners>;

CornerOffsets cornerOffsets(double h) { return {{{h, -h, -h}, {-h, -h, h}, {-h, h, -h}, {h, h, h}}}; }

/// Positions with their weights, as aligned rows of whole vectors.
struct PositionRows {
    std::size_t count = 0;
    const double* coordinates[3] = {};
    const double* weights = nullptr; ///< null where all are 1
};

/// The corners around the positions, for blocks of whole kSamplesAtOnce: in each block the first corners of
/// its positions, then the second ones and so on.
class CornerDomain final : public EvaluationDomain<3, double> {
public:
    using EvaluationDomain::position;

    CornerDomain(const PositionRows& centres, const CornerOffsets& offsets)
        : _centres(centres), _offsets(offsets)
    {}

    std::optional<Corners<double>> bounds() const override { return std::nullopt; }
    std::int32_t sampleCount() const override { return static_cast<std::int32_t>(kCorners * _centres.count); }

    Tensor<4, double> position(std::int32_t index) const override
    {
        const std::size_t within = static_cast<std::size_t>(index) % kBlockSamples;
        const std::size_t first = (static_cast<std::size_t>(index) - within) / kCorners;
        const std::size_t n = std::min(kSamplesAtOnce, _centres.count - first);
        const std::size_t corner = within / n;
        const std::size_t i = first + within % n;
        Tensor<4, double> moved{};
        for (std::size_t c = 0; c < 3; ++c) {
            moved[c] = _centres.coordinates[c][i] + _offsets[corner][c];
        }
        moved[3] = _centres.weights ? _centres.weights[i] : 1.0;
        return moved;
    }

    void positions(std::int32_t first, std::int32_t count, double* x, double* y, double* z) const override
    {
        double* const moved[3] = {x, y, z};
        for (std::size_t c = 0; c < 3; ++c) {
            move(c, static_cast<std::size_t>(first) / kCorners, static_cast<std::size_t>(count) / kCorners,
                 moved[c]);
        }
    }

    bool hasUnitWeights() const override { return _centres.weights == nullptr; }
    void weights(std::int32_t first, std::int32_t count, double* weights) const override
    {
        const std::size_t n = static_cast<std::size_t>(count) / kCorners;
        for (std::size_t corner = 0; corner < kCorners; ++corner) {
            std::copy_n(_centres.weights + static_cast<std::size_t>(first) / kCorners, n,
                        weights + corner * n);
        }
    }

private:
    PositionRows _centres;
    CornerOffsets _offsets;

    /// One coordinate at all corners of n positions; all four at once, which is faster than one by one.
    void move(std::size_t c, std::size_t first, std::size_t n, double* moved) const
    {
        const double* centres = _centres.coordinates[c] + first;
        Batch offsets[kCorners];
        for (std::size_t corner = 0; corner < kCorners; ++corner) {
            offsets[corner] = _offsets[corner][c];
        }
        const std::size_t whole = n / Batch::size * Batch::size;
        for (std::size_t i = 0; i < whole; i += Batch::size) {
            const Batch position = Batch::loadAligned(centres + i);
            for (std::size_t corner = 0; corner < kCorners; ++corner) {
                (position + offsets[corner]).store(moved + corner * n + i);
            }
        }
        for (std::size_t i = whole; i < n; ++i) {
            for (std::size_t corner = 0; corner < kCorners; ++corner) {
                moved[corner * n + i] = centres[i] + _offsets[corner][c];
            }
        }
    }
};

/// The gradient from the values at the corners.
struct CornerDifferences {
    double scale;
    bool unit;

    Tensor<3, Batch> operator()(Batch f0, Batch f1, Batch f2, Batch f3) const
    {
        const Tensor<3, Batch> gradient{(f0 - f1 - f2 + f3) * scale, (-f0 - f1 + f2 + f3) * scale,
                                        (-f0 + f1 - f2 + f3) * scale};
        return unit ? normalized(gradient) : gradient;
    }

    /// Bounds of each component, from those of the values at all corners.
    Interval<double> bounds(const Interval<double>& f) const
    {
        constexpr double kNoOverflow = 1e150;
        // Components so small that their squares lose digits are divided by too short a length.
        constexpr double kLongest = 1.25;
        const Interval<double> component = (f - f - f + f) * Interval<double>(scale);
        if (!unit) {
            return component;
        }
        return component.lower > -kNoOverflow && component.upper < kNoOverflow
                   ? Interval<double>{-kLongest, kLongest}
                   : Interval<double>::entire();
    }
};

/// Makes gradients of the values at the corners, a row a component; up to a whole vector more is written.
class GradientSink final : public BlockSink {
public:
    GradientSink(const CornerDifferences& differences, const Tensor<3, double*>& gradients)
        : _differences(differences), _gradients(gradients)
    {}

    void take(std::int32_t firstCorner, std::size_t count, const Block& block) override
    {
        const std::size_t first = static_cast<std::size_t>(firstCorner) / kCorners;
        const std::size_t n = count / kCorners;
        const double* f = block.row(0);
        const CornerDifferences differences = _differences;
        const Tensor<3, double*> out = _gradients;
        for (std::size_t i = 0; i < n; i += Batch::size) {
            const Tensor<3, Batch> gradient =
                differences(Batch::load(f + i), Batch::load(f + n + i), Batch::load(f + 2 * n + i),
                            Batch::load(f + 3 * n + i));
            for (std::size_t c = 0; c < 3; ++c) {
                gradient[c].storeAligned(out[c] + first + i);
            }
        }
    }

private:
    CornerDifferences _differences;
    Tensor<3, double*> _gradients;
};

class GradientKernel final : public Kernel {
public:
    GradientKernel(const std::shared_ptr<IFieldGenerator>& field, double step, bool unit)
        : GradientKernel(PreparedField(IField(field)), cornerOffsets(step), {1 / (4 * step), unit})
    {}
    GradientKernel(PreparedField field, const CornerOffsets& offsets, const CornerDifferences& differences)
        : _field(std::move(field)), _offsets(offsets), _differences(differences)
    {}

    KernelReads reads() const override { return {1, true, ReadOrder::coordinatesFirst}; }
    std::shared_ptr<const Kernel> forRun() const override
    {
        return _field.changesBetweenRuns()
                   ? std::make_shared<GradientKernel>(_field.forRun(), _offsets, _differences)
                   : nullptr;
    }

    void sample(EvaluationContext& context) const override
    {
        if (_field.changesBetweenRuns()) {
            forRun()->sample(context); // outside of a run
            return;
        }
        alignas(64) double p[4][Batch::size] = {};
        const double* record = context.readCoordinates();
        for (std::size_t c = 0; c < 4; ++c) {
            p[c][0] = record[c];
        }
        const double weight = context.readInput(0)[1];
        alignas(64) double gradient[3][Batch::size];
        differentiate({1, {p[0], p[1], p[2]}, p[3][0] == 1.0 ? nullptr : p[3]},
                      {gradient[0], gradient[1], gradient[2]});
        context.writeOutput(Tensor<3, double>{gradient[0][0], gradient[1][0], gradient[2][0]}, weight);
    }

    void block(BlockRun& run) const override
    {
        const Block& p = run.coordinates();
        const Tensor<3, double*> gradients{run.output(0), run.output(1), run.output(2)};
        differentiate(
            {run.sampleCount(), {p.row(0), p.row(1), p.row(2)}, p.hasUnitWeight() ? nullptr : p.weights()},
            gradients);
        run.forwardWeights(run.input(0));
    }

    /// By the bounds of the field over the box with the corners around it.
    bool bounds(BoxRun& run) const override
    {
        std::array<PositionBox, kMaxBoxes> boxes;
        std::array<Interval<double>, kMaxBoxes> values;
        const auto [least, greatest] = std::minmax({_offsets[0][0], _offsets[0][1]});
        const Interval<double> offset{least, greatest};
        for (std::size_t i = 0; i < run.boxCount(); ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                boxes[i][c] = run.coordinates().row(c).at(i) + offset;
            }
        }
        _field.bounds({boxes.data(), run.boxCount()}, values.data());
        IntervalRow& x = run.output(0);
        for (std::size_t i = 0; i < run.boxCount(); ++i) {
            x.set(i, _differences.bounds(values[i]));
        }
        run.forwardRow(1, x);
        run.forwardRow(2, x);
        run.forwardWeights(run.input(0));
        return true;
    }

private:
    PreparedField _field;
    CornerOffsets _offsets;
    CornerDifferences _differences;

    void differentiate(const PositionRows& positions, const Tensor<3, double*>& gradients) const
    {
        GradientSink sink(_differences, gradients);
        _field.sweep(CornerDomain(positions, _offsets), sink);
    }
};

} // namespace

Evaluation gradientEvaluator(const std::shared_ptr<IFieldGenerator>& field, double step, bool unit)
{
    return Evaluator(std::make_shared<GradientKernel>(field, step, unit));
}

} // namespace zrk

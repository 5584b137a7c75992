#include "components/operators/gradient_kernel.h"

#include "core/engine/block_engine.h"
#include "core/engine/evaluation_context.h"
#include "core/engine/evaluator_builder.h"
#include "core/values/batch.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace zrk {

namespace {

constexpr std::size_t kCorners = 4;

/// Samples whose corners make one block of the inner chain.
constexpr std::size_t kSamplesAtOnce = kBlockSamples / kCorners;

/// Signs of a corner's offset from the position.
constexpr double kCornerSigns[kCorners][3] = {{1, -1, -1}, {-1, -1, 1}, {-1, 1, -1}, {1, 1, 1}};

/// Up to kSamplesAtOnce positions with their weights, as rows of whole vectors.
struct PositionRows {
    std::size_t count = 0;
    const double* coordinates[3] = {};
    const double* weights = nullptr; ///< null where all are 1
};

/// The coordinates of the inner chain in one context: the first corners of all positions, then the
/// second ones and so on. Unlike other kernels it has a state, and belongs to the context's thread.
class CornerPositions final : public Kernel {
public:
    PositionRows positions;

    explicit CornerPositions(double step) : _step(step) {}

    void sample(EvaluationContext& context) const override
    {
        const auto index = static_cast<std::size_t>(context.sampleIndex);
        const std::size_t corner = index / positions.count;
        const std::size_t i = index % positions.count;
        Tensor<3, double> moved;
        for (std::size_t c = 0; c < 3; ++c) {
            moved[c] = positions.coordinates[c][i] + kCornerSigns[corner][c] * _step;
        }
        context.writeOutput(moved, positions.weights ? positions.weights[i] : 1.0);
    }

    void block(BlockRun& run) const override
    {
        RowLoop& loop = run.addLoop();
        loop.kernel = this;
        loop.run = moveToCorners;
        for (std::size_t c = 0; c < 3; ++c) {
            loop.writes[c] = run.output(c);
        }
        loop.writes[3] = positions.weights ? run.outputWeights() : nullptr;
    }
    bool runsAsLoops() const override { return true; }
    KernelReads reads() const override { return {0, false}; }

private:
    double _step;

    /// For the positions of the moment, of which there may be other ones each time. All at the first call,
    /// which is faster than a corner a call: it is the first loop of its chain, as all others read what it
    /// writes, so none before it still needs the rows.
    static void moveToCorners(const RowLoop& loop, std::size_t first, std::size_t)
    {
        if (first > 0) {
            return;
        }
        const auto& self = *static_cast<const CornerPositions*>(loop.kernel);
        const std::size_t n = self.positions.count;
        for (std::size_t c = 0; c < 3; ++c) {
            self.move(c, loop.writes[c]);
        }
        for (std::size_t corner = 0; loop.writes[3] && corner < kCorners; ++corner) {
            std::copy_n(self.positions.weights, n, loop.writes[3] + corner * n);
        }
    }

    /// One coordinate at all corners.
    void move(std::size_t c, double* moved) const
    {
        const std::size_t n = positions.count;
        Batch offsets[kCorners];
        for (std::size_t corner = 0; corner < kCorners; ++corner) {
            offsets[corner] = kCornerSigns[corner][c] * _step;
        }
        const std::size_t whole = n / Batch::size * Batch::size;
        for (std::size_t i = 0; i < whole; i += Batch::size) {
            const Batch position = Batch::loadAligned(positions.coordinates[c] + i);
            for (std::size_t corner = 0; corner < kCorners; ++corner) {
                (position + offsets[corner]).store(moved + corner * n + i);
            }
        }
        for (std::size_t i = whole; i < n; ++i) {
            for (std::size_t corner = 0; corner < kCorners; ++corner) {
                moved[corner * n + i] = positions.coordinates[c][i] + kCornerSigns[corner][c] * _step;
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
};

/// The field behind a gradient as a chain of its own.
class InnerChain {
public:
    explicit InnerChain(const std::shared_ptr<IFieldGenerator>& field) : _nodes(std::make_shared<Nodes>())
    {
        _nodes->coordinates.reset(3, nullptr);
        _nodes->target.reset(1, &_nodes->coordinates);
        _nodes->target.generator = field;
        EvaluatorBuilder<double> builder;
        builder.visit(&_nodes->target);
        _slots = std::move(builder.slots());
    }
    const std::vector<EvaluationSlot>& slots() const { return _slots; }
    std::size_t target() const { return static_cast<std::size_t>(_nodes->target.slotIndex); }
    std::size_t coordinates() const { return static_cast<std::size_t>(_nodes->coordinates.slotIndex); }
    /// As the function of the same name.
    bool fixForRun() { return zrk::fixForRun(_slots); }

private:
    struct Nodes {
        EvaluationNode coordinates;
        EvaluationNode target;
    };
    std::shared_ptr<Nodes> _nodes; ///< shared by copies
    std::vector<EvaluationSlot> _slots;
};

/// What one thread needs to evaluate the inner chain.
class CornerSampler final : BlockSink {
public:
    CornerSampler(const InnerChain& chain, double step, const CornerDifferences& differences)
        : _chain(chain), _differences(differences), _corners(std::make_shared<CornerPositions>(step))
    {}

    /// The gradients at the positions, a row a component; up to a whole vector more is written.
    void run(const PositionRows& positions, const Tensor<3, double*>& gradients)
    {
        // The chain's loops are made for rows of weights or for none.
        if (!_context || (positions.weights == nullptr) != (_corners->positions.weights == nullptr)) {
            _context.emplace(_chain.slots());
            _context->slots[_chain.coordinates()].evaluator = Evaluator(_corners);
        }
        _corners->positions = positions;
        _gradients = gradients;
        // The same sample indices stood for other positions before.
        for (EvaluationSlot& slot : _context->slots) {
            slot.lastSample = -1;
        }
        _context->sweep(_chain.target(), 0, static_cast<std::int32_t>(kCorners * positions.count) - 1, *this);
    }

private:
    const InnerChain& _chain;
    CornerDifferences _differences;
    std::shared_ptr<CornerPositions> _corners;
    std::optional<EvaluationContext> _context;
    Tensor<3, double*> _gradients{};

    void take(std::int32_t, std::size_t count, const Block& block) override
    {
        const std::size_t n = count / kCorners;
        const double* f = block.row(0);
        const CornerDifferences differences = _differences;
        const Tensor<3, double*> out = _gradients;
        for (std::size_t i = 0; i < n; i += Batch::size) {
            const Tensor<3, Batch> gradient =
                differences(Batch::load(f + i), Batch::load(f + n + i), Batch::load(f + 2 * n + i),
                            Batch::load(f + 3 * n + i));
            for (std::size_t c = 0; c < 3; ++c) {
                gradient[c].storeAligned(out[c] + i);
            }
        }
    }
};

class GradientKernel final : public Kernel {
public:
    GradientKernel(const std::shared_ptr<IFieldGenerator>& field, double step, bool unit)
        : GradientKernel(InnerChain(field), step, {1 / (4 * step), unit})
    {}
    GradientKernel(InnerChain chain, double step, const CornerDifferences& differences)
        : _chain(std::move(chain)), _step(step), _differences(differences)
    {
        InnerChain ofRun = _chain;
        _changesBetweenRuns = ofRun.fixForRun();
    }

    std::shared_ptr<const Kernel> forRun() const override
    {
        if (!_changesBetweenRuns) {
            return nullptr;
        }
        InnerChain ofRun = _chain;
        ofRun.fixForRun();
        return std::make_shared<GradientKernel>(std::move(ofRun), _step, _differences);
    }

    KernelReads reads() const override { return {1, true, ReadOrder::coordinatesFirst}; }

    void sample(EvaluationContext& context) const override
    {
        if (_changesBetweenRuns) {
            forRun()->sample(context);
            return;
        }
        alignas(64) double rows[4][Batch::size] = {};
        const double* p = context.readCoordinates();
        for (std::size_t c = 0; c < 4; ++c) {
            rows[c][0] = p[c];
        }
        const double weight = context.readInput(0)[1];
        alignas(64) double gradient[3][Batch::size];
        std::unique_ptr<CornerSampler> sampler = takeSampler();
        sampler->run({1, {rows[0], rows[1], rows[2]}, rows[3]}, {gradient[0], gradient[1], gradient[2]});
        giveBack(std::move(sampler));
        context.writeOutput(Tensor<3, double>{gradient[0][0], gradient[1][0], gradient[2][0]}, weight);
    }

    void block(BlockRun& run) const override
    {
        const Block& p = run.coordinates();
        double* const out[3] = {run.output(0), run.output(1), run.output(2)};
        std::unique_ptr<CornerSampler> sampler = takeSampler();
        for (std::size_t i = 0; i < run.sampleCount(); i += kSamplesAtOnce) {
            const std::size_t count = std::min(kSamplesAtOnce, run.sampleCount() - i);
            sampler->run({count,
                          {p.row(0) + i, p.row(1) + i, p.row(2) + i},
                          p.hasUnitWeight() ? nullptr : p.weights() + i},
                         {out[0] + i, out[1] + i, out[2] + i});
        }
        giveBack(std::move(sampler));
        run.forwardWeights(run.input(0));
    }

private:
    InnerChain _chain;
    double _step;
    CornerDifferences _differences;
    bool _changesBetweenRuns = false;
    mutable std::mutex _mutex;
    mutable std::vector<std::unique_ptr<CornerSampler>> _idle; ///< guarded by _mutex

    std::unique_ptr<CornerSampler> takeSampler() const
    {
        const std::lock_guard lock(_mutex);
        if (_idle.empty()) {
            return std::make_unique<CornerSampler>(_chain, _step, _differences);
        }
        std::unique_ptr<CornerSampler> sampler = std::move(_idle.back());
        _idle.pop_back();
        return sampler;
    }
    /// One that a closure has thrown through isn't given back.
    void giveBack(std::unique_ptr<CornerSampler> sampler) const
    {
        const std::lock_guard lock(_mutex);
        _idle.push_back(std::move(sampler));
    }
};

} // namespace

Evaluation gradientEvaluator(const std::shared_ptr<IFieldGenerator>& field, double step, bool unit)
{
    return Evaluator(std::make_shared<GradientKernel>(field, step, unit));
}

} // namespace zrk

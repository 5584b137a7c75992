#include "core/engine/prepared_field.h"

#include "core/engine/block_runner.h"
#include "core/engine/evaluation_context.h"
#include "core/engine/evaluator_builder.h"
#include "core/engine/simplified_plans.h"

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace zrk {

namespace {

/// A piece of the positions of a call.
class ArrayDomain final : public EvaluationDomain<3, double> {
public:
    using EvaluationDomain::position;

    ArrayDomain(const PositionArrays& positions, std::size_t first, std::int32_t count)
        : _coordinates{positions.x + first, positions.y + first, positions.z + first}, _count(count)
    {}

    std::optional<Corners<double>> bounds() const override { return std::nullopt; }
    std::int32_t sampleCount() const override { return _count; }
    Tensor<4, double> position(std::int32_t i) const override
    {
        return {_coordinates[0][i], _coordinates[1][i], _coordinates[2][i], 1.0};
    }
    void positions(std::int32_t first, std::int32_t count, double* x, double* y, double* z) const override
    {
        double* const rows[3] = {x, y, z};
        for (std::size_t c = 0; c < 3; ++c) {
            std::copy_n(_coordinates[c] + first, count, rows[c]);
        }
    }

private:
    std::array<const double*, 3> _coordinates;
    std::int32_t _count;
};

/// Copies blocks into arrays, from `offset` on.
class ArraySink final : public BlockSink {
public:
    ArraySink(const RecordArrays& out, std::size_t offset) : _out(out), _offset(offset) {}

    void take(std::int32_t first, std::size_t count, const Block& block) override
    {
        const std::size_t at = _offset + static_cast<std::size_t>(first);
        for (std::size_t c = 0; c < _out.components.size(); ++c) {
            if (_out.components[c]) {
                std::copy_n(block.row(c), count, _out.components[c] + at);
            }
        }
        if (_out.weights) {
            std::copy_n(block.weights(), count, _out.weights + at);
        }
    }

private:
    const RecordArrays& _out;
    std::size_t _offset;
};

/// Stands for the positions while a chain is planned.
const PointListDomain& noPositions()
{
    static const PointListDomain none({});
    return none;
}

/// Calls take(boxes) for as many boxes at a time as are bounded together.
template <class Take>
void forEachGroup(std::span<const PositionBox> boxes, Take take)
{
    for (std::size_t first = 0; first < boxes.size(); first += kMaxBoxes) {
        take(boxes.subspan(first, std::min(kMaxBoxes, boxes.size() - first)));
    }
}

} // namespace

/// What one call needs to run the chain.
class PreparedField::Worker {
public:
    explicit Worker(const Chain& chain);
    /// From now on it runs this plan of the chain.
    void use(const std::shared_ptr<const BlockPlan>& plan);
    void sweep(const EvaluationDomain<3, double>& positions, BlockSink& sink);
    /// At most kMaxBoxes boxes; valid until the next call.
    const BoxBounds& bounds(std::span<const PositionBox> boxes);
    /// At most kMaxBoxes boxes.
    void simplify(std::span<const PositionBox> boxes, std::shared_ptr<const BlockPlan>* out);

private:
    const Chain& _chain;
    std::shared_ptr<const BlockPlan> _plan;
    EvaluationContext _context;
    BlockRunner _runner;
    BoundsRunner _bounds;
    SimplifiedPlans::Scratch _scratch;
};

/// The chain, which never changes, and the workers that no call is using.
class PreparedField::Chain {
    struct Nodes {
        EvaluationNode coordinates;
        EvaluationNode target;
    };

public:
    explicit Chain(std::shared_ptr<IFieldGenerator> field) : _nodes(std::make_shared<Nodes>())
    {
        _nodes->coordinates.reset(3, nullptr);
        _nodes->coordinates.positions = &noPositions();
        _slots = buildChain(std::move(field), _nodes->coordinates, _nodes->target);
        std::vector<EvaluationSlot> asBuilt = _slots;
        if (fixForRun(_slots)) {
            _asBuilt = std::move(asBuilt);
        }
        makePlan();
    }
    /// The same nodes and closures, with the kernels that are in force now and stay so.
    Chain(std::shared_ptr<Nodes> nodes, std::vector<EvaluationSlot> slots)
        : _nodes(std::move(nodes)), _slots(std::move(slots))
    {
        fixForRun(_slots);
        makePlan();
    }
    bool changesBetweenRuns() const { return !_asBuilt.empty(); }
    std::shared_ptr<const Chain> forRun() const { return std::make_shared<Chain>(_nodes, _asBuilt); }

    const std::vector<EvaluationSlot>& slots() const { return _slots; }
    const std::shared_ptr<const BlockPlan>& plan() const { return _plan; }
    const SimplifiedPlans& simplifiedPlans() const { return _simplified; }
    std::uint32_t shape() const { return _nodes->target.outputShape; }
    std::size_t coordinatesSlot() const { return static_cast<std::size_t>(_nodes->coordinates.slotIndex); }

    std::unique_ptr<Worker> takeWorker() const
    {
        {
            const std::lock_guard lock(_mutex);
            if (!_idle.empty()) {
                std::unique_ptr<Worker> worker = std::move(_idle.back());
                _idle.pop_back();
                return worker;
            }
            _idle.reserve(++_workerCount); // so that giving back can't fail
        }
        return std::make_unique<Worker>(*this);
    }
    void giveBack(std::unique_ptr<Worker> worker) const
    {
        const std::lock_guard lock(_mutex);
        _idle.push_back(std::move(worker));
    }

private:
    std::shared_ptr<Nodes> _nodes;
    std::vector<EvaluationSlot> _slots;
    std::vector<EvaluationSlot>
        _asBuilt; ///< the slots before their kernels were fixed; empty where none may change
    std::shared_ptr<const BlockPlan> _plan;
    SimplifiedPlans _simplified;

    mutable std::mutex _mutex;
    mutable std::vector<std::unique_ptr<Worker>> _idle; ///< guarded by _mutex
    mutable std::size_t _workerCount = 0;               ///< guarded by _mutex

    void makePlan()
    {
        _plan = std::make_shared<BlockPlan>(_slots, static_cast<std::size_t>(_nodes->target.slotIndex));
    }
};

/// A worker for the time of one call.
class PreparedField::Lease {
public:
    Lease(const Chain& chain, const std::shared_ptr<const BlockPlan>& plan)
        : _chain(chain), _worker(chain.takeWorker())
    {
        _worker->use(plan);
    }
    ~Lease() { _chain.giveBack(std::move(_worker)); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    Worker* operator->() const { return _worker.get(); }

private:
    const Chain& _chain;
    std::unique_ptr<Worker> _worker;
};

PreparedField::Worker::Worker(const Chain& chain)
    : _chain(chain), _plan(chain.plan()), _context(chain.slots()), _runner(_plan, _context)
{}

void PreparedField::Worker::use(const std::shared_ptr<const BlockPlan>& plan) { _plan = plan; }

void PreparedField::Worker::sweep(const EvaluationDomain<3, double>& positions, BlockSink& sink)
{
    if (_runner.plan() != _plan) {
        _runner.use(_plan);
    }
    _context.slots[_chain.coordinatesSlot()].positions = &positions;
    if (!_plan->lanes().empty()) {
        // The same sample indices stood for other positions before.
        for (EvaluationSlot& slot : _context.slots) {
            slot.lastSample = -1;
        }
    }
    _runner.sweep(0, positions.sampleCount() - 1, sink);
}

const BoxBounds& PreparedField::Worker::bounds(std::span<const PositionBox> boxes)
{
    return _bounds.over(*_plan, _chain.slots(), boxes);
}

void PreparedField::Worker::simplify(std::span<const PositionBox> boxes,
                                     std::shared_ptr<const BlockPlan>* out)
{
    _chain.simplifiedPlans().over(_plan, _chain.slots(), boxes, _bounds, _scratch, out);
}

PreparedField::PreparedField()
{
    static const PreparedField zero{IField()};
    *this = zero;
}

PreparedField::PreparedField(const IField& field)
    : PreparedField(std::make_shared<const Chain>(field.generator()))
{}

PreparedField::PreparedField(std::shared_ptr<const Chain> chain)
    : _chain(std::move(chain)), _plan(_chain->plan())
{}

bool PreparedField::changesBetweenRuns() const { return _chain->changesBetweenRuns(); }

PreparedField PreparedField::forRun() const
{
    return changesBetweenRuns() ? PreparedField(_chain->forRun()) : *this;
}

std::uint32_t PreparedField::shape() const { return _chain->shape(); }

std::size_t PreparedField::componentCount() const { return zrk::componentCount(shape()); }

void PreparedField::evaluate(const PositionArrays& positions, double* values) const
{
    RecordArrays out;
    out.components[0] = values;
    evaluate(positions, out);
}

void PreparedField::evaluate(const PositionArrays& positions, const RecordArrays& out) const
{
    // Sample indices have 32 bits.
    constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;
    const Lease worker(*_chain, _plan);
    for (std::size_t first = 0; first < positions.count; first += kMostAtOnce) {
        const std::size_t count = std::min(kMostAtOnce, positions.count - first);
        ArraySink sink(out, first);
        worker->sweep(ArrayDomain(positions, first, static_cast<std::int32_t>(count)), sink);
    }
}

void PreparedField::sweep(const EvaluationDomain<3, double>& positions, BlockSink& sink) const
{
    Lease(*_chain, _plan)->sweep(positions, sink);
}

IntervalRecord PreparedField::bounds(const PositionBox& box) const
{
    IntervalRecord record;
    bounds({&box, 1}, &record);
    return record;
}

void PreparedField::bounds(std::span<const PositionBox> boxes, Interval<double>* out) const
{
    const Lease worker(*_chain, _plan);
    forEachGroup(boxes, [&](std::span<const PositionBox> group) {
        const IntervalRow& values = worker->bounds(group).row(0);
        for (std::size_t i = 0; i < group.size(); ++i, ++out) {
            out->lower = values.lower[i];
            out->upper = values.upper[i];
        }
    });
}

void PreparedField::bounds(std::span<const PositionBox> boxes, IntervalRecord* out) const
{
    const Lease worker(*_chain, _plan);
    forEachGroup(boxes, [&](std::span<const PositionBox> group) {
        const BoxBounds& bounds = worker->bounds(group);
        for (std::size_t i = 0; i < group.size(); ++i) {
            *out++ = recordOf(bounds, i);
        }
    });
}

PreparedField PreparedField::simplifiedFor(const PositionBox& box) const
{
    PreparedField field = *this;
    simplifiedFor({&box, 1}, {&field, 1});
    return field;
}

void PreparedField::simplifiedFor(std::span<const PositionBox> boxes, std::span<PreparedField> out) const
{
    if (!_plan->lanes().empty()) {
        std::fill(out.begin(), out.end(), *this);
        return;
    }
    const Lease worker(*_chain, _plan);
    auto field = out.begin();
    forEachGroup(boxes, [&](std::span<const PositionBox> group) {
        std::array<std::shared_ptr<const BlockPlan>, kMaxBoxes> plans;
        worker->simplify(group, plans.data());
        for (std::size_t i = 0; i < group.size(); ++i, ++field) {
            field->_chain = _chain;
            field->_plan = std::move(plans[i]);
        }
    });
}

std::size_t PreparedField::nodeCount() const { return _plan->order().size() + _plan->lanes().size(); }

} // namespace zrk

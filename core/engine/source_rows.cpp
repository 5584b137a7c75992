#include "core/engine/source_rows.h"

#include "core/engine/evaluation_domain.h"

#include <array>
#include <utility>

namespace zrk {

bool SourceRows::fitPositions(const EvaluationSlot& slot) const
{
    return _components.empty() || slot.positions->hasUnitWeights() == (_weight == nullptr);
}

void SourceRows::takeComponents(std::size_t count, RowPool& pool)
{
    while (_components.size() < count) {
        _components.push_back(pool.take());
    }
}

/// Lets the block hold the rows, too.
void SourceRows::share(RowPool& pool, Block& block) const
{
    for (std::size_t c = 0; c < _components.size(); ++c) {
        pool.share(_components[c]);
        block._rows[c] = _components[c];
    }
    block._componentCount = _components.size();
    if (_weight) {
        pool.share(_weight);
    }
    block._weight = _weight;
}

void SourceRows::fillPositions(const EvaluationSlot& slot, std::int32_t first, std::size_t count,
                               RowPool& pool, Block& block)
{
    takeComponents(3, pool);
    const bool isUnit = slot.positions->hasUnitWeights();
    if (!isUnit && !_weight) {
        _weight = pool.take();
    } else if (isUnit && _weight) {
        pool.release(std::exchange(_weight, nullptr));
    }
    share(pool, block);
    renewPositions(slot, first, count);
}

void SourceRows::fillRecords(const EvaluationSlot& slot, std::int32_t first, std::size_t count, RowPool& pool,
                             Block& block)
{
    takeComponents(slot.buffer->stride - 1, pool);
    if (!_weight) {
        _weight = pool.take();
    }
    share(pool, block);
    renewRecords(slot, first, count);
}

/// Along a grid most coordinates repeat from block to block, and then their rows serve again.
void SourceRows::renewPositions(const EvaluationSlot& slot, std::int32_t first, std::size_t count)
{
    const EvaluationDomain<3, double>& domain = *slot.positions;
    const auto samples = static_cast<std::int32_t>(count);
    std::array<bool, 3> repeated{};
    if (_first >= 0 && count <= _count) {
        repeated = domain.repeatedPositions(_first, first, samples);
    }
    double* rows[3];
    for (std::size_t c = 0; c < 3; ++c) {
        rows[c] = repeated[c] ? nullptr : _components[c]->samples;
    }
    _first = -1; // in case the domain throws half way
    domain.positions(first, samples, rows[0], rows[1], rows[2]);
    if (_weight) {
        domain.weights(first, samples, _weight->samples);
    }
    _first = first;
    _count = count;
}

void SourceRows::renewRecords(const EvaluationSlot& slot, std::int32_t first, std::size_t count)
{
    const SampleBufferData<double>& buffer = *slot.buffer;
    const std::size_t n = _components.size();
    for (std::size_t i = 0; i < count; ++i) {
        const double* record = buffer.record(static_cast<std::uint64_t>(first) + i);
        for (std::size_t c = 0; c < n; ++c) {
            _components[c]->samples[i] = record[c];
        }
        _weight->samples[i] = record[n];
    }
}

} // namespace zrk

#pragma once

#include "core/engine/block.h"
#include "core/values/export.h"
#include "core/values/interval.h"

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zrk {

/// The most boxes whose bounds are computed together.
inline constexpr std::size_t kMaxBoxes = 64;

/// The bounds of one component, or of the weights, over some boxes.
struct alignas(64) ZRK_API IntervalRow {
    double lower[kMaxBoxes];
    double upper[kMaxBoxes];

    Interval<double> at(std::size_t box) const { return {lower[box], upper[box]}; }
    void set(std::size_t box, const Interval<double>& value)
    {
        lower[box] = value.lower;
        upper[box] = value.upper;
    }
    void fill(const Interval<double>& value);
};

/// Lends rows for one computation after the other; `reset` takes all of them back at once.
class IntervalRows {
public:
    IntervalRow& take()
    {
        if (_used == _rows.size()) {
            _rows.push_back(std::make_unique<IntervalRow>());
        }
        return *_rows[_used++];
    }
    void reset() { _used = 0; }

private:
    std::vector<std::unique_ptr<IntervalRow>> _rows;
    std::size_t _used = 0;
};

/// The bounds of one pin over some boxes: a row for each component and one for the weights. Rows may be read
/// beyond the last box, up to a whole vector, where they repeat that box or hold other numbers in order.
class ZRK_API BoxBounds {
public:
    /// The row of a component; zeros for a component that the pin doesn't have.
    const IntervalRow& row(std::size_t component) const
    {
        return component < _componentCount ? *_rows[component] : zeroRow();
    }
    std::size_t componentCount() const { return _componentCount; }

    /// True if the weights are known to be 1 without a row that says so.
    bool hasUnitWeight() const { return _weight == nullptr; }
    /// The row of weights; ones if `hasUnitWeight()`.
    const IntervalRow& weights() const { return _weight ? *_weight : oneRow(); }

    static const IntervalRow& zeroRow();
    static const IntervalRow& oneRow();

private:
    std::size_t _componentCount = 0;
    const IntervalRow* _weight = nullptr;
    std::array<const IntervalRow*, kMaxRecord - 1> _rows{};

    friend class BoxRun;
    friend class BoundsRunner;
};

/// For each box the input pin whose record the node's record is there, in all components and the weight and
/// to the bit, wherever in the box one looks.
struct BoxChoices {
    static constexpr std::uint8_t kNone = 0xff;
    std::array<std::uint8_t, kMaxBoxes> input;
};

/// What a kernel sees while it computes the bounds of its node's record over some boxes of positions: the
/// bounds of the inputs, and the rows that it writes. A kernel that writes no row leaves the slot's record.
///
/// A bound must hold for what `block` and `sample` compute, rounding included. NaN lies within the entire
/// interval only (see `Interval`).
class BoxRun {
public:
    /// At least one. Kernels may compute whole vectors, up to `wholeBatches(boxCount())`.
    std::size_t boxCount() const { return _count; }

    /// Bounds of input pin k, one of those that `reads()` announces; zeros for a pin without a node.
    const BoxBounds& input(std::size_t k) const
    {
        static const BoxBounds nothing;
        return k < _inputCount ? *_inputs[k] : nothing;
    }
    /// Bounds of the positions, if `reads()` announces them.
    const BoxBounds& coordinates() const { return *_coordinates; }

    /// A row for component c, which the kernel fills. Each component is given its row exactly once, by one of
    /// the calls below.
    IntervalRow& output(std::size_t component)
    {
        IntervalRow& row = _rows.take();
        set(component, row);
        return row;
    }
    /// Gives component c the same bounds in every box.
    void outputEverywhere(std::size_t component, const Interval<double>& value)
    {
        output(component).fill(value);
    }
    /// A row of weights for the kernel to fill. If neither this nor `forwardWeights` is called, all weights
    /// are 1.
    IntervalRow& outputWeights()
    {
        IntervalRow& row = _rows.take();
        _out._weight = &row;
        return row;
    }

    /// Makes the weights those of `from`, without a copy.
    void forwardWeights(const BoxBounds& from) { _out._weight = from._weight; }
    /// Makes a component that of another pin, without a copy.
    void forwardRow(std::size_t component, const BoxBounds& from, std::size_t fromComponent)
    {
        set(component, from.row(fromComponent));
    }
    /// Makes a component that of another one, which `output` gave.
    void forwardRow(std::size_t component, const IntervalRow& row) { set(component, row); }
    /// Makes all components and the weights those of `from`, without a copy.
    void forward(const BoxBounds& from)
    {
        for (std::size_t c = 0; c < from.componentCount(); ++c) {
            forwardRow(c, from, c);
        }
        forwardWeights(from);
    }

    /// Whether the engine asks where the record is that of one input.
    bool wantsChoices() const { return _choices != nullptr; }
    /// Says so for boxes from `first` on, those whose bit is set, the first one's the lowest; only if choices
    /// are wanted.
    void choose(std::size_t first, std::size_t input, unsigned boxes)
    {
        assert(_choices);
        if (input >= _inputCount) {
            return; // a pin without a node
        }
        for (unsigned lane = 0; boxes != 0; boxes >>= 1u, ++lane) {
            if ((boxes & 1u) != 0) {
                _choices->input[first + lane] = static_cast<std::uint8_t>(input);
            }
        }
    }

private:
    IntervalRows& _rows;
    BoxBounds& _out;
    const BoxBounds* const* _inputs;
    std::size_t _inputCount;
    const BoxBounds* _coordinates;
    std::size_t _count;
    BoxChoices* _choices;

    BoxRun(IntervalRows& rows, BoxBounds& out, const std::vector<const BoxBounds*>& inputs,
           const BoxBounds* coordinates, std::size_t count, BoxChoices* choices)
        : _rows(rows),
          _out(out),
          _inputs(inputs.data()),
          _inputCount(inputs.size()),
          _coordinates(coordinates),
          _count(count),
          _choices(choices)
    {}
    void set(std::size_t component, const IntervalRow& row)
    {
        _out._rows[component] = &row;
        _out._componentCount = _out._componentCount > component ? _out._componentCount : component + 1;
    }
    friend class BoundsRunner;
};

} // namespace zrk

#include "core/surface/edge_roots.h"

#include "core/values/batch.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace zrk::surface {

namespace {

constexpr int kRootRounds = 6;
constexpr double kRootTolerance = 1e-3; ///< of the difference along the edge
constexpr double kSteep = 2;            ///< of a field, against the distance to the bounds

/// The largest power of 2, which rounds nothing, that makes a field no steeper than 1.
double factorFor(double steepness)
{
    constexpr int kBitsOfFraction = std::numeric_limits<double>::digits - 1;
    constexpr std::uint64_t kExponentOfOne = 1023;
    if (!(steepness < 0x1p1000)) { // its inverse would have another form
        return 1;
    }
    const auto bits = std::bit_cast<std::uint64_t>(steepness) - 1;
    const std::uint64_t exponent = (bits >> kBitsOfFraction) + 1; // rounded up
    return std::bit_cast<double>((2 * kExponentOfOne - exponent) << kBitsOfFraction);
}

/// Where a parabola is 0 that goes through values of opposite signs at 0 and 1.
/// @param bend  its second difference.
Batch rootOfParabola(Batch from, Batch to, Batch bend)
{
    const Batch difference = to - from;
    const Batch slope = difference - 0.5 * bend;
    const Batch root = sqrt(slope * slope - 2.0 * from * bend); // slope at the root
    return -2.0 * from / (slope + select(difference < 0.0, -root, root));
}

} // namespace

void EdgeRoots::makeRoom(Rows& rows, std::size_t count)
{
    if (rows[0].size() < wholeBatches(count)) {
        for (std::vector<double>& row : rows) {
            row.resize(wholeBatches(count + count / 2));
        }
    }
}

void EdgeRoots::reserve(std::size_t more)
{
    makeRoom(_all, _count + more);
    if (_fieldOf.size() < _count + more) {
        _fieldOf.resize(_all[0].size());
    }
}

/// What the edges that were added last, up to before `end`, have in common.
void EdgeRoots::fillConstants(std::size_t axis, std::uint8_t field, std::size_t end)
{
    const auto fill = [&](Row name, double value) {
        std::fill_n(_all[name].data() + _count, end - _count, value);
    };
    fill(AlongX, axis == 0 ? _grid.spacing[0] : 0);
    fill(AlongY, axis == 1 ? _grid.spacing[1] : 0);
    fill(AlongZ, axis == 2 ? _grid.spacing[2] : 0);
    fill(Start, std::numeric_limits<double>::quiet_NaN());
    std::fill_n(_fieldOf.data() + _count, end - _count, field);
    _count = end;
}

/// Finds which positions of some edges are evaluated by which field.
void EdgeRoots::findRuns(const std::vector<std::uint8_t>& fieldOf, std::size_t count)
{
    _runs.clear();
    for (std::size_t first = 0; first < count;) {
        const auto begin = fieldOf.begin() + static_cast<std::ptrdiff_t>(first);
        const auto last = fieldOf.begin() + static_cast<std::ptrdiff_t>(count);
        const auto end = std::upper_bound(begin, last, *begin);
        first = static_cast<std::size_t>(end - fieldOf.begin());
        _runs.push_back({*begin, first});
    }
}

void EdgeRoots::evaluate(std::span<const PreparedField> fields, const double* x, const double* y,
                         const double* z, const double* factors, double* values) const
{
    std::size_t first = 0;
    for (const FieldRun& run : _runs) {
        _field.values(fields[run.field], x + first, y + first, z + first, factors + first, run.end - first,
                      values + first);
        first = run.end;
    }
}

void EdgeRoots::search(std::span<const PreparedField> fields)
{
    prepare(fields);
    refine(fields);
    findPlanes(fields);
}

/// Begins the brackets with whole edges.
void EdgeRoots::prepare(std::span<const PreparedField> fields)
{
    for (std::vector<double>& row : _all) {
        fillLastBatch(row.data(), _count);
    }
    bool areSteep = false;
    for (std::size_t r = 0; r < _count; r += Batch::size) {
        const auto row = [&](Row name) { return _all[name].data() + r; };
        const Batch difference = abs(Batch::load(row(ToValue)) - Batch::load(row(FromValue)));
        // One of the three isn't 0.
        const Batch length = Batch::load(row(AlongX)) + Batch::load(row(AlongY)) + Batch::load(row(AlongZ));
        const Batch steepness = difference / length;
        Batch(0.0).store(row(From));
        Batch(1.0).store(row(To));
        Batch(0.0).store(row(Moved));
        Batch(1.0).store(row(Factor));
        select(isFinite(difference), kRootTolerance * difference, Batch(0.0)).store(row(Tolerance));
        unsigned steep = bitsOf(steepness > kSteep && isFinite(difference));
        areSteep = areSteep || steep != 0;
        for (; steep != 0; steep &= steep - 1) {
            const auto lane = static_cast<std::size_t>(std::countr_zero(steep));
            row(Factor)[lane] = factorFor(steepness.lane(lane));
        }
    }
    if (areSteep) {
        scaleSteepEnds(fields);
    }
}

/// Multiplies the values at the ends of edges where the field is steep by their factors. The field is asked
/// again where the bounds had cut its value off.
void EdgeRoots::scaleSteepEnds(std::span<const PreparedField> fields)
{
    _number.clear();
    for (std::vector<double>& ends : _scaledEnds) {
        ends.resize(_all[0].size());
    }
    for (std::size_t r = 0; r < _count; r += Batch::size) {
        const auto load = [&](Row name) { return Batch::load(_all[name].data() + r); };
        const Batch factor = load(Factor);
        for (std::size_t end = 0; end < 2; ++end) {
            const Batch share = static_cast<double>(end);
            const Batch value = load(end == 0 ? FromValue : ToValue);
            const Batch limit = _field.outside(load(X) + share * load(AlongX), load(Y) + share * load(AlongY),
                                               load(Z) + share * load(AlongZ));
            maximum(value * factor, limit).store(_scaledEnds[end].data() + r);
            unsigned isCut = bitsOf(factor < 1.0 && !(value > limit));
            for (; isCut != 0; isCut &= isCut - 1) {
                const std::size_t number = r + static_cast<std::size_t>(std::countr_zero(isCut));
                _number.push_back(static_cast<std::uint32_t>(2 * number + end));
            }
        }
    }
    askEnds(fields);
    for (std::size_t r = 0; r < _count; r += Batch::size) {
        const auto row = [&](Row name) { return _all[name].data() + r; };
        const Batch from = Batch::load(row(FromValue));
        const Batch to = Batch::load(row(ToValue));
        const Batch scaledFrom = Batch::load(_scaledEnds[0].data() + r);
        const Batch scaledTo = Batch::load(_scaledEnds[1].data() + r);
        const auto haveOneSide = [](Batch a, Batch b) {
            return (a < 0.0 && b < 0.0) || (!(a < 0.0) && !(b < 0.0));
        };
        const Batch factor = Batch::load(row(Factor));
        // Others are too steep for the numbers.
        const BatchMask isScaled = factor < 1.0 && haveOneSide(from, scaledFrom) && haveOneSide(to, scaledTo);
        const Batch scale = select(isScaled, factor, Batch(1.0));
        scale.store(row(Factor));
        (scale * Batch::load(row(Bend))).store(row(Bend));
        select(isScaled, scaledFrom, from).store(row(FromValue));
        select(isScaled, scaledTo, to).store(row(ToValue));
        select(isScaled, kRootTolerance * abs(scaledTo - scaledFrom), Batch::load(row(Tolerance)))
            .store(row(Tolerance));
    }
}

/// Asks the field, with their factors, at the ends whose numbers are listed: twice that of the edge, and one
/// more for the upper end.
void EdgeRoots::askEnds(std::span<const PreparedField> fields)
{
    // Edges of one field stand together.
    std::sort(_number.begin(), _number.end());
    makeRoom(_open, _number.size());
    _fieldOfOpen.resize(_number.size());
    for (std::size_t i = 0; i < _number.size(); ++i) {
        const std::size_t r = _number[i] / 2;
        const double share = _number[i] % 2;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            _open[PX + axis][i] = _all[X + axis][r] + share * _all[AlongX + axis][r];
        }
        _open[Factor][i] = _all[Factor][r];
        _fieldOfOpen[i] = _fieldOf[r];
    }
    findRuns(_fieldOfOpen, _number.size());
    evaluate(fields, _open[PX].data(), _open[PY].data(), _open[PZ].data(), _open[Factor].data(),
             _open[Value].data());
    for (std::size_t i = 0; i < _number.size(); ++i) {
        _scaledEnds[_number[i] % 2][_number[i] / 2] = _open[Value][i];
    }
}

/// Bracketed secants (the Illinois rule), or the middle where an end isn't finite.
void EdgeRoots::refine(std::span<const PreparedField> fields)
{
    findRuns(_fieldOf, _count);
    makeRoom(_open, _count);
    _number.resize(_count);
    _fieldOfOpen.resize(_count);
    // The first round takes all edges, later ones those that are left.
    std::size_t open = 0;
    const auto keep = [&](const Rows& from, std::size_t i, std::uint32_t number) {
        for (std::size_t row = 0; row < kKeptRows; ++row) {
            _open[row][open] = from[row][i];
        }
        _number[open] = number;
        _fieldOfOpen[open++] = _fieldOf[number];
    };
    const auto isOpen = [](const Rows& rows, std::size_t i) {
        return !(std::abs(rows[Value][i]) <= rows[Tolerance][i]);
    };
    refineOnce(_all, _count, true, fields);
    for (std::size_t i = 0; i < _count; ++i) {
        if (isOpen(_all, i)) {
            keep(_all, i, static_cast<std::uint32_t>(i));
        }
    }
    for (int round = 1; round < kRootRounds && open > 0; ++round) {
        const std::size_t count = open;
        for (std::size_t row = 0; row < kKeptRows; ++row) {
            fillLastBatch(_open[row].data(), count);
        }
        findRuns(_fieldOfOpen, count);
        refineOnce(_open, count, false, fields);
        open = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint32_t number = _number[i];
            _all[At][number] = _open[At][i];
            _all[Value][number] = _open[Value][i];
            if (isOpen(_open, i)) {
                keep(_open, i, number);
            }
        }
    }
}

/// @param isFirst  the step that begins at `Start`.
void EdgeRoots::refineOnce(Rows& rows, std::size_t count, bool isFirst, std::span<const PreparedField> fields)
{
    const auto load = [&](Row name, std::size_t r) { return Batch::load(rows[name].data() + r); };
    const auto store = [&](Row name, std::size_t r, Batch value) { value.store(rows[name].data() + r); };
    for (std::size_t r = 0; r < count; r += Batch::size) {
        const Batch from = load(From, r);
        const Batch to = load(To, r);
        const Batch fromValue = load(FromValue, r);
        Batch share = from - fromValue * (to - from) / (load(ToValue, r) - fromValue);
        if (isFirst) {
            const Batch start = load(Start, r);
            share = select(start == start, start, rootOfParabola(fromValue, load(ToValue, r), load(Bend, r)));
        }
        const Batch at = select(share > from && share < to, share, 0.5 * (from + to));
        store(At, r, at);
        store(PX, r, load(X, r) + at * load(AlongX, r));
        store(PY, r, load(Y, r) + at * load(AlongY, r));
        store(PZ, r, load(Z, r) + at * load(AlongZ, r));
    }
    evaluate(fields, rows[PX].data(), rows[PY].data(), rows[PZ].data(), rows[Factor].data(),
             rows[Value].data());
    for (std::size_t r = 0; r < count; r += Batch::size) {
        const Batch at = load(At, r);
        const Batch value = load(Value, r);
        const Batch fromValue = load(FromValue, r);
        const Batch toValue = load(ToValue, r);
        const Batch moved = load(Moved, r);
        const BatchMask isLower = (value < 0.0 && fromValue < 0.0) || (!(value < 0.0) && !(fromValue < 0.0));
        // An end that stays for a second time counts half, so that it is moved, too.
        store(From, r, select(isLower, at, load(From, r)));
        store(To, r, select(isLower, load(To, r), at));
        store(FromValue, r, select(isLower, value, fromValue * select(moved == 1.0, Batch(0.5), Batch(1.0))));
        store(ToValue, r, select(isLower, toValue * select(moved == -1.0, Batch(0.5), Batch(1.0)), value));
        store(Moved, r, select(isLower, Batch(-1.0), Batch(1.0)));
    }
}

/// Tangent planes at the crossings, by one-sided differences. What is left of a root's value moves the plane.
void EdgeRoots::findPlanes(std::span<const PreparedField> fields)
{
    if (_planes.size() < wholeBatches(_count) + 1) {
        _planes.resize(_all[0].size() + 1);
    }
    _planes[0] = {};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (_stepped[axis].size() < _all[0].size()) {
            _stepped[axis].resize(_all[0].size());
            _steppedValues[axis].resize(_all[0].size());
        }
    }
    const auto load = [&](Row name, std::size_t r) { return Batch::load(_all[name].data() + r); };
    for (std::size_t r = 0; r < _count; r += Batch::size) {
        const Batch at = load(At, r);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const Batch p =
                load(static_cast<Row>(X + axis), r) + at * load(static_cast<Row>(AlongX + axis), r);
            p.store(_all[PX + axis].data() + r);
            (p + kGradientStep * _grid.spacing[axis]).store(_stepped[axis].data() + r);
        }
    }
    findRuns(_fieldOf, _count);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto row = [&](std::size_t i) { return i == axis ? _stepped[i].data() : _all[PX + i].data(); };
        evaluate(fields, row(0), row(1), row(2), _all[Factor].data(), _steppedValues[axis].data());
    }
    for (std::size_t r = 0; r < _count; r += Batch::size) {
        Batch p[3];
        Batch n[3];
        const Batch value = load(Value, r);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            p[axis] = load(static_cast<Row>(PX + axis), r);
            n[axis] = (Batch::load(_steppedValues[axis].data() + r) - value) /
                      (Batch::load(_stepped[axis].data() + r) - p[axis]);
        }
        const Batch slope = sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        const Batch residue = value / slope;
        // Where an end isn't finite, the value tells nothing of the way to the surface.
        const BatchMask isPlane =
            load(Tolerance, r) > 0.0 && slope > 0.0 && isFinite(slope) && isFinite(residue);
        double rows[8][Batch::size];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            n[axis] = select(isPlane, n[axis] / slope, Batch(0.0));
            p[axis].store(rows[axis]);
            n[axis].store(rows[3 + axis]);
        }
        const Batch way = select(isPlane, -residue, Batch(0.0));
        (n[0] * p[0] + n[1] * p[1] + n[2] * p[2] + way).store(rows[6]);
        way.store(rows[7]);
        for (std::size_t i = 0; i < Batch::size; ++i) {
            for (std::size_t k = 0; k < 8; ++k) {
                _planes[1 + r + i].numbers[k] = rows[k][i];
            }
        }
    }
}

} // namespace zrk::surface

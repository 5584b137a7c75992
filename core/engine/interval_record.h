#pragma once

#include "core/engine/block.h"
#include "core/values/interval.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <initializer_list>

namespace zrk {

/// The bounds of a record's components, at most kMaxRecord - 1, without memory of their own.
class IntervalComponents {
public:
    IntervalComponents() = default;
    IntervalComponents(std::initializer_list<Interval<double>> values) : _size(values.size())
    {
        assert(_size <= _values.size());
        std::copy(values.begin(), values.end(), _values.begin());
    }
    IntervalComponents(const IntervalComponents& other) { *this = other; }
    IntervalComponents& operator=(const IntervalComponents& other)
    {
        _size = other._size;
        std::copy_n(other._values.begin(), _size, _values.begin());
        return *this;
    }

    std::size_t size() const { return _size; }
    Interval<double>& operator[](std::size_t c) { return _values[c]; }
    const Interval<double>& operator[](std::size_t c) const { return _values[c]; }
    Interval<double>* begin() { return _values.data(); }
    Interval<double>* end() { return _values.data() + _size; }
    void push_back(const Interval<double>& value) { _values.at(_size++) = value; }

private:
    std::size_t _size = 0;
    std::array<Interval<double>, kMaxRecord - 1> _values;
};

/// Bounds of a record over a box of positions.
struct IntervalRecord {
    IntervalComponents components;
    Interval<double> weight{0.0, 0.0};
};

} // namespace zrk

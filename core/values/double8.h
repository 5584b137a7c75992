#pragma once

#include "core/values/batch.h"
#include "core/values/eight_lanes.h"

#include <cstddef>

namespace zrk {

/// Eight doubles worked on together, in as many batches as that takes: the counterpart of `Float8`, with what
/// searches need of it.
class Double8 {
public:
    Double8() = default;
    Double8(double everywhere)
    {
        for (Batch& part : _parts) {
            part = everywhere;
        }
    }
    static Double8 load(const double* from)
    {
        return each([from](std::size_t k) { return Batch::load(from + k * Batch::size); });
    }
    void store(double* to) const
    {
        for (std::size_t k = 0; k < kParts; ++k) {
            _parts[k].store(to + k * Batch::size);
        }
    }
    /// As the function of that name.
    void pack(Lanes8 lanes, double* to) const
    {
        double values[kLanes];
        store(values);
        const std::uint8_t* const order = kLaneOrders.of(lanes);
        for (int i = 0; i < kLanes; ++i) {
            to[i] = values[order[i]];
        }
    }

    friend Double8 operator+(const Double8& a, const Double8& b)
    {
        return each([&](std::size_t k) { return a._parts[k] + b._parts[k]; });
    }
    friend Double8 operator-(const Double8& a, const Double8& b)
    {
        return each([&](std::size_t k) { return a._parts[k] - b._parts[k]; });
    }
    friend Double8 operator*(const Double8& a, const Double8& b)
    {
        return each([&](std::size_t k) { return a._parts[k] * b._parts[k]; });
    }
    /// a * b + c, in two steps.
    friend Double8 fma(const Double8& a, const Double8& b, const Double8& c) { return a * b + c; }
    friend Double8 maximum(const Double8& a, const Double8& b)
    {
        return each([&](std::size_t k) { return maximum(a._parts[k], b._parts[k]); });
    }
    friend Lanes8 lessOrEqual(const Double8& a, const Double8& b)
    {
        Lanes8 lanes = 0;
        for (std::size_t k = 0; k < kParts; ++k) {
            lanes |= bitsOf(a._parts[k] <= b._parts[k]) << k * Batch::size;
        }
        return lanes;
    }
    /// The lane of the smallest value; the first one where all are NaN.
    friend int leastLane(const Double8& a)
    {
        double values[kLanes];
        a.store(values);
        int least = 0;
        for (int i = 1; i < kLanes; ++i) {
            least = values[i] < values[least] ? i : least;
        }
        return least;
    }

private:
    static constexpr std::size_t kParts = kLanes / Batch::size;
    static_assert(kParts * Batch::size == kLanes);

    Batch _parts[kParts];

    template <class Part>
    static Double8 each(Part part)
    {
        Double8 result;
        for (std::size_t k = 0; k < kParts; ++k) {
            result._parts[k] = part(k);
        }
        return result;
    }
};

} // namespace zrk

#include "core/surface/surface_field.h"

#include "core/values/batch.h"

#include <bit>

namespace zrk::surface {

void SurfaceField::values(const PreparedField& left, const double* x, const double* y, const double* z,
                          const double* factors, std::size_t count, double* out) const
{
    left.evaluate(x, y, z, count, out);
    std::uint64_t undefined = 0;
    std::size_t i = 0;
    for (; i + Batch::size <= count; i += Batch::size) {
        const Batch value = Batch::load(out + i);
        undefined += static_cast<std::uint64_t>(std::popcount(bitsOf(isNaN(value))));
        const Batch factor = factors ? _sign * Batch::load(factors + i) : Batch(_sign);
        cutOff(factor * (value - _iso), Batch::load(x + i), Batch::load(y + i), Batch::load(z + i))
            .store(out + i);
    }
    for (; i < count; ++i) {
        undefined += isNaN(out[i]) ? 1 : 0;
        const double factor = factors ? _sign * factors[i] : _sign;
        out[i] = cutOff(factor * (out[i] - _iso), x[i], y[i], z[i]);
    }
    if (undefined > 0) {
        _undefined.fetch_add(undefined, std::memory_order_relaxed);
    }
}

} // namespace zrk::surface

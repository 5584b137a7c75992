#include "frame/engine/kernel.h"

#include <algorithm>

namespace zrk {

void BlockRun::outputConstant(std::size_t component, double value)
{
    if (!_constant) {
        _constant = _pool.take();
        std::fill_n(_constant->samples, kRowLength, value);
    }
    _pool.share(_constant);
    take(component, _constant);
}

void BlockRun::forwardRow(std::size_t component, const Block& from, std::size_t fromComponent)
{
    if (fromComponent >= from._componentCount) {
        std::fill_n(output(component), kRowLength, 0.0);
        return;
    }
    _pool.share(from._rows[fromComponent]);
    take(component, from._rows[fromComponent]);
}

void BlockRun::forward(const Block& from)
{
    for (std::size_t c = 0; c < from._componentCount; ++c) {
        forwardRow(c, from, c);
    }
    forwardWeights(from);
}

} // namespace zrk

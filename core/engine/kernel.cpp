#include "core/engine/kernel.h"

#include <algorithm>

namespace zrk {

void BlockRun::forwardRow(std::size_t component, const Block& from, std::size_t fromComponent)
{
    if (fromComponent >= from._componentCount) {
        outputConstant(component, 0.0);
        return;
    }
    _isConstant = false;
    _pool.share(from._rows[fromComponent]);
    set(component, from._rows[fromComponent]);
}

void BlockRun::forward(const Block& from)
{
    for (std::size_t c = 0; c < from._componentCount; ++c) {
        forwardRow(c, from, c);
    }
    forwardWeights(from);
}

} // namespace zrk

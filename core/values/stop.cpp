#include "core/values/stop.h"

#include "core/values/fault.h"

namespace zrk {

void StopScope::stop() const
{
    const StopScope* const scope = raised();
    if (scope && scope->_end) {
        scope->_end();
    }
    throw FaultError(interruptedAt("work"));
}

} // namespace zrk

#include "core/values/stop.h"

#include "core/values/fault.h"

namespace zrk {

void stopWork() { throw FaultError(interruptedAt("work")); }

} // namespace zrk

#pragma once

#include "formats/error.h"

namespace zrkmodel {

using zrk::hostError;
using zrk::HostError;
using zrk::printable;

} // namespace zrkmodel

#pragma once

#include "model/manual.h"

#include <span>

namespace zrkmodel {

/// The manuals of all components, which the build makes from the comments of their classes.
std::span<const Manual> componentManuals();

} // namespace zrkmodel

#pragma once

#include "core/values/fault.h"
#include "model/json.h"

#include <string>

namespace zrkworkbench {

/// Measures the window with a document, or with an example where the path is empty. Takes a minute; nothing
/// is written over.
///
/// Returns "measured", an array of what was measured, in order: "what", "value", "unit", and where there is
/// one the "goal" and whether it is "reached"; "detail" tells of what the number is, or where the time went.
/// What couldn't be measured stands in "not measured" with the reason.
///
/// The document is opened, edited and dragged in; all else uses documents that are made here, so that the
/// numbers are those of the goals whatever document is given. Milliseconds in which the window's thread was
/// held are those of Watchdog.
zrk::Result<zrkmodel::ZRKJson> measureWindow(const std::string& path);

} // namespace zrkworkbench

#pragma once

#include "core/values/fault.h"
#include "model/json.h"

#include <string>

namespace zrkworkbench {

/// Measures the window with a document, or with an example where the path is empty, and returns the numbers
/// with their names, in milliseconds unless the name says otherwise. Takes half a minute; nothing is written
/// over.
///
/// "window up" is the time from making the window until it has drawn itself; "open a document of 50 nodes"
/// that until its nodes stand on the canvas; "thread held" the longest time in which the window's thread
/// didn't come back to its events, see Watchdog.
zrk::Result<zrkmodel::ZRKJson> measureWindow(const std::string& path);

} // namespace zrkworkbench

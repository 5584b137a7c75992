#pragma once

#include "apps/workbench/window/watchdog.h"

#include <string>
#include <vector>

namespace zrkworkbench {

class Window;

/// The longest time for which one kind of action held the window's thread.
struct HeldAction {
    std::string action;
    Watchdog::Hold hold;
};

/// Does with a window what may hold its thread, one kind of action after the other: opens all panels and long
/// lists, small and large documents, undoes a large paste, changes colours. Each is waited for until the
/// window has settled. The window's document is another one afterwards. For tests and measurements.
///
/// @param folder  for the documents that are opened.
std::vector<HeldAction> holdWindow(Window& window, const std::string& folder);

/// The same with what is large: a picture whose doubles take 2 GB, a clipboard of 10 MB.
std::vector<HeldAction> holdByFiles(Window& window, const std::string& folder);

} // namespace zrkworkbench

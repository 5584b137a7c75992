#pragma once

#include <QString>

namespace zrkworkbench {

/// The style sheet of the window's own parts, in the form of ZRKCSSStyle::filled.
QString windowSheet();

} // namespace zrkworkbench

#pragma once

#include "core/values/export.h"

namespace zrkmodel {

/// A reference to it links the components in; loading the library registers all of them.
class ZRK_API ZRKGraphComponentsInit {
public:
    /// Does nothing.
    static void initializeModule();
};

} // namespace zrkmodel

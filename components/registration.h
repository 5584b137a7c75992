#pragma once

namespace zrkmodel {

/// A reference to it links the components in; loading the library registers all of them.
class ZRKGraphComponentsInit {
public:
    /// Does nothing.
    static void initializeModule();
};

} // namespace zrkmodel

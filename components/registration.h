#pragma once

#include "model/tag.h"

#include <string>
#include <vector>

namespace zrkmodel {

/// A reference to it links the components in; loading the library registers all of them.
class ZRKGraphComponentsInit {
public:
    /// Does nothing.
    static void initializeModule();
};

/// One of the library's 48 types.
struct ComponentEntry {
    std::string className;
    std::string typeName;
    std::string uuid;
    std::vector<Tag> inputs; ///< registered signature
    std::vector<Tag> outputs;
    void (*registerType)();
};

/// The 48 types in the order in which they are registered.
const std::vector<ComponentEntry>& allComponents();

} // namespace zrkmodel

#pragma once

#include "frame/host/tag.h"

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
    void (*registerType)(); ///< null while this version doesn't have the class

    bool isBuilt() const { return registerType != nullptr; }
};

/// The 48 types in the order in which they are registered. Those that this version doesn't
/// have keep their place and aren't registered.
const std::vector<ComponentEntry>& allComponents();

} // namespace zrkmodel

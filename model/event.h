#pragma once

#include <string>

namespace zrkmodel {

class ZRKObject;

/// What a change notification carries.
struct ZRKEvent {
    std::string name;                  ///< the changed thing: a property's name, "poles", "raster" ...
    const ZRKObject* source = nullptr; ///< valid while the notification runs
};

} // namespace zrkmodel

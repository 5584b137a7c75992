#pragma once

#include <string>

namespace zrkmodel {

class ZRKObject;

/// What a change notification tells: which thing of which object has changed.
struct ZRKEvent {
    std::string name;                  ///< the changed thing: a property's name, "poles", "raster" ...
    const ZRKObject* source = nullptr; ///< valid while the notification runs
};

} // namespace zrkmodel

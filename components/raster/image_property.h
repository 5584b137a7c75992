#pragma once

#include "model/property.h"
#include "model/resource.h"

#include <memory>

namespace zrkmodel {

/// Properties that hold an image resource.
using ZRKImage2dProperty = ZRKProperty<std::shared_ptr<ZRKImage2d>>;
using ZRKImage3dProperty = ZRKProperty<std::shared_ptr<ZRKImage3d>>;

} // namespace zrkmodel

#pragma once

#include "model/icons.h"

namespace zrkmodel {

/// The icon of the sphere, which the mesh shows as well.
inline constexpr IconResource kSphereIcon = icon<IconColor::Scalar, 0x187E7EFFFF7E7E18>("sc_sdf_sphere");

} // namespace zrkmodel

#pragma once

#include "core/engine/kernel.h"
#include "core/mesh/mesh_field.h"

#include <memory>

namespace zrk {

/// A field at the positions of input 0, with their weight. Null gives 0 everywhere.
std::shared_ptr<const Kernel> meshKernel(std::shared_ptr<const MeshWindingField> field);

} // namespace zrk

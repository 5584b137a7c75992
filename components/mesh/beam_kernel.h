#pragma once

#include "core/engine/kernel.h"
#include "core/mesh/beams/beam_field.h"

#include <memory>

namespace zrk {

/// A field at the positions of input 0, with their weight. Null gives the largest double everywhere, the
/// distance to nothing.
std::shared_ptr<const Kernel> beamKernel(std::shared_ptr<const BeamField> field);

} // namespace zrk

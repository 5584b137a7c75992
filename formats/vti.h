#pragma once

#include "formats/volume.h"

namespace zrk {

/// What stands around the values in a file of VTK image data, the values appended raw: point data; positions
/// by origin and spacing.
VolumeFrame vtiFrame(const Volume& volume);

} // namespace zrk

#pragma once

#include "formats/volume.h"

namespace zrk {

/// What stands around the values in a NRRD0005 file with raw data: components first and fastest; positions by
/// space origin and directions.
VolumeFrame nrrdFrame(const Volume& volume);

} // namespace zrk

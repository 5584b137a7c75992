#pragma once

#include "formats/volume.h"

#include <cstdint>
#include <string>

namespace zrk {

/// What stands around the values in a file of VTK image data, the values appended raw: point data; positions
/// by origin and spacing.
VolumeFrame vtiFrame(const Volume& volume);

/// The same of the layers of nodes `first` to `last` of a volume, a piece of it.
/// @param comment  of XML, with its line break; may be empty.
VolumeFrame vtiFrame(const Volume& volume, std::int32_t first, std::int32_t last, const std::string& comment);

/// What the files call a volume's values.
struct VtiNames {
    std::string name; ///< as it stands in XML
    const char* role;
    const char* type;
};
VtiNames vtiNames(const Volume& volume);

} // namespace zrk

#include "formats/nrrd.h"

#include <fmt/format.h>

#include <string>

namespace zrk {

VolumeFrame nrrdFrame(const Volume& volume)
{
    const bool plain = volume.components == 1;
    std::string head = "NRRD0005\n";
    if (!volume.name.empty()) {
        head += fmt::format("content: {}\n", volume.nameInOneLine());
    }
    head += fmt::format("type: {}\ndimension: {}\nspace dimension: 3\n",
                        volume.type == NumberType::Float32 ? "float"
                        : volume.type == NumberType::UInt8 ? "uint8"
                                                           : "double",
                        plain ? 3 : 4);
    head += fmt::format("sizes: {}{} {} {}\n", plain ? "" : fmt::format("{} ", volume.components),
                        volume.dims[0], volume.dims[1], volume.dims[2]);
    head += fmt::format("space directions: {}({},0,0) (0,{},0) (0,0,{})\n", plain ? "" : "none ",
                        volume.spacing(0), volume.spacing(1), volume.spacing(2));
    head += fmt::format("kinds: {}domain domain domain\n", plain                    ? ""
                                                           : volume.components == 3 ? "vector "
                                                                                    : "RGBA-color ");
    if (!volume.unit.empty()) {
        head += fmt::format("space units: \"{0}\" \"{0}\" \"{0}\"\n", volume.unit);
    }
    head += "endian: little\nencoding: raw\n";
    head += fmt::format("space origin: ({},{},{})\n\n", volume.lower[0], volume.lower[1], volume.lower[2]);
    return {head, ""};
}

} // namespace zrk

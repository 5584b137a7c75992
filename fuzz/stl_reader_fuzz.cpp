#include "formats/stl.h"

#include <cstdlib>

/// Any bytes give either a mesh that is sound and no larger than they allow, or a fault.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const auto mesh = zrk::readStl({bytes, size}, "bytes");
    if (!mesh) {
        return mesh.error().kind == zrk::FaultKind::BadInput ? 0 : (std::abort(), 0);
    }
    if (mesh->vertices.size() > size || mesh->triangles.size() > size) {
        std::abort();
    }
    for (const auto& triangle : mesh->triangles) {
        for (const std::uint32_t corner : triangle) {
            if (corner >= mesh->vertices.size()) {
                std::abort();
            }
        }
    }
    return 0;
}

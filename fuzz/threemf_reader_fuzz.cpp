#include "formats/threemf.h"
#include "formats/zip_writer.h"

#include <cmath>
#include <cstdlib>
#include <vector>

namespace {

/// Either a mesh that is sound or a fault.
void check(std::span<const std::uint8_t> bytes)
{
    const auto mesh = zrk::readThreeMf(bytes, "bytes");
    if (!mesh) {
        if (mesh.error().kind == zrk::FaultKind::Interrupted) {
            std::abort();
        }
        return;
    }
    for (const auto& p : mesh->vertices) {
        if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
            std::abort();
        }
    }
    for (const auto& triangle : mesh->triangles) {
        for (const std::uint32_t corner : triangle) {
            if (corner >= mesh->vertices.size()) {
                std::abort();
            }
        }
    }
}

/// A package with the bytes as its model: few changed archives get past the checksums.
std::vector<std::uint8_t> packageOf(std::span<const std::uint8_t> model)
{
    std::vector<std::uint8_t> package;
    zrk::ZipWriter zip([&package](const void* data, std::size_t size) {
        const auto* begin = static_cast<const std::uint8_t*>(data);
        package.insert(package.end(), begin, begin + size);
        return true;
    });
    const std::string relations =
        "<a><b Target='m' Type='http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel'/></a>";
    zip.begin("_rels/.rels");
    zip.write(relations.data(), relations.size());
    zip.begin("m");
    zip.write(model.data(), model.size());
    zip.finish();
    return package;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    check({bytes, size});
    check(packageOf({bytes, size}));
    return 0;
}

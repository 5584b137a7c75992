// A lattice from the edges of any mesh: its distances are the smallest of all beams.

#include "core/mesh/beams/beam_field.h"
#include "formats/obj.h"
#include "testing/mesh_from_bytes.h"

#include <cstring>
#include <limits>

namespace {

void expectSmallest(const zrk::BeamCacheData& lattice, const zrk::Tensor<3, double>& p)
{
    double smallest = std::numeric_limits<double>::max();
    for (std::int32_t i = 0; i < lattice.beamCount(); ++i) {
        const double d = lattice.beam(i).distance(p);
        smallest = d < smallest ? d : smallest;
    }
    if (lattice.field->distance(p) != smallest) {
        __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    zrktest::MeshFromBytes mesh(data, size);
    if (mesh.isFitted) {
        zrk::fitVerticesToBox(static_cast<int>(mesh.vertices.size() / 3), mesh.vertices,
                              zrk::BBox<double>({0, 0, 0}, {5, 5, 5}));
    }
    const auto lattice = zrk::BeamCacheData::ofEdges(mesh.vertices, mesh.indices);
    if (!lattice->field) {
        return 0;
    }
    for (std::size_t i = 0; i + 2 < mesh.vertices.size() && i < 30; i += 3) {
        const zrk::Tensor<3, double> vertex = zrk::pointAt(mesh.vertices.data() + i);
        for (const double scale : {1.0, 0.5, 1.0000001, -3.0}) {
            expectSmallest(*lattice, scale * vertex);
        }
    }
    return 0;
}

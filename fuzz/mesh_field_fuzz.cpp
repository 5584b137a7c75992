// A field from any mesh: its distances are those of the hierarchy's search, asked alone or one after the
// other.

#include "core/mesh/mesh_field.h"
#include "core/mesh/search/closest_point.h"
#include "formats/obj.h"
#include "testing/mesh_from_bytes.h"

#include <cmath>

namespace {

void expectSearched(const zrk::MeshWindingField& field, const zrk::Tensor<3, double>& p,
                    zrk::MeshWindingField::Trail& trail)
{
    const zrk::BVH<double, 3, 3>& bvh = field.bvh();
    double searched = 0;
    bvh.closestPrimitive(
        [&](std::int32_t i, const double* point, double* closest) {
            return zrk::closestPointOnTriangle(point, bvh.vertexOf(i, 0), bvh.vertexOf(i, 1),
                                               bvh.vertexOf(i, 2), closest);
        },
        p.begin(), searched);
    const double distance = field.meshDistance(p);
    const bool isSame = distance == searched && std::abs(field.signedDistance(p)) == searched &&
                        std::abs(field.signedDistance(p, trail)) == searched;
    if (!isSame) {
        __builtin_trap();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    zrktest::MeshFromBytes mesh(data, size);
    if (mesh.indices.empty()) {
        return 0;
    }
    if (mesh.isFitted) {
        zrk::fitVerticesToBox(static_cast<int>(mesh.vertices.size() / 3), mesh.vertices,
                              zrk::BBox<double>({0, 0, 0}, {5, 5, 5}));
    }
    const zrk::MeshWindingField field(mesh.vertices, mesh.indices);
    zrk::MeshWindingField::Trail trail;
    for (std::size_t i = 0; i + 2 < mesh.vertices.size() && i < 30; i += 3) {
        const zrk::Tensor<3, double> vertex = zrk::pointAt(mesh.vertices.data() + i);
        for (const double scale : {1.0, 0.5, 1.0000001, -3.0}) {
            expectSearched(field, scale * vertex, trail);
        }
    }
    return 0;
}

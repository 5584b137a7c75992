#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace zrk::bench {

struct GeneratedMesh {
    std::vector<double> vertices; ///< three coordinates each
    std::vector<int> triangles;   ///< three vertices each
};

/// The (2, 3) torus knot: a tube of `around` quads, each of two triangles, times `along`. Closed, within
/// (-3.5, -3.5, -1.5) to (3.5, 3.5, 1.5).
inline GeneratedMesh torusKnot(int along, int around)
{
    constexpr double kTurn = 6.283185307179586;
    constexpr double kTubeRadius = 0.4;
    GeneratedMesh mesh;
    for (int i = 0; i < along; ++i) {
        const double t = kTurn * i / along;
        const double ring = 2 + std::cos(3 * t);
        for (int j = 0; j < around; ++j) {
            const double s = kTurn * j / around;
            const double r = ring + kTubeRadius * std::cos(s);
            mesh.vertices.insert(mesh.vertices.end(), {r * std::cos(2 * t), r * std::sin(2 * t),
                                                       kTubeRadius * std::sin(s) - std::sin(3 * t)});
            const int nextI = (i + 1) % along;
            const int nextJ = (j + 1) % around;
            const int corners[4] = {i * around + j, nextI * around + j, nextI * around + nextJ,
                                    i * around + nextJ};
            mesh.triangles.insert(mesh.triangles.end(),
                                  {corners[0], corners[1], corners[2], corners[0], corners[2], corners[3]});
        }
    }
    return mesh;
}

} // namespace zrk::bench

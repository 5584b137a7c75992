#include "benchmarks/mesh/peers.h"

#if ZRK_BENCH_CGAL
#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Simple_cartesian.h>

#include <cmath>
#endif

namespace zrk::bench {

#if ZRK_BENCH_CGAL

namespace {

class CgalPeer final : public DistancePeer {
public:
    explicit CgalPeer(const zrktest::GeneratedMesh& mesh)
    {
        const auto corner = [&](std::size_t t, std::size_t k) {
            const zrktest::Point p = mesh.corner(t, k);
            return Kernel::Point_3(p[0], p[1], p[2]);
        };
        for (std::size_t t = 0; t < mesh.triangleCount(); ++t) {
            _triangles.emplace_back(corner(t, 0), corner(t, 1), corner(t, 2));
        }
        _tree.rebuild(_triangles.begin(), _triangles.end());
        _tree.accelerate_distance_queries();
    }

    void distances(std::span<const zrktest::Point> points, bool, double* out) override
    {
        for (const zrktest::Point& p : points) {
            *out++ = std::sqrt(_tree.squared_distance(Kernel::Point_3(p[0], p[1], p[2])));
        }
    }

private:
    using Kernel = CGAL::Simple_cartesian<double>;
    using Triangles = std::vector<Kernel::Triangle_3>;
    using Primitive = CGAL::AABB_triangle_primitive<Kernel, Triangles::const_iterator>;

    Triangles _triangles;
    CGAL::AABB_tree<CGAL::AABB_traits<Kernel, Primitive>> _tree;
};

} // namespace

std::unique_ptr<DistancePeer> cgalPeer(const zrktest::GeneratedMesh& mesh)
{
    return std::make_unique<CgalPeer>(mesh);
}

#else

std::unique_ptr<DistancePeer> cgalPeer(const zrktest::GeneratedMesh&) { return nullptr; }

#endif

} // namespace zrk::bench

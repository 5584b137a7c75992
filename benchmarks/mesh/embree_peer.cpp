#include "benchmarks/mesh/peers.h"

#if ZRK_BENCH_EMBREE
#include <embree3/rtcore.h>

#include <algorithm>
#include <cmath>
#include <limits>
#endif

namespace zrk::bench {

#if ZRK_BENCH_EMBREE

namespace {

using Vector = Tensor<3, float>;

/// Closest point on a triangle by the regions of its plane.
/// Source: Ericson, "Real-Time Collision Detection", 2005, 5.1.5.
float triangleDistance(const Vector& p, const Vector& a, const Vector& b, const Vector& c)
{
    const auto to = [&p](const Vector& q) { return std::sqrt(dot(p - q, p - q)); };
    const Vector ab = b - a;
    const Vector ac = c - a;
    const Vector ap = p - a;
    const float d1 = dot(ab, ap);
    const float d2 = dot(ac, ap);
    if (d1 <= 0 && d2 <= 0) {
        return to(a);
    }
    const Vector bp = p - b;
    const float d3 = dot(ab, bp);
    const float d4 = dot(ac, bp);
    if (d3 >= 0 && d4 <= d3) {
        return to(b);
    }
    const float vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) {
        return to(a + ab * (d1 / (d1 - d3)));
    }
    const Vector cp = p - c;
    const float d5 = dot(ab, cp);
    const float d6 = dot(ac, cp);
    if (d6 >= 0 && d5 <= d6) {
        return to(c);
    }
    const float vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) {
        return to(a + ac * (d2 / (d2 - d6)));
    }
    const float va = d3 * d6 - d5 * d4;
    if (va <= 0 && d4 >= d3 && d5 >= d6) {
        return to(b + (c - b) * ((d4 - d3) / ((d4 - d3) + (d5 - d6))));
    }
    const float scale = 1 / (va + vb + vc);
    return to(a + ab * (vb * scale) + ac * (vc * scale));
}

class EmbreePeer final : public DistancePeer {
public:
    explicit EmbreePeer(const zrktest::GeneratedMesh& mesh)
        : _vertices(mesh.vertices.begin(), mesh.vertices.end()),
          _indices(mesh.indices.begin(), mesh.indices.end()),
          _device(rtcNewDevice(nullptr)),
          _scene(rtcNewScene(_device))
    {
        const std::size_t vertexCount = _vertices.size() / 3;
        _vertices.push_back(0); // read beyond the end
        RTCGeometry geometry = rtcNewGeometry(_device, RTC_GEOMETRY_TYPE_TRIANGLE);
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, _vertices.data(),
                                   0, 3 * sizeof(float), vertexCount);
        rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, _indices.data(), 0,
                                   3 * sizeof(unsigned), _indices.size() / 3);
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(_scene, geometry);
        rtcReleaseGeometry(geometry);
        rtcCommitScene(_scene);
    }
    ~EmbreePeer() override
    {
        rtcReleaseScene(_scene);
        rtcReleaseDevice(_device);
    }
    EmbreePeer(const EmbreePeer&) = delete;
    EmbreePeer& operator=(const EmbreePeer&) = delete;

    void distances(std::span<const zrktest::Point> points, bool inARow, double* out) override
    {
        _nearest = kNone;
        for (const zrktest::Point& point : points) {
            const Vector p{static_cast<float>(point[0]), static_cast<float>(point[1]),
                           static_cast<float>(point[2])};
            float bound = std::numeric_limits<float>::infinity();
            if (inARow && _nearest != kNone) {
                bound = distanceTo(_nearest, p) * 1.000001f + 1e-6f;
            }
            RTCPointQuery query{p[0], p[1], p[2], 0, bound};
            RTCPointQueryContext context;
            rtcInitPointQueryContext(&context);
            rtcPointQuery(_scene, &query, &context, visit, this);
            *out++ = query.radius;
        }
    }

private:
    static constexpr unsigned kNone = ~0u;

    std::vector<float> _vertices;
    std::vector<unsigned> _indices;
    RTCDevice _device;
    RTCScene _scene;
    unsigned _nearest = kNone;

    Vector corner(unsigned triangle, unsigned k) const
    {
        const float* v = &_vertices[3 * _indices[3 * triangle + k]];
        return {v[0], v[1], v[2]};
    }
    float distanceTo(unsigned triangle, const Vector& p) const
    {
        return triangleDistance(p, corner(triangle, 0), corner(triangle, 1), corner(triangle, 2));
    }
    static bool visit(RTCPointQueryFunctionArguments* arguments)
    {
        auto& self = *static_cast<EmbreePeer*>(arguments->userPtr);
        RTCPointQuery& query = *arguments->query;
        const float d = self.distanceTo(arguments->primID, {query.x, query.y, query.z});
        if (!(d < query.radius)) {
            return false;
        }
        query.radius = d;
        self._nearest = arguments->primID;
        return true;
    }
};

} // namespace

std::unique_ptr<DistancePeer> embreePeer(const zrktest::GeneratedMesh& mesh)
{
    return std::make_unique<EmbreePeer>(mesh);
}

#else

std::unique_ptr<DistancePeer> embreePeer(const zrktest::GeneratedMesh&) { return nullptr; }

#endif

} // namespace zrk::bench

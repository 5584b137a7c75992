#include "core/surface/mesh_edits.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <tuple>
#include <utility>

namespace zrk::surface {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
/// How far a vertex moves into its fan, of the way to the middle of the vertices around it.
constexpr double kShareMoved = 1.0 / 256;

bool isNearBounds(const Point& p, const SurfaceGrid& grid)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (p[axis] < grid.lower[axis] + grid.spacing[axis] ||
            p[axis] > grid.upper[axis] - grid.spacing[axis]) {
            return true;
        }
    }
    return false;
}

} // namespace

JoinedSets::JoinedSets(std::size_t count)
{
    _parent.resize(count);
    std::iota(_parent.begin(), _parent.end(), 0u);
}

void dropUnusedVertices(SurfaceMesh& mesh)
{
    std::vector<std::uint32_t> number(mesh.vertices.size(), kNone);
    for (const auto& triangle : mesh.triangles) {
        for (const std::uint32_t v : triangle) {
            number[v] = 0;
        }
    }
    std::uint32_t kept = 0;
    for (std::size_t v = 0; v < number.size(); ++v) {
        if (number[v] != kNone) {
            mesh.vertices[kept] = mesh.vertices[v];
            number[v] = kept++;
        }
    }
    mesh.vertices.resize(kept);
    for (auto& triangle : mesh.triangles) {
        for (std::uint32_t& v : triangle) {
            v = number[v];
        }
    }
}

void separateFansAtBounds(SurfaceMesh& mesh, const SurfaceGrid& grid)
{
    /// A corner of a triangle and the vertex across the side that begins or ends there.
    struct Spoke {
        std::uint32_t vertex, across;
        std::uint32_t corner; ///< number among the corners looked at
        bool operator<(const Spoke& other) const
        {
            return std::tie(vertex, across, corner) < std::tie(other.vertex, other.across, other.corner);
        }
    };
    std::vector<std::pair<std::uint32_t, std::uint32_t>> corners; ///< triangle, corner
    std::vector<Spoke> spokes;
    for (std::uint32_t t = 0; t < mesh.triangles.size(); ++t) {
        const auto& triangle = mesh.triangles[t];
        for (std::uint32_t k = 0; k < 3; ++k) {
            if (isNearBounds(mesh.vertices[triangle[k]], grid)) {
                const auto corner = static_cast<std::uint32_t>(corners.size());
                spokes.push_back({triangle[k], triangle[(k + 1) % 3], corner});
                spokes.push_back({triangle[k], triangle[(k + 2) % 3], corner});
                corners.emplace_back(t, k);
            }
        }
    }
    std::sort(spokes.begin(), spokes.end());
    JoinedSets fans(corners.size());
    for (std::size_t s = 1; s < spokes.size(); ++s) {
        if (spokes[s].vertex == spokes[s - 1].vertex && spokes[s].across == spokes[s - 1].across) {
            fans.join(spokes[s].corner, spokes[s - 1].corner);
        }
    }
    std::vector<std::uint32_t> vertexOfFan(corners.size(), kNone);
    for (std::size_t first = 0, end = 0; first < spokes.size(); first = end) {
        const std::uint32_t vertex = spokes[first].vertex;
        std::vector<std::uint32_t> fansHere;
        for (; end < spokes.size() && spokes[end].vertex == vertex; ++end) {
            const std::uint32_t fan = fans.find(spokes[end].corner);
            if (std::find(fansHere.begin(), fansHere.end(), fan) == fansHere.end()) {
                fansHere.push_back(fan);
            }
        }
        const Point shared = mesh.vertices[vertex];
        for (std::size_t f = 0; fansHere.size() > 1 && f < fansHere.size(); ++f) {
            Point sum{};
            double count = 0;
            for (std::size_t s = first; s < end; ++s) {
                if (fans.find(spokes[s].corner) == fansHere[f]) {
                    sum = sum + mesh.vertices[spokes[s].across];
                    ++count;
                }
            }
            const Point moved = shared + (sum * (1 / count) - shared) * kShareMoved;
            if (f > 0) {
                vertexOfFan[fansHere[f]] = static_cast<std::uint32_t>(mesh.vertices.size());
                mesh.vertices.push_back(moved);
            } else {
                mesh.vertices[vertex] = moved;
            }
        }
    }
    for (std::uint32_t c = 0; c < corners.size(); ++c) {
        const std::uint32_t vertex = vertexOfFan[fans.find(c)];
        if (vertex != kNone) {
            mesh.triangles[corners[c].first][corners[c].second] = vertex;
        }
    }
}

} // namespace zrk::surface

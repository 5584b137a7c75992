#pragma once

#include "core/values/tensor.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <unordered_map>
#include <vector>

/// Meshes for tests and benchmarks.
namespace zrktest {

using Point = zrk::Tensor<3, double>;

struct GeneratedMesh {
    std::vector<double> vertices;
    std::vector<std::int32_t> indices;

    std::int32_t addVertex(const Point& p)
    {
        vertices.insert(vertices.end(), p.begin(), p.end());
        return static_cast<std::int32_t>(vertices.size() / 3) - 1;
    }
    void addTriangle(std::int32_t a, std::int32_t b, std::int32_t c)
    {
        indices.insert(indices.end(), {a, b, c});
    }
    Point corner(std::size_t triangle, std::size_t k) const
    {
        const auto v = 3 * static_cast<std::size_t>(indices[3 * triangle + k]);
        return {vertices[v], vertices[v + 1], vertices[v + 2]};
    }
    std::size_t triangleCount() const { return indices.size() / 3; }

    /// Stretches the mesh, axis by axis, into the box from 0 to 5.
    void fit()
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double low = vertices[axis];
            double high = low;
            for (std::size_t i = axis; i < vertices.size(); i += 3) {
                low = std::min(low, vertices[i]);
                high = std::max(high, vertices[i]);
            }
            for (std::size_t i = axis; i < vertices.size(); i += 3) {
                vertices[i] = (vertices[i] - low) * (5.0 / (high - low));
            }
        }
    }
};

/// A cube from lower to upper on every axis, of twelve triangles that face outwards.
inline GeneratedMesh cube(double lower, double upper)
{
    GeneratedMesh mesh;
    for (int corner = 0; corner < 8; ++corner) {
        mesh.addVertex({corner & 1 ? upper : lower, corner & 2 ? upper : lower, corner & 4 ? upper : lower});
    }
    for (const auto& [a, b, c, d] : std::vector<std::array<int, 4>>{
             {0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}}) {
        mesh.addTriangle(a, b, c);
        mesh.addTriangle(a, c, d);
    }
    return mesh;
}

/// A closed tube around the (2, 3) torus knot: 2 * along * around triangles.
inline GeneratedMesh torusKnot(int along, int around)
{
    constexpr double kTubeRadius = 0.5;
    const auto center = [](double t) {
        const double r = 2 + std::cos(3 * t);
        return Point{r * std::cos(2 * t), r * std::sin(2 * t), std::sin(3 * t)};
    };
    GeneratedMesh mesh;
    for (int i = 0; i < along; ++i) {
        const double t = 2 * std::numbers::pi * i / along;
        const Point tangent = normalized(center(t + 1e-4) - center(t - 1e-4));
        const Point normal = normalized(Point{tangent[1], -tangent[0], 0.0});
        const Point binormal = cross(tangent, normal);
        for (int j = 0; j < around; ++j) {
            const double s = 2 * std::numbers::pi * j / around;
            mesh.addVertex(center(t) + kTubeRadius * (std::cos(s) * normal + std::sin(s) * binormal));
        }
    }
    for (int i = 0; i < along; ++i) {
        for (int j = 0; j < around; ++j) {
            const int next = (i + 1) % along * around;
            const int beside = (j + 1) % around;
            mesh.addTriangle(i * around + j, next + beside, next + j);
            mesh.addTriangle(i * around + j, i * around + beside, next + beside);
        }
    }
    mesh.fit();
    return mesh;
}

/// A sphere of 20 * n * n triangles.
inline GeneratedMesh icosphere(int n)
{
    const double t = std::numbers::phi;
    const Point corners[12] = {{-1, t, 0},  {1, t, 0},  {-1, -t, 0}, {1, -t, 0}, {0, -1, t},  {0, 1, t},
                               {0, -1, -t}, {0, 1, -t}, {t, 0, -1},  {t, 0, 1},  {-t, 0, -1}, {-t, 0, 1}};
    const int faces[20][3] = {{0, 11, 5}, {0, 5, 1},  {0, 1, 7},   {0, 7, 10}, {0, 10, 11},
                              {1, 5, 9},  {5, 11, 4}, {11, 10, 2}, {10, 7, 6}, {7, 1, 8},
                              {3, 9, 4},  {3, 4, 2},  {3, 2, 6},   {3, 6, 8},  {3, 8, 9},
                              {4, 9, 5},  {2, 4, 11}, {6, 2, 10},  {8, 6, 7},  {9, 8, 1}};
    GeneratedMesh mesh;
    // Vertices on the edges of the icosahedron belong to two faces or more.
    std::unordered_map<std::int64_t, std::int32_t> known;
    const auto vertex = [&](const int(&face)[3], int i, int j) {
        const Point p = normalized((n - i - j) * 1.0 * corners[face[0]] + i * 1.0 * corners[face[1]] +
                                   j * 1.0 * corners[face[2]]);
        std::int64_t key = 0;
        for (const double c : p) {
            key = key * 2097152 + std::lround((c + 1) * 1e6);
        }
        const auto [place, isNew] = known.try_emplace(key, 0);
        if (isNew) {
            place->second = mesh.addVertex({2.5 + 2.5 * p[0], 2.5 + 2.5 * p[1], 2.5 + 2.5 * p[2]});
        }
        return place->second;
    };
    for (const auto& face : faces) {
        for (int i = 0; i < n; ++i) {
            for (int j = 0; i + j < n; ++j) {
                mesh.addTriangle(vertex(face, i, j), vertex(face, i + 1, j), vertex(face, i, j + 1));
                if (i + j + 1 < n) {
                    mesh.addTriangle(vertex(face, i + 1, j), vertex(face, i + 1, j + 1),
                                     vertex(face, i, j + 1));
                }
            }
        }
    }
    return mesh;
}

} // namespace zrktest

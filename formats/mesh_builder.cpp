#include "formats/mesh_builder.h"

#include "core/values/stop.h"
#include "formats/limits.h"
#include "formats/polygons.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

namespace zrk {

bool MeshBuilder::addVertex(const Tensor<3, double>& position)
{
    const bool isFinite =
        std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]);
    if (!isFinite || _mesh.vertices.size() >= kMaxMeshNumbers / 3) {
        return false;
    }
    _mesh.vertices.push_back(position);
    return true;
}

std::uint32_t MeshBuilder::findOrAddVertex(const Tensor<3, double>& position)
{
    if (2 * (_mesh.vertices.size() + 1) > _slots.size()) {
        growSlots();
    }
    // A zero of either sign is the same coordinate.
    const Tensor<3, double> p{position[0] + 0.0, position[1] + 0.0, position[2] + 0.0};
    const std::size_t slot = slotOf(p);
    if (_slots[slot] == kNone && addVertex(p)) {
        _slots[slot] = static_cast<std::uint32_t>(_mesh.vertices.size() - 1);
    }
    return _slots[slot];
}

void MeshBuilder::growSlots()
{
    constexpr std::size_t kLeastSlots = 64;
    _slots.assign(std::max(kLeastSlots, 2 * _slots.size()), kNone);
    for (std::size_t i = 0; i < _mesh.vertices.size(); ++i) {
        _slots[slotOf(_mesh.vertices[i])] = static_cast<std::uint32_t>(i);
    }
}

/// Where the vertex stands, or would. There is always a slot that is free.
std::size_t MeshBuilder::slotOf(const Tensor<3, double>& position) const
{
    std::uint64_t hash = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        hash = (hash ^ std::bit_cast<std::uint64_t>(position[axis])) * 0x9e3779b97f4a7c15u;
        hash ^= hash >> 32;
    }
    std::size_t slot = hash & (_slots.size() - 1);
    const auto isElse = [&](std::uint32_t number) {
        const Tensor<3, double>& other = _mesh.vertices[number];
        return other[0] != position[0] || other[1] != position[1] || other[2] != position[2];
    };
    while (_slots[slot] != kNone && isElse(_slots[slot])) {
        slot = (slot + 1) & (_slots.size() - 1);
    }
    return slot;
}

bool MeshBuilder::addCorner(std::int64_t vertex)
{
    if (_mesh.triangles.size() >= kMaxMeshNumbers / 3) {
        return false;
    }
    _lowest = std::min(_lowest, vertex);
    _highest = std::max(_highest, vertex);
    const auto corner = static_cast<std::uint32_t>(vertex);
    if (++_cornersInFace == 1) {
        _first = corner;
    } else if (_cornersInFace > 2) {
        _mesh.triangles.push_back({_first, _previous, corner});
    }
    _previous = corner;
    return true;
}

void MeshBuilder::endFace()
{
    if (_cornersInFace > 3) {
        const std::size_t triangles = _cornersInFace - 2;
        _polygons.push_back({static_cast<std::uint32_t>(_mesh.triangles.size() - triangles),
                             static_cast<std::uint32_t>(triangles)});
    }
    _incompleteFaces += _cornersInFace == 1 || _cornersInFace == 2;
    _cornersInFace = 0;
}

Result<void> MeshBuilder::splitPolygons(const std::string& place)
{
    std::uint64_t degenerate = 0;
    PolygonSplitter splitter;
    StopLookout lookout;
    std::vector<std::uint32_t> corners;
    std::vector<Tensor<3, double>> positions;
    std::vector<PolygonSplitter::Triangle> cut;
    for (const Polygon& polygon : _polygons) {
        lookout.step();
        const auto triangles = std::span(_mesh.triangles).subspan(polygon.firstTriangle, polygon.triangles);
        corners = {triangles[0][0], triangles[0][1]};
        for (const auto& triangle : triangles) {
            corners.push_back(triangle[2]);
        }
        positions.clear();
        for (const std::uint32_t corner : corners) {
            positions.push_back(_mesh.vertices[corner]);
        }
        cut.resize(triangles.size());
        const PolygonSplitter::Outcome outcome = splitter.split(positions, cut);
        if (outcome == PolygonSplitter::Outcome::TooLarge) {
            return refused({place, fmt::format("a face of {} corners that isn't convex", corners.size()),
                            fmt::format("at most {} corners", kMaxPolygonCorners),
                            "export the mesh anew, as triangles"});
        }
        degenerate += outcome == PolygonSplitter::Outcome::Degenerate;
        std::transform(cut.begin(), cut.end(), triangles.begin(), [&](const auto& triangle) {
            return std::array{corners[triangle[0]], corners[triangle[1]], corners[triangle[2]]};
        });
    }
    if (degenerate > 0) {
        _mesh.warnings.push_back(
            {place,
             fmt::format("{} of {} faces of four or more corners without an area or with an outline "
                         "that meets itself",
                         degenerate, _polygons.size()),
             "none such", "export the mesh as triangles; these faces are split somehow"});
    }
    return {};
}

Result<FileMesh> MeshBuilder::mesh(const std::string& place)
{
    const auto count = static_cast<std::int64_t>(_mesh.vertices.size());
    if (_lowest < 0 || _highest >= count) {
        return refused(
            {place,
             fmt::format("a face with the vertex {}, counted from 0", _lowest < 0 ? _lowest : _highest),
             fmt::format("0 to {}, the vertices of the file", count - 1), "export the mesh anew"});
    }
    if (_incompleteFaces > 0) {
        _mesh.warnings.push_back({place,
                                  fmt::format("{} {} of one or two corners", _incompleteFaces,
                                              _incompleteFaces == 1 ? "face" : "faces"),
                                  "three or more", "export the mesh anew; these faces are left out"});
    }
    return splitPolygons(place).map([&] { return std::move(_mesh); });
}

} // namespace zrk

#include "formats/mesh_builder.h"

#include "formats/limits.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

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

Result<SurfaceMesh> MeshBuilder::mesh(const std::string& place)
{
    const auto count = static_cast<std::int64_t>(_mesh.vertices.size());
    if (_lowest < 0 || _highest >= count) {
        return refused(
            {place,
             fmt::format("a face with the vertex {}, counted from 0", _lowest < 0 ? _lowest : _highest),
             fmt::format("0 to {}, the vertices of the file", count - 1), "export the mesh anew"});
    }
    return std::move(_mesh);
}

} // namespace zrk

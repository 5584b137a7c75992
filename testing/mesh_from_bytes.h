#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zrktest {

/// A mesh made of any bytes, so that no text has to be right before there are triangles.
struct MeshFromBytes {
    std::vector<double> vertices;      ///< three coordinates each
    std::vector<std::int32_t> indices; ///< each in range, in threes
    bool isFitted = false;             ///< the bytes ask for the mesh to be stretched to a box

    /// The first byte tells what the coordinates are: whole numbers of a byte, on which meshes touch and
    /// fold, or doubles with any bits. The second is the number of vertices; those that the bytes
    /// don't reach are left out. The bytes after them are corners.
    MeshFromBytes(const std::uint8_t* bytes, std::size_t count)
    {
        if (count < 2) {
            return;
        }
        isFitted = bytes[0] % 2 == 0;
        const bool isWhole = bytes[0] / 2 % 4 != 0;
        const std::size_t size = isWhole ? 1 : sizeof(double);
        std::size_t place = 2;
        for (std::size_t left = bytes[1] % 64u; left > 0 && count - place >= 3 * size; --left) {
            for (int axis = 0; axis < 3; ++axis) {
                double coordinate = 0;
                if (isWhole) {
                    coordinate = std::bit_cast<std::int8_t>(bytes[place]);
                } else {
                    std::memcpy(&coordinate, bytes + place, size);
                }
                vertices.push_back(coordinate);
                place += size;
            }
        }
        const std::size_t vertexCount = vertices.size() / 3;
        for (; vertexCount > 0 && count - place >= 3; place += 3) {
            for (std::size_t corner = 0; corner < 3; ++corner) {
                indices.push_back(static_cast<std::int32_t>(bytes[place + corner] % vertexCount));
            }
        }
    }
};

} // namespace zrktest

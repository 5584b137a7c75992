#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

/// What readers take at most. Foreign files can claim any size; these are far beyond what the work needs,
/// and keep memory within what a machine may have.
namespace zrk {

/// @{ A picture that is read: longest side, pixels, the file's bytes, and what one of its chunks (a colour
/// profile, a text) may unfold to.
inline constexpr std::uint32_t kMaxPngSide = 1u << 17;
inline constexpr std::uint64_t kMaxPngPixels = 1u << 28;
inline constexpr std::size_t kMaxPngFileBytes = std::size_t{1} << 31;
inline constexpr std::size_t kMaxPngChunkBytes = std::size_t{16} << 20;
/// @}

/// Voxels of a volume that is read, from an array or from slices.
inline constexpr std::uint64_t kMaxVoxels = std::uint64_t{1} << 31;
/// Bytes of an array's file.
inline constexpr std::size_t kMaxNpyFileBytes = std::size_t{1} << 35;

/// Bytes of a mesh's file that is read whole.
inline constexpr std::size_t kMaxMeshFileBytes = std::size_t{1} << 36;

/// Bytes of a line of text that is given whole.
inline constexpr std::size_t kMaxLineBytes = std::size_t{64} << 20;
/// Coordinates of a mesh's vertices, and corners of its faces.
inline constexpr std::size_t kMaxMeshNumbers = std::numeric_limits<int>::max();
/// Positions of a list.
inline constexpr std::size_t kMaxPoints = std::numeric_limits<std::int32_t>::max();

/// @{ A graph document: bytes, arrays and objects within each other, and members of its groups, counted
/// through groups within groups.
inline constexpr std::size_t kMaxDocumentBytes = std::size_t{256} << 20;
inline constexpr std::size_t kMaxDocumentNesting = 200;
inline constexpr std::size_t kMaxGroupMembers = 1'000'000;
/// @}

} // namespace zrk

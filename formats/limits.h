#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

/// What readers take at most. Foreign files can claim any size; these are far beyond what the work needs,
/// and keep memory within what a machine may have.
namespace zrk {

/// @{ A picture that is read, PNG, JPEG or TIFF: longest side, pixels, the file's bytes, and what one of the
/// chunks of a PNG (a colour profile, a text) may unfold to.
inline constexpr std::uint32_t kMaxPngSide = 1u << 17;
inline constexpr std::uint64_t kMaxPngPixels = 1u << 28;
inline constexpr std::size_t kMaxPngFileBytes = std::size_t{1} << 31;
inline constexpr std::size_t kMaxPngChunkBytes = std::size_t{16} << 20;
/// @}

/// Voxels of a volume that is read, from an array or from slices.
inline constexpr std::uint64_t kMaxVoxels = std::uint64_t{1} << 31;
/// Bytes of an array's file.
inline constexpr std::size_t kMaxNpyFileBytes = std::size_t{1} << 35;

/// Bytes of a mesh's file.
inline constexpr std::size_t kMaxMeshFileBytes = std::size_t{1} << 36;

/// Bytes of a line of text that is given whole.
inline constexpr std::size_t kMaxLineBytes = std::size_t{64} << 20;
/// Coordinates of a mesh's vertices, and corners of its faces.
inline constexpr std::size_t kMaxMeshNumbers = std::numeric_limits<int>::max();
/// Corners of a face that isn't convex.
inline constexpr std::size_t kMaxPolygonCorners = 10'000;
/// @{ A 3MF package: what one of its files may unfold to, in bytes and in times its packed size, the files,
/// and the meshes of all its items with the components of components; elements within each other in its XML.
inline constexpr std::uint64_t kMaxThreeMfBytes = std::uint64_t{1} << 33;
inline constexpr std::uint64_t kMaxThreeMfRatio = 256;
inline constexpr std::size_t kMaxThreeMfFiles = 10'000;
inline constexpr std::uint64_t kMaxThreeMfMeshes = 1'000'000;
inline constexpr std::size_t kMaxXmlDepth = 64;
/// @}
/// Positions of a list.
inline constexpr std::size_t kMaxPoints = std::numeric_limits<std::int32_t>::max();

/// @{ A graph document: bytes, arrays and objects within each other, and members of its groups, counted
/// through groups within groups.
inline constexpr std::size_t kMaxDocumentBytes = std::size_t{256} << 20;
inline constexpr std::size_t kMaxDocumentNesting = 200;
inline constexpr std::size_t kMaxGroupMembers = 1'000'000;
/// @}

} // namespace zrk

#pragma once

/// The headings that lists show types under: the categories of components' texts.
namespace zrkmodel::category {

inline constexpr const char* kPrimitives = "Primitives";
inline constexpr const char* kCoordinates = "Coordinates";
inline constexpr const char* kTransforms = "Transforms";
inline constexpr const char* kVectors = "Vectors and colours";
inline constexpr const char* kPatterns = "Patterns";
inline constexpr const char* kOperators = "Operators";
inline constexpr const char* kMesh = "Mesh and lattice";
inline constexpr const char* kImages = "Images";

} // namespace zrkmodel::category

#pragma once

#include "core/values/bbox.h"
#include "core/values/fault.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace zrk {

/// What a Wavefront OBJ file says of positions and faces.
struct WavefrontObj {
    int vertexCount = 0;
    std::vector<double> vertices; ///< three a vertex
    int triangleCount = 0;        ///< a third of the indices, rounded down
    std::vector<int> indices;     ///< of vertices from 0, as they stand in the file: any number

    /// Why the file was not read, or not to its end: what was read so far counts nevertheless.
    std::optional<Fault> fault;
    /// The line that ended the reading before the end of the file.
    std::optional<std::string> offendingLine;
    /// What is wrong with the indices when one of a triangle names no vertex. An importer refuses such faces.
    /// One or two indices at the end that make no whole triangle take no part in anything.
    std::optional<Fault> indexFault;
    /// @{ Faces of four or more corners, and of one or two, and the line of the first of them: such faces
    /// move the triples of the faces behind them.
    std::int64_t polygonCount = 0;
    std::int64_t shortFaceCount = 0;
    std::int64_t firstPolygonLine = 0;
    /// @}
};

/// Reads the vertices ("v") and faces ("f") of a text OBJ file and nothing else of it.
///
/// The limits are part of the format as this library takes it:
/// - Faces aren't split: a face of four corners gives four indices, and the triples run across faces.
/// - Negative indices aren't resolved: -1 gives -2.
/// - A coordinate that is missing or isn't a number is 0, and so are those after it in the line. A fourth
///   value is ignored.
/// - A corner is what stands before its first '/': the index minus 1; what isn't a number gives -1.
/// - Lines that begin with vt, vn, o, g, s, mtllib, usemtl or # are skipped. Any other first word ends the
///   reading; what was read so far stays.
///
/// Numbers are taken as `std::istream` extracts them in the C locale: "+1", "1.5.5" (two numbers), "1e"
/// (none) and "1e999" (the largest double, and the end of the numbers) included; "inf", "nan" and hexadecimal
/// digits are none.
///
/// A line of more than 64 MiB ends the reading as an unknown word does, unless it is one of those skipped; so
/// does a vertex or index beyond 2^31 - 1 numbers. A file that can't be opened gives empty arrays.
WavefrontObj parseWavefrontObj(const std::filesystem::path& path);

/// The same, and the line that ends the reading is complained of on the standard output:
///
///     Error: does not appear to be a valid Wavefront OBJ file!
///     (Offending line: foo bar)
WavefrontObj readWavefrontObj(const std::filesystem::path& path);

/// The same into arrays and counts of the caller's, whose former content is lost.
void readWavefrontObj(const std::string& path, int& vertexCount, std::vector<double>& vertices,
                      int& triangleCount, std::vector<int>& indices);

/// Stretches the vertices, axis by axis, from the box of the mesh to the given one, in place.
///
/// The origin always counts as part of the mesh. An axis on which the mesh then has no extent gives NaN.
/// @param vertices  three coordinates a vertex.
/// @return false for an empty array.
bool fitVerticesToBox(int vertexCount, std::vector<double>& vertices, const BBox<double>& box);

/// Scales the vertices by one factor, so that their own box is as large as the given one allows, and moves
/// the middle of their box to that of the given one, in place. Vertices in one point are only moved.
/// @param vertices  three finite coordinates a vertex.
/// @return false for an empty array.
bool fitVerticesUniformly(std::vector<double>& vertices, const BBox<double>& box);

} // namespace zrk

#include "apps/cli/commands.h"
#include "core/picture/picture.h"
#include "formats/limits.h"
#include "host/graph_document.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <memory>

namespace zrkcli {

namespace {

struct Limit {
    const char* name;
    std::uint64_t most;
    const char* unit;
    const char* of;
};

constexpr std::uint64_t kMaxSamples = std::numeric_limits<std::int32_t>::max();

constexpr Limit kLimits[] = {
    {"document-bytes", zrk::kMaxDocumentBytes, "bytes", "a graph document"},
    {"document-nesting", zrk::kMaxDocumentNesting, "levels", "arrays and objects within each other"},
    {"node-id", zrkmodel::kMaxNodeId, "", "a node's id"},
    {"group-members", zrk::kMaxGroupMembers, "members", "all groups, counted through groups within groups"},
    {"samples", kMaxSamples, "samples", "a raster, or a grid that isn't written as it is sampled"},
    {"points", zrk::kMaxPoints, "positions", "the list after --points"},
    {"line-bytes", zrk::kMaxLineBytes, "bytes", "a line of a text file"},
    {"png-side", zrk::kMaxPngSide, "pixels", "a side of a picture that is read, PNG, JPEG or TIFF"},
    {"png-pixels", zrk::kMaxPngPixels, "pixels", "a picture that is read"},
    {"png-bytes", zrk::kMaxPngFileBytes, "bytes", "a picture's file"},
    {"png-chunk-bytes", zrk::kMaxPngChunkBytes, "bytes", "a colour profile or text in a picture"},
    {"voxels", zrk::kMaxVoxels, "voxels", "a volume that is read"},
    {"npy-bytes", zrk::kMaxNpyFileBytes, "bytes", "the file of an array"},
    {"mesh-bytes", zrk::kMaxMeshFileBytes, "bytes", "the file of a mesh"},
    {"mesh-numbers", zrk::kMaxMeshNumbers, "numbers", "a mesh's coordinates, and the corners of its faces"},
    {"polygon-corners", zrk::kMaxPolygonCorners, "corners", "a face that isn't convex and is split"},
    {"3mf-bytes", zrk::kMaxThreeMfBytes, "bytes", "a file in a 3MF package when it is unfolded"},
    {"3mf-ratio", zrk::kMaxThreeMfRatio, "", "the same, by its size in the package"},
    {"3mf-files", zrk::kMaxThreeMfFiles, "files", "a 3MF package"},
    {"3mf-objects", zrk::kMaxThreeMfMeshes, "objects",
     "a 3MF package, counted through components of components"},
    {"xml-depth", zrk::kMaxXmlDepth, "levels", "elements of a 3MF package within each other"},
    {"surface-vertices", std::numeric_limits<std::uint32_t>::max(), "vertices", "a surface"},
    {"picture-side", zrk::kMaxPictureSide, "pixels", "a side of a picture that is drawn"},
    {"picture-pixels", zrk::kMaxPicturePixels, "pixels", "a shaded picture"},
};

void printLimits()
{
    for (const Limit& limit : kLimits) {
        fmt::print("{:<18}{:>12} {:<10}{}\n", limit.name, limit.most, limit.unit, limit.of);
    }
}

void printLimitsJson()
{
    auto all = nlohmann::ordered_json::array();
    for (const Limit& limit : kLimits) {
        all.push_back({{"name", limit.name}, {"most", limit.most}, {"unit", limit.unit}, {"of", limit.of}});
    }
    fmt::print("{}\n", all.dump(2));
}

} // namespace

void addLimitsCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("limits", "list how large files, documents and results may be");
    auto json = std::make_shared<bool>(false);
    command->add_flag("--json", *json, "as JSON");
    command->callback(
        [&work = program.work, json] { work = [json] { *json ? printLimitsJson() : printLimits(); }; });
}

} // namespace zrkcli

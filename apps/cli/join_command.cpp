#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/shard_options.h"
#include "core/engine/progress.h"
#include "core/values/fault.h"
#include "formats/part.h"
#include "formats/surface_tiles.h"
#include "formats/volume_tiles.h"
#include "host/surface_file.h"

#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace zrkcli {

namespace {

struct JoinOptions {
    std::string index;
    std::string file;
    bool quiet = false;
};

std::string shownIndex(const JoinOptions& options)
{
    return zrk::printable(options.file.empty() ? options.index : options.file);
}

/// Refuses to write over what is to be joined.
void checkTarget(const zrk::TileSet& tiles, const std::string& file)
{
    for (std::int32_t tile = 0; tile < tiles.count(); ++tile) {
        std::error_code isMissing;
        if (std::filesystem::equivalent(file, tiles.fileOf(tile), isMissing)) {
            throw zrk::FaultError({"-o", zrk::quotation(file) + ", one of the tiles", "another file to write",
                                   "give -o another name"});
        }
    }
}

void checkAll(const zrk::TileSet& tiles, bool quiet)
{
    withProgress("checking", quiet,
                 [&](ProgressBar& bar) { zrk::valueOrThrow(zrk::checkTiles(tiles, zrk::followedBy(&bar))); });
}

void joinVolume(const JoinOptions& options)
{
    if (!options.file.empty() &&
        zrk::valueOrThrow(zrk::volumeFormat(options.file)) == zrk::VolumeFormat::Vdb) {
        throw zrk::FaultError({"-o", zrk::quotation(options.file), "a .npy, .nrrd or .vti file",
                               "a .vdb file is made by `zrk sample`, in memory"});
    }
    const zrk::VolumeTiles tiles = zrk::valueOrThrow(zrk::VolumeTiles::find(options.index));
    checkAll(tiles, options.quiet);
    if (options.file.empty()) {
        zrk::valueOrThrow(zrk::writeIndex(tiles));
    } else {
        checkTarget(tiles, options.file);
        withProgress("joining", options.quiet, [&](ProgressBar& bar) {
            zrk::valueOrThrow(zrk::joinTiles(tiles, options.file, zrk::followedBy(&bar)));
        });
    }
    if (!options.quiet) {
        const auto& n = tiles.volume.dims;
        tell("{}: {} x {} x {} nodes in {} tiles\n", shownIndex(options), n[0], n[1], n[2], tiles.count());
    }
}

void joinSurface(const JoinOptions& options)
{
    if (options.file.empty()) {
        const zrk::SurfaceTiles tiles = zrk::valueOrThrow(zrk::SurfaceTiles::find(options.index));
        checkAll(tiles, options.quiet);
        if (!options.quiet) {
            tell("{}: {} tiles, all complete\n", shownIndex(options), tiles.count());
        }
        return;
    }
    zrk::valueOrThrow(zrk::partFormat(options.file));
    const zrk::SurfaceTiles tiles = zrk::valueOrThrow(zrk::SurfaceTiles::find(options.index));
    checkTarget(tiles, options.file);
    const auto runStage = [&](const char* title, const auto& stage) {
        withProgress(title, options.quiet, [&](ProgressBar& bar) { stage(bar); });
    };
    const zrkmodel::WrittenSurface written =
        zrk::valueOrThrow(zrkmodel::joinSurface(tiles, options.file, runStage));
    if (!options.quiet) {
        tell("{}: {} triangles, {} vertices from {} tiles\n", shownIndex(options), written.triangles,
             written.vertices, tiles.count());
    }
}

void join(const JoinOptions& options)
{
    limitMemory(std::nullopt);
    const bool isSurface = options.index.ends_with(kSurfaceIndex);
    if (!isSurface && !options.index.ends_with(".pvti")) {
        throw zrk::FaultError(
            {"INDEX", zrk::quotation(options.index),
             fmt::format("a file name ending in .pvti or {}", kSurfaceIndex),
             "name the index as `zrk sample --shard` or `zrk surface --shard` was told it"});
    }
    (isSurface ? joinSurface : joinVolume)(options);
}

} // namespace

void addJoinCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("join", "check tiles of a volume or a surface, put them together");
    auto options = std::make_shared<JoinOptions>();
    command
        ->add_option("INDEX", options->index,
                     fmt::format("what --shard K/N -o was told: .pvti of `zrk sample`, {} of `zrk surface`",
                                 kSurfaceIndex))
        ->required();
    command->add_option(
        "-o,--output", options->file,
        "one file to write: of a volume, instead of the index, .npy, .nrrd or .vti; of a surface "
        ".3mf, .stl, .ply or .obj. A surface is only checked without it");
    command->add_flag("--quiet", options->quiet, "no progress, no summary");
    command->callback([&work = program.work, options] { work = [options] { join(*options); }; });
}

} // namespace zrkcli

#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/progress_bar.h"
#include "core/engine/progress.h"
#include "core/values/fault.h"
#include "formats/volume_tiles.h"

#include <memory>
#include <string>

namespace zrkcli {

namespace {

struct JoinOptions {
    std::string index;
    std::string file;
    bool quiet = false;
};

void join(const JoinOptions& options)
{
    if (!options.index.ends_with(".pvti")) {
        throw zrk::FaultError({"INDEX", zrk::quotation(options.index), "a file name ending in .pvti",
                               "name the index as `zrk sample --shard` was told it"});
    }
    if (!options.file.empty() &&
        zrk::valueOrThrow(zrk::volumeFormat(options.file)) == zrk::VolumeFormat::Vdb) {
        throw zrk::FaultError({"-o", zrk::quotation(options.file), "a .npy, .nrrd or .vti file",
                               "a .vdb file is made by `zrk sample`, in memory"});
    }
    const zrk::VolumeTiles tiles = zrk::valueOrThrow(zrk::VolumeTiles::find(options.index));
    zrk::valueOrThrow(zrk::checkTiles(tiles));
    if (options.file.empty()) {
        zrk::valueOrThrow(zrk::writeIndex(tiles));
    } else {
        withProgress("joining", options.quiet, [&](ProgressBar& bar) {
            zrk::valueOrThrow(zrk::joinTiles(tiles, options.file, zrk::followedBy(&bar)));
        });
    }
    if (!options.quiet) {
        const auto& n = tiles.volume.dims;
        tell("{}: {} x {} x {} nodes in {} tiles\n",
             zrk::printable(options.file.empty() ? options.index : options.file), n[0], n[1], n[2],
             tiles.count());
    }
}

} // namespace

void addJoinCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("join", "check the tiles of a volume, write their index or one file");
    auto options = std::make_shared<JoinOptions>();
    command->add_option("INDEX", options->index, "what `zrk sample --shard K/N -o` was told: .pvti")
        ->required();
    command->add_option("-o,--output", options->file,
                        "one volume to write instead of the index: .npy, .nrrd or .vti");
    command->add_flag("--quiet", options->quiet, "no progress, no summary");
    command->callback([&work = program.work, options] { work = [options] { join(*options); }; });
}

} // namespace zrkcli

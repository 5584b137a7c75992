#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "core/engine/progress.h"
#include "core/values/stop.h"
#include "formats/file_name.h"
#include "formats/npy.h"
#include "formats/part.h"
#include "formats/points.h"
#include "formats/slices.h"
#include "formats/vdb.h"
#include "formats/volume.h"
#include "host/free_memory.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zrkcli {

namespace {

struct ConvertOptions {
    std::string from;
    std::string to;
    std::optional<std::string> bounds;
    std::string type = "float64";
    std::optional<std::string> unit;
    bool quiet = false;
};

using Channels = std::vector<zrk::ImageChannel<3>>;

/// A folder of slices, the pages of a TIFF file, or an array.
Channels readVolume(const std::string& path, zrk::ProgressMonitor* monitor)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return zrk::valueOrThrow(zrk::readStackFolder(path, monitor));
    }
    const std::string extension = zrk::extensionOf(path);
    if (extension == ".tif" || extension == ".tiff") {
        return zrk::valueOrThrow(zrk::readStackFile(path, monitor));
    }
    if (extension != ".npy") {
        throw zrk::FaultError({"IN", zrk::quotation(path), "a .npy array, a .tif file or a folder of slices",
                               "other formats are written and not read"});
    }
    Channels channels;
    channels.push_back(zrk::valueOrThrow(zrk::readNpyFile(path)));
    return channels;
}

const std::int32_t* dimsOf(const zrk::ImageChannel<3>& channel)
{
    return std::visit([](const auto& raster) { return &raster.dims[0]; }, channel);
}

/// The numbers of all channels as the file has them, those of a voxel side by side. Channels are given up one
/// by one.
std::vector<double> numbersOf(Channels& channels)
{
    const std::int32_t* dims = dimsOf(channels.front());
    const double count =
        static_cast<double>(dims[0]) * dims[1] * dims[2] * static_cast<double>(channels.size());
    const double bytes = count * sizeof(double);
    if (const auto free = zrkmodel::memoryToUse(); free && bytes > *free) {
        constexpr double kGiB = 1024.0 * 1024.0 * 1024.0;
        throw zrk::FaultError({"IN", fmt::format("a volume that needs {:.1f} GiB", bytes / kGiB),
                               fmt::format("at most the {:.1f} GiB of memory that are free", *free / kGiB),
                               "take a smaller volume", zrk::FaultKind::FailedWork});
    }
    std::vector<double> numbers(static_cast<std::size_t>(count));
    for (std::size_t c = 0; c < channels.size(); ++c) {
        std::visit(
            [&](const auto& raster) {
                zrk::StopLookout lookout;
                for (std::size_t i = 0; i < raster.data.size(); ++i) {
                    lookout.step();
                    numbers[i * channels.size() + c] = static_cast<double>(raster.data[i]);
                }
            },
            channels[c]);
        channels[c] = {};
    }
    return numbers;
}

/// The corners after --bounds; without them nodes are 1 apart.
zrk::BBox<double> boundsOf(const ConvertOptions& options, const std::int32_t* dims)
{
    if (!options.bounds) {
        return {{0, 0, 0},
                {static_cast<double>(dims[0] - 1), static_cast<double>(dims[1] - 1),
                 static_cast<double>(dims[2] - 1)}};
    }
    const auto n = zrk::parseNumbers(*options.bounds, 6);
    const auto hasExtent = [&](std::size_t axis) {
        const double extent = (*n)[axis + 3] - (*n)[axis];
        return std::isfinite(extent) && (extent > 0 || dims[axis] == 1);
    };
    if (!n || !hasExtent(0) || !hasExtent(1) || !hasExtent(2)) {
        throw zrk::FaultError({"--bounds", zrk::quotation(*options.bounds),
                               "six finite numbers, the lower corner first",
                               "write the two corners as x0,y0,z0,x1,y1,z1"});
    }
    const std::vector<double>& c = *n;
    return {{c[0], c[1], c[2]}, {c[3], c[4], c[5]}};
}

void convert(const ConvertOptions& options)
{
    const zrk::NumberType type = zrk::valueOrThrow(zrk::numberType(options.type));
    zrk::valueOrThrow(zrk::checkNumberType(options.to, type)); // throws before any work is done
    if (options.unit) {
        zrk::valueOrThrow(zrk::lengthUnit("--unit", *options.unit));
    }
    Channels channels = withProgress("reading", options.quiet,
                                     [&](ProgressBar& bar) { return readVolume(options.from, &bar); });
    const std::size_t components = channels.size();
    if (components != 1 && components != 3 && components != 4) {
        throw zrk::FaultError({options.from, fmt::format("{} channels", components),
                               "1 channel, 3 of a vector or 4 of a colour",
                               "take the channels apart, or add an alpha channel"});
    }
    const std::vector<std::int32_t> dims(dimsOf(channels.front()), dimsOf(channels.front()) + 3);
    const zrk::BBox<double> bounds = boundsOf(options, dims.data());
    const std::vector<double> numbers = numbersOf(channels);
    const zrk::Volume volume{.dims = {dims[0], dims[1], dims[2]},
                             .components = static_cast<int>(components),
                             .lower = {bounds.min[0], bounds.min[1], bounds.min[2]},
                             .upper = {bounds.max[0], bounds.max[1], bounds.max[2]},
                             .name = std::filesystem::path(options.from).stem().string(),
                             .values = numbers,
                             .type = type,
                             .unit = options.unit.value_or("")};
    withProgress("writing", options.quiet, [&](ProgressBar& bar) {
        zrk::valueOrThrow(zrk::writeVolume(options.to, volume, zrk::followedBy(&bar)));
    });
    if (!options.quiet) {
        tell("{}: {} x {} x {} nodes\n", zrk::printable(options.to), dims[0], dims[1], dims[2]);
    }
}

} // namespace

void addConvertCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("convert", "write a volume in another format");
    auto options = std::make_shared<ConvertOptions>();
    command
        ->add_option("IN", options->from,
                     "volume to read: a .npy array (nz, ny, nx), a .tif file of many pages, or a folder of "
                     "slices; numbers stay as they are")
        ->required();
    command
        ->add_option("OUT", options->to,
                     zrk::canWriteVdb() ? "volume to write: .npy, .nrrd, .vti or .vdb"
                                        : "volume to write: .npy, .nrrd or .vti")
        ->required();
    command->add_option("--bounds", options->bounds,
                        "corners x0,y0,z0,x1,y1,z1 of the first and the last node; without them nodes are 1 "
                        "apart, from 0,0,0 on");
    command
        ->add_option("--type", options->type,
                     "numbers in the file: float64 (default), float32, float16 or uint8, "
                     "which has 0 to 1 as 0 to 255")
        ->check(CLI::IsMember({"float64", "float32", "float16", "uint8"}));
    command->add_option("--unit", options->unit, "unit that the file names: m, cm, mm, um, inch or ft");
    command->add_flag("--quiet", options->quiet, "no progress, no summary");
    command->callback([&work = program.work, options] { work = [options] { convert(*options); }; });
}

} // namespace zrkcli

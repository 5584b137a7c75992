#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "core/engine/progress.h"
#include "formats/file_name.h"
#include "formats/part.h"
#include "formats/points.h"
#include "formats/slices.h"
#include "formats/vdb.h"
#include "formats/volume.h"
#include "formats/volume_source.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace zrkcli {

namespace {

struct ConvertOptions {
    std::string from;
    std::string to;
    std::optional<std::string> bounds;
    std::string type = "float64";
    std::optional<std::string> unit;
    std::optional<std::uint64_t> memory;
    bool quiet = false;
};

/// A folder of slices, the pages of a TIFF file, or a file of one of the formats that are written.
zrk::VolumeSource open(const std::string& path, zrk::ProgressMonitor* monitor)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return zrk::valueOrThrow(zrk::volumeOf(zrk::valueOrThrow(zrk::readStackFolder(path, monitor)), path));
    }
    const std::string extension = zrk::extensionOf(path);
    if (extension == ".tif" || extension == ".tiff") {
        return zrk::valueOrThrow(zrk::volumeOf(zrk::valueOrThrow(zrk::readStackFile(path, monitor)), path));
    }
    if (!zrk::volumeFormat(path)) {
        throw zrk::FaultError({"IN", zrk::quotation(path),
                               "a .npy, .nrrd, .vti or .vdb file, a .tif file or a folder of slices",
                               "give the file an extension that tells its format"});
    }
    return zrk::valueOrThrow(zrk::openVolume(path));
}

/// Has nodes lie between the corners after --bounds.
void place(zrk::Volume& volume, const std::string& bounds)
{
    const auto n = zrk::parseNumbers(bounds, 6);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double extent = n ? (*n)[axis + 3] - (*n)[axis] : 0;
        if (!n || !std::isfinite(extent) || !(extent > 0 || volume.dims[axis] == 1)) {
            throw zrk::FaultError({"--bounds", zrk::quotation(bounds),
                                   "six finite numbers, the lower corner first",
                                   "write the two corners as x0,y0,z0,x1,y1,z1"});
        }
        volume.lower[axis] = (*n)[axis];
        volume.upper[axis] = (*n)[axis + 3];
    }
}

std::size_t numbersOf(const zrk::Volume& volume)
{
    return static_cast<std::size_t>(volume.dims[0]) * static_cast<std::size_t>(volume.dims[1]) *
           static_cast<std::size_t>(volume.dims[2]) * static_cast<std::size_t>(volume.components);
}

/// Reads and writes piece by piece, whole rows. Whole numbers stay whole ones.
void convertPieces(const ConvertOptions& options, const zrk::VolumeSource& source, const zrk::Volume& volume)
{
    constexpr std::size_t kPieceNumbers = 1 << 16;
    const bool isUInt8 = volume.type == zrk::NumberType::UInt8;
    const double greatest = isUInt8 && source.holdsWholeNumbers ? 255 : 1;
    zrk::VolumeWriter writer = zrk::valueOrThrow(zrk::VolumeWriter::create(options.to, volume));
    withProgress("writing", options.quiet, [&](ProgressBar& bar) {
        const zrk::KeepGoing goesOn = zrk::followedBy(&bar);
        const std::size_t all = numbersOf(volume);
        const std::size_t row =
            static_cast<std::size_t>(volume.dims[0]) * static_cast<std::size_t>(volume.components);
        std::vector<double> piece(std::min(all, std::max<std::size_t>(1, kPieceNumbers / row) * row));
        bool isWritten = true;
        std::ptrdiff_t beyond = 0;
        for (std::size_t done = 0; isWritten && done < all; done += piece.size()) {
            piece.resize(std::min(piece.size(), all - done));
            zrk::valueOrThrow(source.read(piece));
            if (isUInt8) {
                for (double& number : piece) {
                    number /= greatest;
                    beyond += !(number >= 0 && number <= 1) ? 1 : 0;
                }
            }
            isWritten = writer.write(piece);
            if (!goesOn(static_cast<double>(done + piece.size()) / static_cast<double>(all))) {
                throw zrk::FaultError(zrk::interruptedAt(options.to));
            }
        }
        zrk::valueOrThrow(writer.commit(goesOn));
        if (beyond > 0 && !options.quiet) {
            tellFault(MessageKind::Warning,
                      {options.to,
                       fmt::format("{} numbers beyond 0 to {}, which were cut off", beyond, greatest),
                       greatest == 1 ? "0 to 1, which uint8 has as 0 to 255" : "whole numbers of 8 bits",
                       "write float32, or divide the numbers first"});
        }
    });
}

void convert(const ConvertOptions& options)
{
    limitMemory(options.memory);
    const zrk::NumberType type = zrk::valueOrThrow(zrk::numberType(options.type));
    zrk::valueOrThrow(zrk::checkNumberType(options.to, type)); // throws before any work is done
    if (options.unit) {
        zrk::valueOrThrow(zrk::lengthUnit("--unit", *options.unit));
    }
    const zrk::VolumeSource source =
        withProgress("reading", options.quiet, [&](ProgressBar& bar) { return open(options.from, &bar); });
    zrk::Volume volume = source.volume;
    volume.type = type;
    volume.unit = options.unit.value_or(volume.unit);
    if (volume.name.empty()) {
        volume.name = std::filesystem::path(options.from).stem().string();
    }
    if (options.bounds) {
        place(volume, *options.bounds);
    }
    convertPieces(options, source, volume);
    if (!options.quiet) {
        tell("{}: {} x {} x {} nodes\n", zrk::printable(options.to), volume.dims[0], volume.dims[1],
             volume.dims[2]);
    }
}

} // namespace

void addConvertCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("convert", "write a volume in another format");
    auto options = std::make_shared<ConvertOptions>();
    command
        ->add_option(
            "IN", options->from,
            zrk::canWriteVdb()
                ? "volume to read: a .npy array (nz, ny, nx), a .nrrd, .vti or .vdb file, a .tif file of "
                  "many pages, or a folder of slices; numbers stay as they are"
                : "volume to read: a .npy array (nz, ny, nx), a .nrrd or .vti file, a .tif file of many "
                  "pages, or a folder of slices; numbers stay as they are")
        ->required();
    command
        ->add_option("-o,--output,OUT", options->to,
                     zrk::canWriteVdb() ? "volume to write, there or after -o: .npy, .nrrd, .vti or .vdb"
                                        : "volume to write, there or after -o: .npy, .nrrd or .vti")
        ->required();
    command->add_option("--bounds", options->bounds,
                        "corners x0,y0,z0,x1,y1,z1 of the first and the last node; without them those that "
                        "the file tells, or nodes are 1 apart, from 0,0,0 on");
    command
        ->add_option("--type", options->type,
                     "numbers in the file: float64 (default), float32, float16 or uint8, "
                     "which has whole numbers as they are and others from 0 to 1 as 0 to 255")
        ->check(CLI::IsMember({"float64", "float32", "float16", "uint8"}));
    command->add_option("--unit", options->unit,
                        "unit that the file names: m, cm, mm, um, inch or ft; without it that of IN");
    addMemoryOption(*command, options->memory);
    command->add_flag("--quiet", options->quiet, "no progress, no summary");
    command->callback([&work = program.work, options] { work = [options] { convert(*options); }; });
}

} // namespace zrkcli

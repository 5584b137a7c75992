#include "apps/cli/commands.h"
#include "apps/cli/mesh_report.h"
#include "apps/cli/messages.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/ranks.h"
#include "apps/cli/shard_options.h"
#include "apps/cli/solid_options.h"
#include "formats/atomic_file.h"
#include "formats/digest.h"
#include "formats/surface_tiles.h"
#include "formats/vdb.h"
#include "host/percent.h"
#include "host/surface_file.h"
#include "host/surface_inputs.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zrkcli {

namespace {

constexpr int kDefaultCells = 128;

struct SurfaceOptions : SolidOptions {
    std::string file;
    int resolution = kDefaultCells;
    double cell = 0;
    bool hasCell = false;
    bool isSharp = false;
    bool isOpen = false;
    std::optional<double> flatness;
    PaintOptions paint;
    std::string unit;
    bool wantsReport = false;
    std::string reportFile;
    bool json = false;
    std::optional<std::string> shard;
    /// Options of the command line that are about a document, not a mesh.
    std::vector<std::string> ofDocuments;

    /// Throws FaultError for what no parser of numbers finds, and takes the word after --report for the
    /// document where there is no other.
    void settle();
    /// Whether the word in the document's place names a mesh: then the command only reports on it.
    bool isAboutMesh() const
    {
        return isMesh(document) ||
               (wantsReport && file.empty() && !document.ends_with(".json") && document != "-");
    }
    /// Whether a name is that of a mesh, be it one that can be read or one that is only written.
    static bool isMesh(const std::string& name)
    {
        return zrk::isMeshName(name) || zrk::partFormat(name).has_value();
    }

private:
    /// Throws FaultError for what can't be divided into tiles, and for names that don't go with that.
    void checkShard() const;
};

void checkLength(const char* option, double length)
{
    if (!(std::isfinite(length) && length > 0)) {
        throw zrk::FaultError(
            {option, fmt::format("{}", length), "a finite number above 0", "give a number in model units"});
    }
}

void SurfaceOptions::checkShard() const
{
    checkTileNames(shard, file, kSurfaceIndex);
    const char* whole = isOpen        ? "--open: its rim is found on the whole mesh"
                        : flatness    ? "--adaptive: triangles are joined across tiles"
                        : wantsReport ? "--report: it is on the whole mesh"
                                      : nullptr;
    if (writesTiles(shard) && whole) {
        throw zrk::FaultError({shard ? "--shard" : "--mpi", whole,
                               "a surface that tiles can be made of one by one",
                               "leave the option out; `zrk surface --report` reports on the joined mesh"});
    }
}

void SurfaceOptions::settle()
{
    if (document.empty()) {
        std::swap(document, reportFile);
    }
    if (document.empty()) {
        throw zrk::FaultError({"surface", "no document", "a graph document, or --report and a mesh file",
                               "`zrk surface --help` shows how to call it"});
    }
    if (hasCell) {
        checkLength("--cell", cell);
    }
    if (flatness) {
        checkLength("--adaptive", *flatness);
    }
    if (isMesh(reportFile) || reportFile.ends_with(".zrk.json")) {
        throw zrk::FaultError({"--report", zrk::quotation(reportFile),
                               "a file for the report, not a mesh or a document",
                               "name it for example report.txt or report.json"});
    }
    json = json || std::filesystem::path(reportFile).extension() == ".json";
    if (!isAboutMesh() && file.empty() && (!wantsReport || !paint.color.empty())) {
        throw zrk::FaultError({paint.color.empty() ? "surface" : "--color", "no file to write",
                               paint.color.empty() ? "-o FILE, or --report alone" : "-o FILE",
                               "name the mesh to write, e.g. -o part.3mf"});
    }
    if (!isAboutMesh()) {
        checkShard();
    }
    if (isAboutMesh() && (!wantsReport || !file.empty())) {
        throw zrk::FaultError({document, "a mesh file", "a graph document, or --report without -o",
                               "`zrk surface --report " + document + "` reports on a mesh"});
    }
    if (isAboutMesh() && !ofDocuments.empty()) {
        throw zrk::FaultError({ofDocuments.front(), zrk::quotation(document) + ", a mesh",
                               "a graph document, from which a surface is made",
                               "leave " + ofDocuments.front() + " out, or name the document"});
    }
}

void printReport(const SurfaceOptions& options, const PrintedReport& report)
{
    const std::string text = options.json ? report.json() : report.text();
    if (options.reportFile.empty()) {
        fmt::print("{}", text);
        return;
    }
    zrk::valueOrThrow(zrk::writeFile(options.reportFile, text));
}

/// Ctrl-C has ended the program before a report is stopped.
zrk::MeshReport reportOn(const zrk::SurfaceMesh& mesh, bool quiet)
{
    return *withProgress("report", quiet,
                         [&](ProgressBar& bar) { return zrk::reportOn(mesh, zrk::followedBy(&bar)); });
}

void reportOnFile(const SurfaceOptions& options)
{
    checkIsNotRead(options.reportFile, {options.document});
    limitMemory(options.memory);
    printReport(options, endingAtInterrupt([&] {
                    const zrk::FileMesh mesh = zrk::valueOrThrow(zrk::readMesh(options.document));
                    for (const zrk::Fault& warning : mesh.warnings) {
                        if (!options.quiet) {
                            tellFault(MessageKind::Warning, warning);
                        }
                    }
                    const std::string fileUnit(mesh.unit ? zrk::nameOf(*mesh.unit) : "");
                    return PrintedReport{options.document, options.unit.empty() ? fileUnit : options.unit,
                                         reportOn(mesh, options.quiet)};
                }));
}

/// A document's surface on its way into a file or tiles.
class SurfaceRun {
public:
    explicit SurfaceRun(const SurfaceOptions& options)
        : _options(options),
          // Tiles hold what the formats with most do.
          _format(writesTiles(options.shard) || options.file.empty()
                      ? zrk::PartFormat::Ply
                      : zrk::valueOrThrow(zrk::partFormat(options.file))),
          _job(options, &_files),
          _task(task())
    {
        for (const std::string& file : {_options.file, _options.reportFile}) {
            if (!file.empty()) {
                _job.checkTarget(file);
            }
        }
        zrk::valueOrThrow(
            zrkmodel::checkSurfaceFormat(_options.file, _format, _task.colors.has_value(), _options.isOpen));
        _task.tellRange = [this](const zrk::Interval<double>& range) { _colorRange = range; };
        _sharing.reset();
    }
    SurfaceRun(const SurfaceRun&) = delete;
    SurfaceRun& operator=(const SurfaceRun&) = delete;

    void run()
    {
        if (_options.file.empty()) {
            report(zrk::valueOrThrow(zrkmodel::makeSurface(_task, stages(), warn())));
        } else if (writesTiles(_options.shard)) {
            runTiles();
        } else if (!_options.wantsReport && zrkmodel::isWrittenInPieces(_task.settings, _format)) {
            tellOf(zrk::valueOrThrow(zrkmodel::writeSurfaceInPieces(_options.file, _task, stages(), warn())));
        } else {
            const zrk::SurfaceMesh mesh =
                zrk::valueOrThrow(zrkmodel::writeSurface(_options.file, _task, stages(), warn()));
            tellOf({mesh.triangles.size(),
                    mesh.vertices.size(),
                    {mesh.undefinedSamples, mesh.leaves, mesh.sampledLeaves}});
            if (_options.wantsReport) {
                report(mesh);
            }
        }
    }

private:
    const SurfaceOptions& _options;
    zrk::PartFormat _format;
    std::unique_ptr<zrkmodel::ZRKSharedBuilding> _sharing = shareBuilding(); ///< of job and task
    std::vector<std::filesystem::path> _files;                               ///< that the document names
    Job _job;
    zrkmodel::SurfaceTask _task;
    std::optional<zrk::Interval<double>> _colorRange; ///< of colours that are values, once they are there

    std::function<void(const zrk::Fault&)> warn() const
    {
        return [this](const zrk::Fault& fault) { tellWarning(fault, _options.isStrict, _options.quiet); };
    }

    zrkmodel::StageRunner stages() const
    {
        return [quiet = _options.quiet](const char* title, const auto& stage) {
            withProgress(title, quiet, [&](ProgressBar& bar) { stage(bar); });
        };
    }

    zrkmodel::SurfaceTask task() const
    {
        const zrkmodel::Solid solid = solidOf(_options, _job);
        Paint paint = paintOf(_options.paint, _job.document);
        if (writesTiles(_options.shard) && paint.field && paint.field->componentCount() == 1 &&
            !paint.range) {
            throw zrk::FaultError({"--color " + _options.paint.color,
                                   "values in tiles, none of which knows those of the others",
                                   "the values at the ends of the colours", "give --range LO,HI"});
        }
        zrkmodel::SurfaceTask task{.field = zrk::PreparedField(_job.output().field),
                                   .settings = settings(solid),
                                   .place = placeOf(_job),
                                   .colors = std::move(paint.field),
                                   .beams = {},
                                   .unit = unit(),
                                   .title = zrkmodel::titleOf(_options.document)};
        task.colorRange = paint.range;
        task.beams = zrkmodel::partBeams(_job.document, _job.output().address, task.settings);
        return task;
    }

    void tellOf(const zrkmodel::WrittenSurface& written) const
    {
        if (!_options.quiet) {
            tell("{}: {} triangles, {} vertices; sampled {} of {} boxes of 8^3 cells{}\n",
                 zrk::printable(_options.file), written.triangles, written.vertices,
                 zrkmodel::percent(written.work.sampledLeaves, written.work.leaves), written.work.leaves,
                 shownScale(_colorRange));
        }
    }

    /// What the surface comes from beside the document: all that decides a byte of it.
    std::string digest() const
    {
        const zrk::SurfaceSettings& s = _task.settings;
        const auto& output = _job.output().address;
        zrk::Digest digest;
        addWork(digest, _job, _options.document, _files);
        digest.add(
            fmt::format("\nsurface of {}:{}, {} x {} x {} cells, {} {}, sharp {}, colours {}, unit {}, "
                        "title {}",
                        output.node, output.output, s.cells[0], s.cells[1], s.cells[2],
                        s.solid == zrk::SolidSide::Above ? "above" : "below", s.iso, s.keepsCreases,
                        _options.paint.color + (_task.colorRange ? " " + *_options.paint.range : ""),
                        _task.unit ? zrk::nameOf(*_task.unit) : "", _task.title));
        digest.add(fmt::format("\nfrom {},{},{} to {},{},{}", s.lower[0], s.lower[1], s.lower[2], s.upper[0],
                               s.upper[1], s.upper[2]));
        return digest.hex();
    }

    void runTiles() const
    {
        const zrk::SurfaceTiles tiles = zrkmodel::surfaceTiles(_options.file, digest(), _task);
        writeTiles(tiles, _options.shard, _options.quiet,
                   [&](std::int32_t tile, const std::string& title, bool quiet) {
                       const auto runStage = [&](const char*, const auto& stage) {
                           withProgress(title, quiet, [&](ProgressBar& bar) { stage(bar); });
                       };
                       zrk::valueOrThrow(zrkmodel::writeSurfaceTile(tiles, tile, _task, runStage, warn()));
                   });
    }

    std::optional<zrk::LengthUnit> unit() const
    {
        const std::string name = _options.unit.empty() ? _job.document.unit() : _options.unit;
        return name.empty() ? std::nullopt
                            : std::optional(zrk::valueOrThrow(zrk::lengthUnit("--unit", name)));
    }

    zrk::SurfaceSettings settings(const zrkmodel::Solid& solid) const
    {
        zrk::SurfaceSettings settings;
        settings.lower = solid.bounds.min;
        settings.upper = solid.bounds.max;
        settings.cells = zrkmodel::surfaceCells(solid.bounds, _options.resolution, _options.cell);
        settings.iso = solid.iso;
        settings.solid = solid.side;
        settings.keepsCreases = _options.isSharp;
        settings.isOpen = _options.isOpen;
        settings.flatness = _options.flatness.value_or(0);
        settings.threads = _options.threads;
        return settings;
    }

    void report(const zrk::SurfaceMesh& mesh) const
    {
        const std::string unit(_task.unit ? zrk::nameOf(*_task.unit) : "");
        const bool quiet = _options.quiet;
        printReport(
            _options, endingAtInterrupt([&] {
                PrintedReport report{_options.file.empty() ? _options.document : _options.file, unit,
                                     reportOn(mesh, quiet)};
                report.distance = withProgress("distances", quiet, [&](ProgressBar& bar) {
                    return zrk::distanceError(mesh, _task.field, _task.settings, zrk::followedBy(&bar));
                });
                report.doubtfulCells = withProgress("doubtful cells", quiet, [&](ProgressBar& bar) {
                    return zrk::countDoubtfulCells(_task.field, _task.settings, zrk::followedBy(&bar));
                });
                return report;
            }));
    }
};

void surface(SurfaceOptions options)
{
    options.settle();
    if (options.isAboutMesh()) {
        reportOnFile(options);
    } else {
        SurfaceRun(options).run();
    }
}

/// The options of the command line but for some.
std::vector<std::string> givenBeside(const CLI::App& command, const std::vector<std::string>& others)
{
    std::vector<std::string> given;
    for (const CLI::Option* option : command.get_options()) {
        const std::string name = option->get_name();
        if (option->count() > 0 && std::find(others.begin(), others.end(), name) == others.end()) {
            given.push_back(name);
        }
    }
    return given;
}

void addOptions(CLI::App& command, SurfaceOptions& options)
{
    options.addTo(command);
    command.get_option("DOC")->required(false)->description(
        "graph document (.zrk.json); with --report alone also a mesh: .3mf, .stl, .ply or .obj");
    command.add_option("-o,--output", options.file,
                       std::string("mesh to write: .3mf, .stl, .ply or .obj") +
                           (zrk::canWriteVdb() ? "; .vdb writes a level set" : ""));
    auto* resolution =
        command.add_option("--resolution", options.resolution,
                           fmt::format("cells along the longest side (default {})", kDefaultCells));
    resolution->check(CLI::Range(1, 1000000));
    command
        .add_option_function<double>(
            "--cell",
            [&options](double cell) {
                options.cell = cell;
                options.hasCell = true;
            },
            "longest side of a cell, model units")
        ->excludes(resolution);
    command.add_flag("--sharp", options.isSharp, "keep edges and corners sharp");
    command.add_flag("--open", options.isOpen, "leave the surface open where the bounds cut it");
    command.add_option("--adaptive", options.flatness,
                       "join triangles where the surface is flat within this, model units");
    options.paint.addTo(command);
    command.add_option("--unit", options.unit,
                       "unit that the file names: m, cm, mm, um, inch or ft; without it the document's. "
                       "Nothing is rescaled");
    auto* report = command.add_option("--report", options.reportFile,
                                      "report on the mesh: printed, or written to the file named; without -o "
                                      "no mesh is written");
    report->expected(0, 1);
    command.add_flag("--json", options.json, "report as JSON, as it is for a file named .json")
        ->needs(report);
    addShardOption(command, options.shard, "NAME.zrk-tiles");
    command.parse_complete_callback([&options, &command, report] {
        options.wantsReport = report->count() > 0;
        options.ofDocuments =
            givenBeside(command, {"DOC", "--output", "--report", "--json", "--unit", "--memory", "--quiet"});
    });
}

} // namespace

void addSurfaceCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("surface", "write the surface of a field as a mesh, report on a mesh");
    command->alias("mesh");
    auto options = std::make_shared<SurfaceOptions>();
    addOptions(*command, *options);
    command->callback([&work = program.work, options] { work = [options] { surface(*options); }; });
}

} // namespace zrkcli

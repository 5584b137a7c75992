#include "apps/cli/commands.h"
#include "apps/cli/mesh_report.h"
#include "apps/cli/messages.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/solid_options.h"
#include "formats/atomic_file.h"
#include "formats/vdb.h"
#include "host/surface_file.h"
#include "host/surface_inputs.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>

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
    double flatness = 0;
    std::string color;
    std::string unit;
    bool wantsReport = false;
    std::string reportFile;
    bool json = false;

    /// Throws FaultError for what no parser of numbers finds, and takes the word after --report for the
    /// document where there is no other.
    void settle();
    /// Whether the word in the document's place names a mesh: then the command only reports on it.
    bool isAboutMesh() const
    {
        return isMesh(document) || (wantsReport && file.empty() && !document.ends_with(".json"));
    }
    /// Whether a name is that of a mesh, be it one that can be read or one that is only written.
    static bool isMesh(const std::string& name)
    {
        return zrk::isMeshName(name) || zrk::partFormat(name).has_value();
    }
    void checkNumber(const char* option, double value, double least) const;
};

void SurfaceOptions::checkNumber(const char* option, double value, double least) const
{
    if (!(std::isfinite(value) && value > least)) {
        throw zrk::FaultError({option, fmt::format("{}", value),
                               least == 0 ? "a finite number above 0" : "a finite number",
                               "give a number in model units"});
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
        checkNumber("--cell", cell, 0);
    }
    if (iso) {
        checkNumber("--iso", *iso, -std::numeric_limits<double>::infinity());
    }
    if (flatness != 0) {
        checkNumber("--adaptive", flatness, 0);
    }
    if (isMesh(reportFile) || reportFile.ends_with(".zrk.json")) {
        throw zrk::FaultError({"--report", zrk::quotation(reportFile),
                               "a file for the report, not a mesh or a document",
                               "name it for example report.txt or report.json"});
    }
    json = json || std::filesystem::path(reportFile).extension() == ".json";
    if (!isAboutMesh() && file.empty()) {
        throw zrk::FaultError(
            {"surface", "no file to write", "-o FILE", "name the mesh to write, e.g. -o part.3mf"});
    }
    if (isAboutMesh() && (!wantsReport || !file.empty())) {
        throw zrk::FaultError({document, "a mesh file", "a graph document, or --report without -o",
                               "`zrk surface --report " + document + "` reports on a mesh"});
    }
}

void printReport(const SurfaceOptions& options, const PrintedReport& report)
{
    const std::string text = options.json ? report.json() : report.text();
    if (options.reportFile.empty()) {
        fmt::print("{}", text);
        return;
    }
    zrk::valueOrThrow(zrk::AtomicFile::create(options.reportFile).and_then([&](zrk::AtomicFile file) {
        file.write(text.data(), text.size());
        return file.commit();
    }));
}

/// Ctrl-C has ended the program before a report is stopped.
zrk::MeshReport reportOn(const zrk::SurfaceMesh& mesh, bool quiet)
{
    return *withProgress("report", quiet,
                         [&](ProgressBar& bar) { return zrk::reportOn(mesh, zrk::followedBy(&bar)); });
}

void reportOnFile(const SurfaceOptions& options)
{
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

/// A document's surface on its way into a file.
class SurfaceWork {
public:
    explicit SurfaceWork(const SurfaceOptions& options)
        : _options(options),
          _format(zrk::valueOrThrow(zrk::partFormat(options.file))),
          _job(options),
          _unit(unit()),
          _colors(colorField()),
          _solid(solidOf(options, _job)),
          _field(_job.output().field),
          _settings(settings())
    {
        _job.checkTarget(_options.file);
        zrk::valueOrThrow(
            zrkmodel::checkSurfaceFormat(_options.file, _format, _colors.has_value(), _options.isOpen));
    }

    void run()
    {
        zrkmodel::SurfaceTask task;
        task.field = _field;
        task.settings = _settings;
        task.place = placeOf(_job);
        task.colors = _colors;
        task.beams = zrkmodel::partBeams(_job.document, _job.output().address, _settings);
        task.unit = _unit;
        task.title = zrkmodel::titleOf(_options.document);
        const auto runStage = [&](const char* title, const auto& stage) {
            withProgress(title, _options.quiet, [&](ProgressBar& bar) { stage(bar); });
        };
        const auto warn = [this](const zrk::Fault& fault) {
            tellWarning(fault, _options.isStrict, _options.quiet);
        };
        const zrk::SurfaceMesh mesh =
            zrk::valueOrThrow(zrkmodel::writeSurface(_options.file, task, runStage, warn));
        if (!_options.quiet) {
            tell("{}: {} triangles, {} vertices\n", zrk::printable(_options.file), mesh.triangles.size(),
                 mesh.vertices.size());
        }
        if (_options.wantsReport) {
            report(mesh);
        }
    }

private:
    const SurfaceOptions& _options;
    zrk::PartFormat _format;
    Job _job;
    std::optional<zrk::LengthUnit> _unit;
    std::optional<zrk::PreparedField> _colors;
    zrkmodel::Solid _solid;
    zrk::PreparedField _field;
    zrk::SurfaceSettings _settings;

    std::optional<zrk::LengthUnit> unit() const
    {
        const std::string name = _options.unit.empty() ? _job.document.unit() : _options.unit;
        return name.empty() ? std::nullopt
                            : std::optional(zrk::valueOrThrow(zrk::lengthUnit("--unit", name)));
    }

    std::optional<zrk::PreparedField> colorField() const
    {
        if (_options.color.empty()) {
            return std::nullopt;
        }
        const zrkmodel::OutputField output =
            zrk::valueOrThrow(_job.document.outputField(parsePin("--color", _options.color)));
        if (output.tag != zrkmodel::Tag::Color) {
            throw zrk::FaultError(
                {"--color " + _options.color, fmt::format("a pin with the tag {}", output.tag.name()),
                 "one with the tag Color",
                 fmt::format("`zrk check {}` lists the outputs and their tags", _options.document)});
        }
        return zrk::PreparedField(output.field);
    }

    zrk::SurfaceSettings settings() const
    {
        zrk::SurfaceSettings settings;
        settings.lower = _solid.bounds.min;
        settings.upper = _solid.bounds.max;
        settings.cells = zrkmodel::surfaceCells(_solid.bounds, _options.resolution, _options.cell);
        settings.iso = _solid.iso;
        settings.solid = _solid.side;
        settings.keepsCreases = _options.isSharp;
        settings.isOpen = _options.isOpen;
        settings.flatness = _options.flatness;
        settings.threads = _options.threads;
        return settings;
    }

    void report(const zrk::SurfaceMesh& mesh) const
    {
        const std::string unit(_unit ? zrk::nameOf(*_unit) : "");
        const bool quiet = _options.quiet;
        printReport(_options, endingAtInterrupt([&] {
                        PrintedReport report{_options.file, unit, reportOn(mesh, quiet)};
                        report.distance = withProgress("distances", quiet, [&](ProgressBar& bar) {
                            return zrk::distanceError(mesh, _field, _settings, zrk::followedBy(&bar));
                        });
                        report.doubtfulCells = withProgress("doubtful cells", quiet, [&](ProgressBar& bar) {
                            return zrk::countDoubtfulCells(_field, _settings, zrk::followedBy(&bar));
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
        SurfaceWork(options).run();
    }
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
    command.add_option("--color", options.color, "output with colours for the vertices, NODE:OUT");
    command.add_option("--unit", options.unit,
                       "unit that the file names: m, cm, mm, um, inch or ft; without it the document's. "
                       "Nothing is rescaled");
    auto* report = command.add_option("--report", options.reportFile,
                                      "report on the mesh: printed, or written to the file named");
    report->expected(0, 1);
    command.add_flag("--json", options.json, "report as JSON, as it is for a file named .json")
        ->needs(report);
    command.parse_complete_callback([&options, report] { options.wantsReport = report->count() > 0; });
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

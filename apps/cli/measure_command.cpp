#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/progress_bar.h"
#include "apps/cli/solid_options.h"
#include "core/surface/passages.h"
#include "core/surface/solid_measures.h"
#include "core/values/level_search.h"
#include "host/document_values.h"
#include "host/field_remarks.h"
#include "host/nearest_names.h"
#include "host/surface_inputs.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <memory>

namespace zrkcli {

namespace {

using Point = zrk::Tensor<3, double>;

/// Sides of the cells that walls and gaps are looked for with.
constexpr std::int32_t kPassageCells = 128;
/// A value is first solved for with measures so rough, as finer ones take many times as long.
constexpr double kRoughAccuracy = 0.02;
/// How near the measure of a solution comes to what was asked for, as a share of the accuracy.
constexpr double kSolvedShare = 0.1;

struct MeasureOptions : SolidOptions {
    double accuracy = 1e-3;
    bool json = false;
    std::string solve;
    std::string goal;
    std::string file;
};

/// What can be asked for after --for.
struct Quantity {
    const char* name;
    zrk::Measured zrk::SolidMeasures::*value;
};
constexpr Quantity kQuantities[] = {{"fraction", &zrk::SolidMeasures::fraction},
                                    {"volume", &zrk::SolidMeasures::volume},
                                    {"area", &zrk::SolidMeasures::area}};

/// QUANTITY=VALUE after --for.
std::pair<const Quantity*, double> parseGoal(const std::string& text)
{
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const auto* quantity = std::find_if(std::begin(kQuantities), std::end(kQuantities),
                                        [&](const Quantity& q) { return name == q.name; });
    double value = 0;
    bool isNumber = equals != std::string::npos;
    if (isNumber) {
        const char* end = text.data() + text.size();
        const auto read = std::from_chars(text.data() + equals + 1, end, value);
        isNumber = read.ec == std::errc() && read.ptr == end && std::isfinite(value) && value >= 0;
    }
    if (quantity == std::end(kQuantities) || !isNumber) {
        throw zrk::FaultError({"--for", zrk::quotation(text), "fraction=F, volume=V or area=A, not negative",
                               "write for example --for fraction=0.35"});
    }
    return {quantity, value};
}

std::string withError(double value, double error) { return fmt::format("{:.6g} +- {:.2g}", value, error); }
std::string withError(const zrk::Measured& m) { return withError(m.value, m.error); }

/// Coordinates far below their error are 0.
std::string coordinates(const Point& p, double error = 0)
{
    const auto rounded = [&](double x) { return std::abs(x) < 1e-3 * error ? 0.0 : x; };
    return fmt::format("{:.6g}, {:.6g}, {:.6g}", rounded(p[0]), rounded(p[1]), rounded(p[2]));
}

class MeasureWork {
public:
    explicit MeasureWork(const MeasureOptions& options)
        : _options(options), _job(options), _unit(_job.document.unit())
    {
        const zrkmodel::Solid solid = solidOf(_options, _job);
        _settings.lower = solid.bounds.min;
        _settings.upper = solid.bounds.max;
        _settings.cells = zrkmodel::surfaceCells(solid.bounds, kPassageCells, 0);
        _settings.iso = solid.iso;
        _settings.solid = solid.side;
        _settings.threads = _options.threads;
        _goal.accuracy = _options.accuracy;
    }

    void run()
    {
        if (!_options.file.empty()) {
            std::vector<std::filesystem::path> inputs = _job.inputs;
            inputs.pop_back(); // the document, which may take on what was found
            checkIsNotRead(_options.file, inputs);
            checkCanBeWritten(_options.file);
        }
        if (!_options.solve.empty()) {
            solve();
        }
        const zrk::PreparedField field = currentField();
        const zrk::SolidMeasures measures = withProgress(
            "measuring", _options.quiet, [&](ProgressBar& bar) { return measure(field, _goal, &bar); });
        if (!measures.isAccurate && !measures.isEmpty()) {
            tellWarning({placeOf(_job),
                         fmt::format("an estimated error above {:g} of the value", _goal.accuracy),
                         fmt::format("at most that with {} cells along the longest side", _goal.mostCells),
                         "give smaller --bounds, or be content with the errors that are told"},
                        _options.isStrict, _options.quiet);
        }
        if (measures.undefinedSamples > 0) {
            tellWarning(zrkmodel::undefinedAt(placeOf(_job), measures.undefinedSamples), _options.isStrict,
                        _options.quiet);
        }
        const zrk::Passages passages = measures.isEmpty() ? zrk::Passages{} : passagesOf(field);
        fmt::print("{}", _options.json ? json(measures, passages) : text(measures, passages));
        if (!_options.file.empty()) {
            zrk::valueOrThrow(_job.document.save(_options.file));
        }
    }

private:
    const MeasureOptions& _options;
    Job _job;
    std::string _unit;
    zrk::SurfaceSettings _settings;
    zrk::MeasuringGoal _goal;
    std::optional<double> _solution;

    zrk::PreparedField currentField() const
    {
        return zrk::PreparedField(zrk::valueOrThrow(_job.document.outputField(_job.output().address)).field);
    }

    zrk::SolidMeasures measure(const zrk::PreparedField& field, const zrk::MeasuringGoal& goal,
                               zrk::ProgressMonitor* monitor) const
    {
        const auto measures = zrk::measureSolid(field, _settings, goal, monitor);
        if (!measures) {
            throw zrk::FaultError(zrk::interruptedAt("measure"));
        }
        return *measures;
    }

    zrk::Passages passagesOf(const zrk::PreparedField& field) const
    {
        const auto passages = withProgress(
            "walls and gaps", _options.quiet, [&](ProgressBar& bar) -> std::optional<zrk::Passages> {
                const auto mesh = zrk::extractSurface(field, _settings, &bar);
                return mesh ? zrk::narrowestPassages(*mesh, field, _settings, &bar) : std::nullopt;
            });
        if (!passages) {
            throw zrk::FaultError(zrk::interruptedAt("measure"));
        }
        return *passages;
    }

    /// The number that stands under a key of a node now.
    double startValue(const NodeKey& unknown) const
    {
        const std::string where = fmt::format("--solve {}", _options.solve);
        const auto node = _job.document.graph()->getNodePtr(unknown.node);
        if (!node) {
            throw zrk::FaultError({where, fmt::format("node {}", unknown.node), "the id of a node",
                                   fmt::format("`zrk check {}` lists the nodes", _options.document)});
        }
        const zrkmodel::ZRKJson values = zrkmodel::storedForm(*node->object);
        std::vector<std::string> numbers;
        for (const auto& [key, value] : values.items()) {
            if (value.is_number()) {
                numbers.push_back(key);
            }
        }
        if (std::find(numbers.begin(), numbers.end(), unknown.key) == numbers.end()) {
            throw zrk::FaultError({where, zrk::quotation(unknown.key), "the key of a number",
                                   numbers.empty()
                                       ? "the node has none: choose another one"
                                       : "its nearest: " + zrkmodel::nearestNames(unknown.key, numbers)});
        }
        return values[unknown.key].get<double>();
    }

    void solve()
    {
        const NodeKey unknown = parseNodeKey("--solve", _options.solve);
        const std::pair<const Quantity*, double> asked = parseGoal(_options.goal);
        const Quantity* const quantity = asked.first;
        const double wanted = asked.second;
        const double start = startValue(unknown);
        const Point size = _settings.upper - _settings.lower;
        const double firstStep =
            std::max(0.1 * std::abs(start), 0.02 * std::max({size[0], size[1], size[2]}));
        const zrk::LevelSearch search = withProgress("solving", _options.quiet, [&](ProgressBar& bar) {
            const auto find = [&](double from, double step, double accuracy, double share) {
                zrk::MeasuringGoal goal = _goal;
                goal.accuracy = accuracy;
                const auto measured = [&](double x) {
                    zrk::valueOrThrow(_job.document.setValue(unknown.node, unknown.key, x));
                    return (measure(currentField(), goal, &bar).*quantity->value).value;
                };
                return zrk::findLevel(measured, wanted, from, step,
                                      share * accuracy * std::max(wanted, 1e-12));
            };
            if (_goal.accuracy >= kRoughAccuracy) {
                return find(start, firstStep, _goal.accuracy, kSolvedShare);
            }
            const zrk::LevelSearch rough = find(start, firstStep, kRoughAccuracy, 1);
            return rough.isFound ? find(rough.x, 0.1 * firstStep, _goal.accuracy, kSolvedShare) : rough;
        });
        if (!search.isFound) {
            zrk::valueOrThrow(_job.document.setValue(unknown.node, unknown.key, start));
            throw zrk::FaultError(
                {"--for " + _options.goal,
                 fmt::format("{} from {:.6g} to {:.6g}, whatever {} is; nearest at {:.6g}", quantity->name,
                             search.least, search.greatest, _options.solve, search.x),
                 fmt::format("a value of {} that gives {:g}", _options.solve, wanted),
                 "ask for what lies between, solve for another value, or begin with one that is nearer",
                 zrk::FaultKind::FailedWork});
        }
        zrk::valueOrThrow(_job.document.setValue(unknown.node, unknown.key, search.x));
        _solution = search.x;
    }

    std::string inUnit(const std::string& number, const char* power = "") const
    {
        return _unit.empty() ? number : fmt::format("{} {}{}", number, _unit, power);
    }

    std::string passageText(const zrk::Passages& passages, const std::optional<zrk::Passage>& passage) const
    {
        if (!passages.isDistance) {
            return "not told, as the field isn't a distance";
        }
        return passage ? fmt::format("{} from {} to {}", inUnit(fmt::format("{:.6g}", passage->length)),
                                     coordinates(passage->from), coordinates(passage->to))
                       : "none within the bounds";
    }

    std::string text(const zrk::SolidMeasures& m, const zrk::Passages& passages) const
    {
        std::string lines = placeOf(_job) + "\n";
        const auto line = [&](const char* name, const std::string& value) {
            lines += fmt::format("  {:<18} {}\n", name, value);
        };
        if (_solution) {
            line(_options.solve.c_str(), fmt::format("{:.17g}", *_solution));
        }
        line("volume", inUnit(withError(m.volume), "^3"));
        line("volume fraction", withError(m.fraction) + " of the bounds");
        if (!m.isEmpty()) {
            line("area", inUnit(withError(m.area), "^2"));
            line("  on the bounds", inUnit(fmt::format("{:.6g}", m.cutArea), "^2"));
            line("centre of mass",
                 inUnit(fmt::format("{} +- {:.2g}", coordinates(m.center, m.centerError), m.centerError)));
            line("bounding box", inUnit(fmt::format("{} to {} +- {:.2g}", coordinates(m.lower, m.boxError),
                                                    coordinates(m.upper, m.boxError), m.boxError)));
            line("smallest wall", passageText(passages, passages.wall));
            line("smallest gap", passageText(passages, passages.gap));
        }
        line("measured with", fmt::format("{} x {} x {} cells", m.cells[0], m.cells[1], m.cells[2]));
        return lines;
    }

    std::string json(const zrk::SolidMeasures& m, const zrk::Passages& passages) const
    {
        using Json = nlohmann::ordered_json;
        const auto point = [](const Point& p) { return Json::array({p[0], p[1], p[2]}); };
        const auto measured = [](const zrk::Measured& value) {
            return Json{{"value", value.value}, {"error", value.error}};
        };
        const auto passage = [&](const std::optional<zrk::Passage>& p) {
            return p ? Json{{"length", p->length}, {"from", point(p->from)}, {"to", point(p->to)}} : Json();
        };
        Json report{{"document", _options.document},
                    {"pin", Json::array({_job.output().address.node, _job.output().address.output})},
                    {"unit", _unit.empty() ? Json() : Json(_unit)},
                    {"volume", measured(m.volume)},
                    {"fraction", measured(m.fraction)},
                    {"area", measured(m.area)},
                    {"areaOnBounds", m.cutArea},
                    {"isDistance", passages.isDistance},
                    {"cells", m.cells},
                    {"accurate", m.isAccurate || m.isEmpty()}};
        if (!m.isEmpty()) {
            report["center"] = {{"value", point(m.center)}, {"error", m.centerError}};
            report["box"] = {{"min", point(m.lower)}, {"max", point(m.upper)}, {"error", m.boxError}};
            report["smallestWall"] = passage(passages.wall);
            report["smallestGap"] = passage(passages.gap);
        }
        if (_solution) {
            report["solution"] = {{"of", _options.solve}, {"value", *_solution}};
        }
        return report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    }
};

void checkOptions(const MeasureOptions& options)
{
    checkFinite("--accuracy", options.accuracy);
    if (options.solve.empty() != options.goal.empty()) {
        throw zrk::FaultError({options.solve.empty() ? "--for" : "--solve", "one of the two alone",
                               "--solve NODE.KEY with --for QUANTITY=VALUE",
                               "write for example --solve 2.contour --for fraction=0.35"});
    }
    if (!options.file.empty() && options.solve.empty()) {
        throw zrk::FaultError({"-o", zrk::quotation(options.file), "--solve with it",
                               "measures go to standard output; -o writes the document with the solution"});
    }
}

} // namespace

void addMeasureCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand(
        "measure", "measure the solid of a field: volume, area, centre, walls; solve for a volume");
    auto options = std::make_shared<MeasureOptions>();
    options->addTo(*command);
    command
        ->add_option("--accuracy", options->accuracy,
                     "share of volume and area that their error may be (default 0.001)")
        ->check(CLI::Range(1e-6, 0.5));
    command->add_flag("--json", options->json, "print JSON");
    command->add_option("--solve", options->solve, "value of a node to change until --for holds, NODE.KEY");
    command->add_option("--for", options->goal, "what --solve is to reach: fraction=F, volume=V or area=A");
    command->add_option("-o,--output", options->file, "document to write, with the value that was found");
    command->callback([&work = program.work, options] {
        work = [options] {
            checkOptions(*options);
            MeasureWork(*options).run();
        };
    });
}

} // namespace zrkcli

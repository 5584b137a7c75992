#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "core/values/stop.h"
#include "host/field_remarks.h"

#include <fmt/core.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace zrkcli {

namespace {

using Json = nlohmann::ordered_json;

struct CheckOptions : DocumentOptions {
    bool looksAtFields = false;
    bool json = false;
};

/// What is known of a document. The warnings are only here where they aren't told.
struct Findings {
    zrkmodel::DocumentWarnings warnings;
    std::vector<zrk::Fault> remarks;
    std::vector<zrkmodel::OutputPin> outputs;
};

void lookAt(const CheckOptions& options, Findings& findings)
{
    const auto document = loadDocument(options, false, nullptr, options.json ? &findings.warnings : nullptr);
    zrk::stopIfAsked();
    findings.outputs = document.outputPins();
    const auto bounds = zrk::attempt("check", [&] { boundsToSample(std::nullopt, document); });
    if (!bounds) {
        if (options.looksAtFields) {
            throw zrk::FaultError(bounds.error());
        }
        if (options.json) {
            findings.warnings.push_back(bounds.error());
        }
        if (!options.json || options.isStrict) {
            tellWarning(bounds.error(), options.isStrict, false);
        }
    }
    if (options.looksAtFields) {
        findings.remarks = withProgress("sampling", false, [&](ProgressBar& bar) {
            return zrk::valueOrThrow(zrkmodel::remarksOnFields(document, &bar));
        });
    }
}

Json faultJson(const zrk::Fault& fault)
{
    return {{"place", fault.place},
            {"found", fault.found},
            {"expected", fault.expected},
            {"remedy", fault.remedy}};
}

Json faultsJson(const std::vector<zrk::Fault>& faults)
{
    Json all = Json::array();
    for (const zrk::Fault& fault : faults) {
        all.push_back(faultJson(fault));
    }
    return all;
}

/// @param fault  of a document that was refused; else null.
void printJson(const CheckOptions& options, const Findings& findings, const zrk::Fault* fault)
{
    Json outputs = Json::array();
    for (const zrkmodel::OutputPin& pin : findings.outputs) {
        outputs.push_back({{"node", pin.address.node},
                           {"output", pin.address.output},
                           {"name", pin.name},
                           {"tag", pin.tag.name()}});
    }
    Json all{{"document", options.document}, {"isGood", !fault}};
    all["fault"] = fault ? faultJson(*fault) : Json();
    all["warnings"] = faultsJson(findings.warnings);
    all["notes"] = faultsJson(findings.remarks);
    all["outputs"] = std::move(outputs);
    fmt::print("{}\n", all.dump(2, ' ', false, Json::error_handler_t::replace));
}

void check(const CheckOptions& options)
{
    Findings findings;
    const zrk::Result<void> looked = zrk::attempt("check", [&] { lookAt(options, findings); });
    const bool isStopped = !looked && looked.error().kind == zrk::FaultKind::Interrupted;
    if (options.json && !isStopped) {
        printJson(options, findings, looked ? nullptr : &looked.error());
    }
    zrk::valueOrThrow(looked);
    if (!options.json) {
        tellRemarks(findings.remarks, false);
        for (const zrkmodel::OutputPin& pin : findings.outputs) {
            fmt::print("{}:{} {}\n", pin.address.node, pin.address.output, pin.tag.name());
        }
    }
}

} // namespace

void addCheckCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("check", "load a document, report what is wrong, list its outputs");
    auto options = std::make_shared<CheckOptions>();
    options->addTo(*command);
    command->add_flag(
        "--fields", options->looksAtFields,
        "also sample each output, and note what looks like a mistake: constant fields, weight 0 or "
        "NaN, no surface in the bounds, distances with a slope far from 1");
    command->add_flag("--json", options->json, "as JSON: outputs, warnings, notes and what was refused");
    command->callback([&work = program.work, options] { work = [options] { check(*options); }; });
}

} // namespace zrkcli

#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "core/values/stop.h"
#include "host/field_remarks.h"

#include <fmt/core.h>

#include <memory>
#include <optional>

namespace zrkcli {

void addCheckCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("check", "load a document, report what is wrong, list its outputs");
    struct CheckOptions : DocumentOptions {
        bool looksAtFields = false;
    };
    auto options = std::make_shared<CheckOptions>();
    options->addTo(*command);
    command->add_flag(
        "--fields", options->looksAtFields,
        "also sample each output, and note what looks like a mistake: constant fields, weight 0 or "
        "NaN, no surface in the bounds, distances with a slope far from 1");
    command->callback([&work = program.work, options] {
        work = [options] {
            const auto document = loadDocument(*options, false);
            zrk::stopIfAsked();
            if (options->looksAtFields) {
                boundsToSample(std::nullopt, document); // throws for those without a volume
                tellRemarks(withProgress("sampling", false,
                                         [&](ProgressBar& bar) {
                                             return zrk::valueOrThrow(
                                                 zrkmodel::remarksOnFields(document, &bar));
                                         }),
                            false);
            }
            for (const zrkmodel::OutputPin& pin : document.outputPins()) {
                fmt::print("{}:{} {}\n", pin.address.node, pin.address.output, pin.tag.name());
            }
        };
    });
}

} // namespace zrkcli

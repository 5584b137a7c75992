#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "core/values/stop.h"

#include <fmt/core.h>

#include <memory>

namespace zrkcli {

void addCheckCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("check", "load a document, report what is wrong, list its outputs");
    auto options = std::make_shared<DocumentOptions>();
    options->addTo(*command);
    command->callback([&work = program.work, options] {
        work = [options] {
            const auto document = loadDocument(*options, false);
            zrk::stopIfAsked();
            for (const zrkmodel::OutputPin& pin : document.outputPins()) {
                fmt::print("{}:{} {}\n", pin.address.node, pin.address.output, pin.tag.name());
            }
        };
    });
}

} // namespace zrkcli

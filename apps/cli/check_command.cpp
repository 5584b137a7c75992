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
    auto path = std::make_shared<std::string>();
    command->add_option("DOC", *path, "graph document (.zrk.json)")->required();
    command->callback([&work = program.work, path] {
        work = [path] {
            const auto document = loadDocument(*path, false);
            zrk::stopIfAsked();
            for (const zrkmodel::OutputPin& pin : document.outputPins()) {
                fmt::print("{}:{} {}\n", pin.address.node, pin.address.output, pin.tag.name());
            }
        };
    });
}

} // namespace zrkcli

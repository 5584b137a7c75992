#include "apps/cli/commands.h"
#include "host/document_schema.h"

#include <fmt/core.h>

namespace zrkcli {

void addSchemaCommand(const Program& program)
{
    CLI::App* command =
        program.app.add_subcommand("schema", "print the JSON Schema of graph documents, for editors");
    command->callback(
        [&work = program.work] { work = [] { fmt::print("{}\n", zrkmodel::documentSchema().dump(1)); }; });
}

} // namespace zrkcli

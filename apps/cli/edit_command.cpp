#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "model/graph.h"

#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zrkcli {

namespace {

struct EditOptions : DocumentOptions {
    std::vector<std::string> assignments;
    std::optional<std::string> file;
    bool quiet = false;
};

void edit(const EditOptions& options)
{
    std::vector<Assignment> assignments;
    for (const std::string& text : options.assignments) {
        assignments.push_back(parseAssignment("assignment", text));
    }
    if (options.document == "-" && !options.file) {
        throw zrk::FaultError({"edit", "a document from standard input", "a file to write it to",
                               "give -o FILE, or -o - for standard output"});
    }
    std::vector<std::filesystem::path> inputs;
    zrkmodel::EditSession session(loadDocument(options, options.quiet, &inputs));
    checkIsNotRead(options.file.value_or(""), inputs);
    withProgress("editing", options.quiet, [&](ProgressBar& bar) {
        for (const auto& [target, value] : assignments) {
            zrk::valueOrThrow(session.setValue(target.node, target.key, value, &bar));
            const auto node = session.document().graph()->getNodePtr(target.node);
            if (const auto warning = zrkmodel::unlistedChoice(
                    *node->object, target.key, fmt::format("{}.{}", target.node, target.key))) {
                tellWarning(*warning, options.isStrict, options.quiet);
            }
        }
    });
    if (options.file == "-") {
        zrkmodel::GraphDocument printed = session.document();
        printed.moveTo("-");
        fmt::print("{}", printed.toText());
        return;
    }
    const std::string file = options.file.value_or(options.document);
    zrk::valueOrThrow(session.save(file, true));
    if (!options.quiet) {
        tell("{}: written; {} {} set\n", zrk::printable(file), assignments.size(),
             assignments.size() == 1 ? "value" : "values");
    }
}

} // namespace

void addEditCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("edit", "set values of nodes and save the document");
    auto options = std::make_shared<EditOptions>();
    options->addTo(*command);
    command->add_option("ASSIGNMENT", options->assignments, "NODE.KEY=VALUE, e.g. 2.radius=0.4")->required();
    command->add_option("-o,--output", options->file,
                        "document to write; without it DOC itself; - is standard output");
    command->add_flag("--quiet", options->quiet, "no progress, no warnings");
    command->callback([&work = program.work, options] { work = [options] { edit(*options); }; });
}

} // namespace zrkcli

#include "apps/cli/commands.h"
#include "apps/cli/options.h"
#include "apps/cli/progress_bar.h"
#include "host/document_json.h"
#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "model/graph.h"

#include <fmt/core.h>

#include <charconv>
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

/// One value that is to be set.
struct Assignment {
    std::uint16_t node;
    std::string key;
    zrkmodel::ZRKJson value;
};

/// NODE.KEY=VALUE, where the value is JSON; a text that isn't is taken for a string.
Assignment parseAssignment(const std::string& text)
{
    const std::size_t dot = text.find('.');
    const std::size_t equals = text.find('=', dot == std::string::npos ? 0 : dot);
    unsigned node = 0;
    bool isAssignment = dot != std::string::npos && equals != std::string::npos && equals > dot + 1;
    if (isAssignment) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + dot, node);
        isAssignment = error == std::errc() && end == text.data() + dot && node <= zrkmodel::kMaxNodeId;
    }
    if (!isAssignment) {
        throw zrk::FaultError({"assignment", zrk::quotation(text), "NODE.KEY=VALUE",
                               "give a node's id, a key of its values and the new value, e.g. 2.radius=0.4"});
    }
    const std::string value = text.substr(equals + 1);
    // As a member of a document, so that it is refused for the same reasons.
    const auto read = zrkmodel::parseDocumentJson("{\"value\": " + value + "}", text);
    const bool isWhole = read && read->size() == 1;
    return {static_cast<std::uint16_t>(node), text.substr(dot + 1, equals - dot - 1),
            isWhole ? (*read)["value"] : zrkmodel::ZRKJson(value)};
}

void edit(const EditOptions& options)
{
    std::vector<Assignment> assignments;
    for (const std::string& text : options.assignments) {
        assignments.push_back(parseAssignment(text));
    }
    if (options.document == "-" && !options.file) {
        throw zrk::FaultError({"edit", "a document from standard input", "a file to write it to",
                               "give -o FILE, or -o - for standard output"});
    }
    std::vector<std::filesystem::path> inputs;
    zrkmodel::EditSession session(loadDocument(options, options.quiet, &inputs));
    checkIsNotRead(options.file.value_or(""), inputs);
    withProgress("editing", options.quiet, [&](ProgressBar& bar) {
        for (const Assignment& assignment : assignments) {
            zrk::valueOrThrow(session.setValue(assignment.node, assignment.key, assignment.value, &bar));
            const auto node = session.document().graph()->getNodePtr(assignment.node);
            if (const auto warning = zrkmodel::unlistedChoice(
                    *node->object, assignment.key, fmt::format("{}.{}", assignment.node, assignment.key))) {
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
    zrk::valueOrThrow(session.save(options.file.value_or(options.document), true));
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

#include "apps/cli/commands.h"
#include "apps/cli/example_files.h"
#include "apps/cli/messages.h"
#include "core/values/fault.h"
#include "formats/atomic_file.h"
#include "formats/file_bytes.h"
#include "host/document_schema.h"
#include "host/graph_document.h"
#include "host/type_lookup.h"
#include "model/graph.h"
#include "model/graph_object.h"
#include "model/manual.h"
#include "model/pins.h"
#include "model/registry.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zrkcli {

using Registration = zrkmodel::ZRKGraphObjectRegistration;
using zrkmodel::Pin_handle;
using zrkmodel::ZRKJson;

namespace {

struct NewOptions {
    std::vector<std::string> types;
    std::string example;
    std::string file;
};

/// What a node is, and its values with their meanings.
ZRKJson commentOn(const Registration& type)
{
    ZRKJson lines = ZRKJson::array();
    lines.push_back(fmt::format("{}: {}", type.strings.title, type.strings.description));
    const zrkmodel::Manual& manual = zrkmodel::manualOf(type);
    for (const auto values : {manual.properties, manual.storedKeys}) {
        for (const zrkmodel::ManualValue& value : values) {
            if (value.isStored) {
                lines.push_back(fmt::format("{}: {}", value.key, zrkmodel::wordsOf(value)));
            }
        }
    }
    return lines;
}

/// Links each output that nothing reads yet, in their order, to the inputs of a node that declare its tag.
void linkInputs(zrkmodel::ZRKGraph& graph, const zrkmodel::ZRKGraphNode& node,
                std::vector<Pin_handle>& unread)
{
    for (const zrkmodel::ZRKGraphPin& input : node.inputs) {
        const auto fed = std::find_if(unread.begin(), unread.end(), [&](Pin_handle output) {
            // Through a wildcard another tag may arrive than is declared.
            const auto from = graph.getNodePtr(output.node());
            const zrkmodel::Tag tag = zrkmodel::effectiveTag(
                zrkmodel::outputPin({graph.weak_from_this(), from->object, from}, output.index()));
            return (input.tag == zrkmodel::Tag::Any || tag == zrkmodel::Tag::None || tag == input.tag) &&
                   graph.connect(output, input.handle) == zrkmodel::ZRKLinkResult::Done;
        });
        if (fed != unread.end()) {
            unread.erase(fed);
        }
    }
    for (const zrkmodel::ZRKGraphPin& output : node.outputs) {
        unread.push_back(output.handle);
    }
}

zrkmodel::GraphDocument documentOf(const std::vector<std::string>& names, const std::string& file)
{
    std::vector<const Registration*> types;
    for (const std::string& name : names) {
        types.push_back(zrk::valueOrThrow(zrkmodel::findType("TYPE", name, "")));
    }
    zrkmodel::GraphDocument document = zrkmodel::GraphDocument::create(file);
    document.setMember(
        "comment",
        ZRKJson::array({"Anything may stand in a comment. What a value may be is told by `zrk types "
                        "TYPE`, and what isn't right in this document by `zrk check`.",
                        "A link leads from [node, output] to [node, input]; indices count from 0. "
                        "\"output\" is what commands sample."}));
    document.setMember("context", {{"modelBounds", {{-1.5, -1.5, -1.5}, {1.5, 1.5, 1.5}}}});
    zrkmodel::ZRKGraph& graph = *document.graph();
    std::vector<Pin_handle> unread;
    for (std::size_t i = 0; i < types.size(); ++i) {
        constexpr int kColumn = 240; // of the editor's canvas
        const auto id = static_cast<std::uint16_t>(i + 1);
        graph.addNode(types[i]->factory(), id);
        document.setNodeMember(id, "comment", commentOn(*types[i]));
        document.setNodeMember(id, "position", {static_cast<int>(i) * kColumn, 0});
        const auto node = graph.getNodePtr(id);
        linkInputs(graph, *node, unread);
        if (!node->outputs.empty()) {
            document.setOutput(zrkmodel::PinAddress{id, 0});
        }
    }
    return document;
}

/// The document of a type's manual.
std::string exampleText(const std::string& name)
{
    const Registration& type = *zrk::valueOrThrow(zrkmodel::findType("--example", name, ""));
    const zrkmodel::Manual& manual = zrkmodel::manualOf(type);
    if (manual.examples.empty()) {
        throw zrk::FaultError({"--example", "no example of " + type.info.name, "a type that has one",
                               "`zrk types` lists the types", zrk::FaultKind::BadInput});
    }
    std::string text(manual.examples.front().document);
    text += text.ends_with("\n") ? "" : "\n";
    return text;
}

/// The files that a document names: one, or all in a folder.
std::vector<ExampleFile> filesOf(const std::string& document)
{
    std::vector<std::string> named;
    for (const auto& [list, key] : {std::pair("nodes", "import"), std::pair("resources", "path")}) {
        for (const ZRKJson& entry : ZRKJson::parse(document).value(list, ZRKJson::array())) {
            if (entry.contains(key)) {
                named.push_back(entry[key].get<std::string>());
            }
        }
    }
    std::vector<ExampleFile> files;
    for (const ExampleFile& file : exampleFiles()) {
        if (std::any_of(named.begin(), named.end(), [&](const std::string& name) {
                return file.path == name || (name.ends_with("/") && file.path.starts_with(name));
            })) {
            files.push_back(file);
        }
    }
    return files;
}

bool isThere(const std::filesystem::path& path)
{
    std::error_code error;
    return std::filesystem::exists(std::filesystem::symlink_status(path, error));
}

/// Whether a file has these bytes.
bool holds(const std::filesystem::path& path, std::string_view bytes)
{
    const auto read = zrk::readFileBytes(path, bytes.size());
    return read && std::equal(read->begin(), read->end(), bytes.begin(), bytes.end(),
                              [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); });
}

/// Writes the files that an example names beside it. Nothing that is there is written over.
void writeFilesOf(const std::string& example, const std::string& file)
{
    const std::filesystem::path folder = std::filesystem::path(file).parent_path();
    const std::vector<ExampleFile> files = filesOf(example);
    for (const ExampleFile& each : files) {
        if (isThere(folder / each.path) && !holds(folder / each.path, each.bytes)) {
            throw zrk::FaultError({"-o",
                                   fmt::format("another file {}, which the example names",
                                               zrk::quotation((folder / each.path).string())),
                                   "a folder without one", "write the example to another folder"});
        }
    }
    for (const ExampleFile& each : files) {
        std::error_code error; // tells itself when the file is written
        std::filesystem::create_directories((folder / each.path).parent_path(), error);
        if (!isThere(folder / each.path)) {
            zrk::valueOrThrow(zrk::writeFile(folder / each.path, each.bytes));
            tell("{}: written\n", zrk::printable((folder / each.path).string()));
        }
    }
}

void writeNew(const NewOptions& options)
{
    const bool prints = options.file == "-";
    if (!prints && isThere(options.file)) {
        throw zrk::FaultError({"-o", fmt::format("the file {}, which exists", zrk::quotation(options.file)),
                               "a name that is free", "give another name, or remove the file"});
    }
    const bool isExample = !options.example.empty();
    const std::string text =
        isExample ? exampleText(options.example) : documentOf(options.types, options.file).toText();
    if (prints) {
        fmt::print("{}", text);
        return;
    }
    if (isExample) {
        writeFilesOf(text, options.file);
    }
    zrk::valueOrThrow(zrk::writeFile(options.file, text));
    tell("{}: written; `zrk check` lists its outputs\n", zrk::printable(options.file));
}

} // namespace

void addNewCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("new", "write a document to start from");
    auto options = std::make_shared<NewOptions>();
    options->types = {"Gyroid", "SphereSDF", "BinaryOperator"};
    auto* types = command->add_option(
        "TYPE", options->types,
        "types of the nodes in their order; without them a gyroid, a sphere and an operator that joins them. "
        "Outputs are linked to the inputs that follow and fit");
    command
        ->add_option("--example", options->example,
                     "instead the example in the manual of this type, with the files that it names")
        ->excludes(types)
        ->type_name("TYPE");
    command
        ->add_option("-o,--output", options->file,
                     "document to write, e.g. part.zrk.json; - is standard output")
        ->required();
    command->callback([&work = program.work, options] { work = [options] { writeNew(*options); }; });
}

} // namespace zrkcli

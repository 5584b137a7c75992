#include "apps/cli/commands.h"
#include "apps/cli/messages.h"
#include "apps/cli/options.h"
#include "formats/atomic_file.h"
#include "host/graph_picture.h"
#include "model/graph.h"

#include <cstddef>
#include <memory>
#include <string>

namespace zrkcli {

namespace {

struct GraphOptions : DocumentOptions {
    std::string file;
    bool quiet = false;
};

void drawGraph(const GraphOptions& options)
{
    if (!options.file.ends_with(".svg")) {
        throw zrk::FaultError({"-o", zrk::quotation(options.file), "a file name ending in .svg",
                               "graphs are drawn as SVG; `zrk slice` draws fields"});
    }
    const zrkmodel::GraphDocument document = loadDocument(options, options.quiet);
    zrk::valueOrThrow(zrk::writeFile(options.file, zrkmodel::graphPicture(document)));
    if (!options.quiet) {
        const std::size_t nodes = document.graph()->nodes().size();
        tell("{}: written; {} {}\n", zrk::printable(options.file), nodes, nodes == 1 ? "node" : "nodes");
    }
}

} // namespace

void addGraphCommand(const Program& program)
{
    CLI::App* command = program.app.add_subcommand("graph", "draw the nodes and links of a document");
    auto options = std::make_shared<GraphOptions>();
    options->addTo(*command);
    command->add_option("-o,--output", options->file, "picture to write: .svg")->required();
    command->add_flag("--quiet", options->quiet, "no progress, no warnings");
    command->callback([&work = program.work, options] { work = [options] { drawGraph(*options); }; });
}

} // namespace zrkcli

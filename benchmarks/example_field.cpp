#include "benchmarks/example_field.h"

#include "components/registration.h"
#include "host/graph_document.h"

#include <stdexcept>
#include <utility>

namespace zrk::bench {

namespace {

using zrkmodel::DocumentWarnings;
using zrkmodel::GraphDocument;

ExampleField fieldOf(const std::string& name, Result<GraphDocument> document)
{
    if (!document) {
        throw std::runtime_error(name + ": " + messageOf(document.error()));
    }
    const auto output = document->outputField();
    if (!output) {
        throw std::runtime_error(name + ": " + messageOf(output.error()));
    }
    return {output->field, std::make_shared<GraphDocument>(std::move(*document))};
}

} // namespace

ExampleField exampleField(const std::string& file)
{
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    DocumentWarnings warnings;
    return fieldOf(file, GraphDocument::load(std::string(ZRK_EXAMPLES) + "/" + file, warnings));
}

ExampleField fieldOfText(const std::string& name, const std::string& text)
{
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    DocumentWarnings warnings;
    return fieldOf(name, GraphDocument::parse(text, name, warnings));
}

} // namespace zrk::bench

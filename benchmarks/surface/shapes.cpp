#include "benchmarks/surface/shapes.h"

#include "components/registration.h"
#include "host/graph_document.h"

#include <memory>
#include <stdexcept>
#include <utility>

namespace zrk::bench {

namespace {

using zrkmodel::DocumentWarnings;
using zrkmodel::GraphDocument;

Shape shapeOf(const std::string& name, Result<GraphDocument> document)
{
    if (!document) {
        throw std::runtime_error(name + ": " + messageOf(document.error()));
    }
    const auto output = document->outputField();
    if (!output) {
        throw std::runtime_error(name + ": " + messageOf(output.error()));
    }
    return {name, PreparedField(output->field), output->field,
            std::make_shared<GraphDocument>(std::move(*document))};
}

Shape fromText(const std::string& name, const std::string& nodes, const std::string& links,
               const std::string& output)
{
    DocumentWarnings warnings;
    const std::string text = R"({"zrkGraph": 1, "nodes": [)" + nodes + R"(], "links": [)" + links +
                             R"(], "output": )" + output + "}";
    return shapeOf(name, GraphDocument::parse(text, name, warnings));
}

Shape fromExample(const std::string& name, const std::string& file)
{
    DocumentWarnings warnings;
    return shapeOf(name, GraphDocument::load(std::string(ZRK_EXAMPLES) + "/" + file, warnings));
}

std::string boxNode(int id, bool isWireframe)
{
    return R"({"id": )" + std::to_string(id) +
           R"(, "type": "BoxSDF", "uuid": "643A5F35-7A73-481F-8D10-DACAA3EF38AB", "values": {"radius": 0.0,
              "center": [0, 0, 0], "dimensions": [2, 1.6, 1.2], "edge thickness": 0.12, "wireframe": )" +
           (isWireframe ? "true" : "false") + "}}";
}

} // namespace

std::vector<Shape> shapes()
{
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    return {
        fromText("sphere", R"({"id": 1, "type": "SphereSDF", "uuid": "6E8C3D87-C1B8-4F58-A88A-E8E774076AFF",
                 "values": {"radius": 0.8, "center": [0, 0, 0]}})",
                 "", "[1, 0]"),
        fromText("box", boxNode(1, false), "", "[1, 0]"),
        fromText("wire", boxNode(1, true), "", "[1, 0]"),
        fromText("rbox",
                 R"({"id": 1, "type": "AffineTransform", "uuid": "527CC3B7-95C3-44FC-93BC-E1888B31DDD5",
                 "values": {"inverse": true, "translation": [0, 0, 0], "rotation": [33, 21, 12],
                 "scaling": [1, 1, 1]}}, )" +
                     boxNode(2, false),
                 R"({"from": [1, 0], "to": [2, 0]})", "[2, 0]"),
        fromExample("gyr", "sphere_and_twisted_gyroid.zrk.json"),
        fromExample("beams", "beams.zrk.json"),
        fromExample("mesh", "mesh.zrk.json"),
    };
}

Shape shapeNamed(const std::string& name)
{
    for (Shape& shape : shapes()) {
        if (shape.name == name) {
            return shape;
        }
    }
    throw std::runtime_error("no shape " + name);
}

SurfaceSettings settingsFor(int n)
{
    SurfaceSettings settings;
    settings.lower = {-1.5, -1.5, -1.5};
    settings.upper = {1.5, 1.5, 1.5};
    settings.cells = {n, n, n};
    settings.keepsCreases = true;
    settings.threads = 1;
    return settings;
}

} // namespace zrk::bench

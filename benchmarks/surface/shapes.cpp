#include "benchmarks/surface/shapes.h"

#include "benchmarks/example_field.h"

#include <stdexcept>

namespace zrk::bench {

namespace {

Shape shapeOf(const std::string& name, const ExampleField& example)
{
    return {name, PreparedField(example.field), example.field, example.document};
}

Shape fromText(const std::string& name, const std::string& nodes, const std::string& links,
               const std::string& output)
{
    return shapeOf(name, fieldOfText(name, R"({"zrkGraph": 1, "nodes": [)" + nodes + R"(], "links": [)" +
                                               links + R"(], "output": )" + output + "}"));
}

Shape knot()
{
    Shape shape = shapeOf("knot", exampleField("mesh.zrk.json"));
    shape.lower = -0.5;
    shape.upper = 5.5;
    return shape;
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
        shapeOf("gyr", exampleField("sphere_and_twisted_gyroid.zrk.json")),
        shapeOf("beams", exampleField("beams.zrk.json")),
        shapeOf("mesh", exampleField("mesh.zrk.json")),
        knot(),
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

SurfaceSettings Shape::settings(int n) const
{
    SurfaceSettings settings;
    settings.lower = {lower, lower, lower};
    settings.upper = {upper, upper, upper};
    settings.cells = {n, n, n};
    settings.keepsCreases = true;
    settings.threads = 1;
    return settings;
}

} // namespace zrk::bench

#include "apps/workbench/window/measured_documents.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace zrkworkbench {

using zrkmodel::ZRKJson;

namespace {

ZRKJson emptyDocument(double halfEdge)
{
    const double h = halfEdge;
    return {{"zrkGraph", 1},
            {"context", {{"modelBounds", {{-h, -h, -h}, {h, h, h}}}}},
            {"nodes", ZRKJson::array()},
            {"links", ZRKJson::array()}};
}

void addNode(ZRKJson& document, int id, const char* type, ZRKJson values, double x, double y)
{
    document["nodes"].push_back(
        {{"id", id}, {"type", type}, {"values", std::move(values)}, {"position", {x, y}}});
}

void addLink(ZRKJson& document, int from, int to, int input)
{
    document["links"].push_back({{"from", {from, 0}}, {"to", {to, input}}});
}

} // namespace

ZRKJson chainOfNodes(int count)
{
    ZRKJson document = emptyDocument(4);
    const int spheres = count / 2;
    for (int i = 0; i < spheres; ++i) {
        const ZRKJson center = {i % 5 - 2, i / 5 % 5 - 2, i / 25 % 5 - 2};
        addNode(document, i, "SphereSDF", {{"center", center}, {"radius", 0.4}}, 220 * (i % 40),
                240 * (i / 40));
    }
    int last = 0;
    for (int i = 1; i < spheres; ++i) {
        const int id = spheres + i - 1;
        addNode(document, id, "BinaryOperator", {{"op_name", "minimum"}}, 220 * (i % 40),
                240 * (i / 40) + 8000);
        addLink(document, last, id, 0);
        addLink(document, i, id, 1);
        last = id;
    }
    addNode(document, count - 1, "Shell", ZRKJson::object(), 8900, 8000);
    addLink(document, last, count - 1, 0);
    document["output"] = {count - 1, 0};
    return document;
}

ZRKJson sphereAndGyroid()
{
    ZRKJson document = emptyDocument(1.5);
    addNode(document, 1, "TwistTransform", {{"angle", 5}}, 0, 120);
    addNode(document, 2, "Gyroid", ZRKJson::object(), 220, 120);
    addNode(document, 3, "SphereSDF", {{"radius", 0.8}}, 220, 0);
    addNode(document, 4, "BinaryOperator", {{"op_name", "minimum"}}, 440, 60);
    addLink(document, 1, 2, 0);
    addLink(document, 3, 4, 0);
    addLink(document, 2, 4, 1);
    document["output"] = {4, 0};
    return document;
}

ZRKJson slowRaster()
{
    ZRKJson document = emptyDocument(1);
    addNode(document, 1, "PatternDesigner", {{"waves", ZRKJson(8000, ZRKJson{{"fx", 1}})}}, 0, 0);
    addNode(document, 2, "RasterFX", {{"auto-update", true}, {"resolution", 160}}, 220, 0);
    addLink(document, 1, 2, 0);
    document["output"] = {2, 0};
    return document;
}

ZRKJson nestedGradients()
{
    constexpr int kLevels = 8;
    ZRKJson document = emptyDocument(1);
    addNode(document, 0, "Gyroid", ZRKJson::object(), 0, 0);
    for (int level = 0; level < kLevels; ++level) {
        const int id = 2 * level + 1;
        addNode(document, id, "GradDerivative", ZRKJson::object(), 440 * level + 220, 0);
        addNode(document, id + 1, "NormVec3", ZRKJson::object(), 440 * level + 440, 0);
        addLink(document, id - 1, id, 0);
        addLink(document, id, id + 1, 0);
    }
    document["output"] = {2 * kLevels, 0};
    return document;
}

double waitFor(const std::function<bool()>& holds, double patience)
{
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop; // a running one, or nothing would be deleted later
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
        if (holds() || static_cast<double>(clock.elapsed()) > patience) {
            loop.quit();
        }
    });
    timer.start(1);
    loop.exec();
    return 1e-6 * static_cast<double>(clock.nsecsElapsed());
}

} // namespace zrkworkbench

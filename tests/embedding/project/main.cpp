// Uses the installed library as a program from outside does, and prints what it finds: embedding DOCUMENT.
#include "bowl.h"

#include <zrk/core/engine/prepared_field.h>
#include <zrk/core/engine/rasterize.h>
#include <zrk/core/values/fault.h>
#include <zrk/host/graph_document.h>
#include <zrk/model/registry.h>
#include <zrk/version.h>

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

/// The values of a document's own output at positions on the x axis, to the bit.
void printValues(const char* title, const zrkmodel::GraphDocument& document)
{
    const zrkmodel::OutputField output = zrk::valueOrThrow(document.outputField());
    const zrk::PreparedField field(output.field);
    // More than a block, so that whole registers and a rest are computed.
    std::vector<double> x(1037);
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = 0.01 * static_cast<double>(i) - 5;
    }
    const std::vector<double> y(x.size(), 0.25);
    std::vector<double> values(x.size());
    field.evaluate(x.data(), y.data(), y.data(), x.size(), values.data());
    std::printf("%s", title);
    for (const std::size_t i : {0, 511, 1024, 1036}) {
        std::printf(" %a", values[i]);
    }
    const zrk::IntervalRecord bounds = field.bounds({zrk::Interval<double>{0, 1}, {0, 1}, {2, 3}});
    std::printf(" bounds %a %a\n", bounds.components[0].lower, bounds.components[0].upper);
}

int run(const std::string& path)
{
    std::printf("version %d.%d\n", ZRK_VERSION_MAJOR, ZRK_VERSION_MINOR);
    std::printf("types %zu\n", zrkmodel::ZRKGraphObject::registry().entries().size());
    Bowl::registerType();
    std::printf("types with ours %zu\n", zrkmodel::ZRKGraphObject::registry().entries().size());

    zrkmodel::DocumentWarnings warnings;
    auto document = zrk::valueOrThrow(zrkmodel::GraphDocument::load(path, warnings));
    printValues("document", document);
    int changes = 0;
    const auto connection =
        document.graph()->node(3).object()->addListener([&](const zrkmodel::ZRKEvent&) { ++changes; });
    zrk::valueOrThrow(document.setValue(3, "radius", 1.5));
    std::printf("changes %d\n", changes);
    printValues("changed", document);

    const auto own = zrk::valueOrThrow(zrkmodel::GraphDocument::parse(
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Bowl", "values": {"height": 0.25, "squares": 2}}],
            "output": [1, 0]})",
        "own", warnings));
    printValues("own", own);
    const auto stored = zrkmodel::ZRKJson::parse(own.toText());
    std::printf("stored %d\n", stored["nodes"][0]["values"]["squares"].get<int>());

    zrk::Raster<1, 3, double> raster;
    zrk::rasterizeField(zrk::valueOrThrow(own.outputField()).field,
                        zrk::Region<3, 3, double, 1>({-1, -1, -1}, {1, 1, 1}, 9, 9, 9), raster);
    std::printf("raster %zu first %a\n", raster.data.size(), raster.data.front());

    const auto refused = document.setValue(3, "no such key", 1);
    std::printf("refused %s\n", refused ? "nothing" : "unknown key");
    return 0;
}

} // namespace

int main(int, char** arguments)
{
    try {
        return run(arguments[1]);
    } catch (const zrk::FaultError& error) {
        std::fprintf(stderr, "%s\n", zrk::messageOf(error.fault()).c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}

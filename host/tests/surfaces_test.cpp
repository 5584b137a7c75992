#include "core/surface/quality.h"
#include "core/surface/surface.h"
#include "host/graph_document.h"
#include "testing/random_graph.h"
#include "testing/sanitized.h"
#include "testing/source_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

// Surfaces of whole graphs are printable, whatever the graph.

namespace zrkmodel {
namespace {

zrk::SurfaceSettings settingsOver(const zrk::Tensor<3, double>& lower, const zrk::Tensor<3, double>& upper,
                                  std::int32_t cells)
{
    zrk::SurfaceSettings settings;
    settings.lower = lower;
    settings.upper = upper;
    settings.cells = {cells, cells, cells};
    settings.threads = 1;
    return settings;
}

void expectClean(const zrk::PreparedField& field, const zrk::SurfaceSettings& settings)
{
    const auto mesh = zrk::extractSurface(field, settings);
    const zrk::MeshReport report = zrk::reportOn(*mesh);
    EXPECT_TRUE(report.isClean() || mesh->triangles.empty())
        << report.openEdges << " open, " << report.overusedEdges << " overused, " << report.turnedEdges
        << " turned, " << report.pinchedVertices << " pinched, " << report.degenerateTriangles
        << " degenerate, " << report.selfIntersections << " self-intersections of " << report.triangleCount
        << " triangles; creases " << settings.keepsCreases << ", flatness " << settings.flatness;
}

/// ZRK_RANDOM_GRAPHS asks for more; 1000 take some minutes.
int graphCount()
{
    const char* wanted = std::getenv("ZRK_RANDOM_GRAPHS");
    return wanted ? std::atoi(wanted) : 40;
}

TEST(GraphSurfaces, OfRandomGraphsAreClean)
{
    int withSurface = 0;
    for (int seed = 0; seed < graphCount(); ++seed) {
        const testing::RandomGraph graph(static_cast<std::uint32_t>(seed));
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + graph.names());
        const zrk::PreparedField field(graph.field());
        for (const std::int32_t cells : {32, 64}) {
            if (cells == 64 && seed % 8 != 0 && graphCount() < 1000) {
                continue;
            }
            zrk::SurfaceSettings settings = settingsOver({-1.5, -1.5, -1.5}, {1.5, 1.4, 1.3}, cells);
            settings.keepsCreases = seed % 2 == 0;
            settings.flatness = seed % 4 < 2 ? 0 : 0.1 * 3 / cells;
            expectClean(field, settings);
            withSurface += zrk::extractSurface(field, settings)->triangles.empty() ? 0 : 1;
        }
    }
    EXPECT_GT(withSurface, graphCount() / 3) << "the graphs say something";
}

TEST(GraphSurfaces, OfExamplesAreCleanThinnedOrNot)
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(zrktest::sourceFolder() / "examples")) {
        if (!entry.path().string().ends_with(".zrk.json")) {
            continue;
        }
        SCOPED_TRACE(entry.path().filename().string());
        DocumentWarnings warnings;
        const auto document = GraphDocument::load(entry.path().string(), warnings);
        ASSERT_TRUE(document);
        const auto output = document->outputField();
        ASSERT_TRUE(output);
        if (output->tag != Tag::Scalar) {
            continue;
        }
        ++count;
        const zrk::BBox<double> box = document->samplingBounds();
        const int cells = zrktest::isSanitized() ? 20 : 40;
        zrk::SurfaceSettings settings = settingsOver(box.min, box.max, cells);
        settings.iso = output->surfaceLevel;
        settings.solid = output->isDensity ? zrk::SolidSide::Above : zrk::SolidSide::Below;
        settings.keepsCreases = true;
        const zrk::PreparedField field(output->field);
        expectClean(field, settings);
        settings.flatness = 0.02 * (box.max[0] - box.min[0]) / cells;
        expectClean(field, settings);
    }
    EXPECT_GT(count, 30);
}

} // namespace
} // namespace zrkmodel

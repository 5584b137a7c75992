#include "host/field_volume.h"
#include "host/grid_rows.h"

#include "core/values/region.h"
#include "host/graph_document.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace zrkmodel {
namespace {

using Dims = std::array<std::int32_t, 3>;

bool isSameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Any rows have the positions of the whole grid, bit for bit, and repeat no coordinate that changes.
TEST(GridRows, AreThoseOfTheWholeGrid)
{
    const struct {
        zrk::BBox<double> bounds;
        Dims dims;
    } cases[] = {
        {{{-1, -1, -1}, {1, 1, 1}}, {5, 4, 3}},
        {{{0.1, -0.3, 1e-9}, {0.7, 0.2, 1e9}}, {7, 2, 5}},
        {{{-0.0, -1.0 / 3, -2}, {3, 0.0, -1}}, {2, 9, 4}},
        {{{1, 2, 3}, {1.0 + 1e-15, 5, 7}}, {40, 3, 2}},
    };
    std::mt19937 draw(5);
    for (const auto& [bounds, dims] : cases) {
        const zrk::GridDomain whole(
            zrk::Region<3, 3, double, 1>(bounds.min, bounds.max, dims[0], dims[1], dims[2]));
        GridRows rows(bounds, dims);
        ASSERT_EQ(rows.rowCount() * rows.rowLength(), whole.sampleCount());
        EXPECT_EQ(rows.bounds()->first, whole.bounds()->first);
        EXPECT_EQ(rows.bounds()->second, whole.bounds()->second);
        for (int n = 0; n < 50; ++n) {
            const auto first = static_cast<std::int64_t>(draw() % static_cast<unsigned>(rows.rowCount()));
            rows.choose(first, 1 + static_cast<std::int64_t>(draw() %
                                                             static_cast<unsigned>(rows.rowCount() - first)));
            const std::int32_t count = rows.sampleCount();
            const auto begin = static_cast<std::int32_t>(draw() % static_cast<unsigned>(count));
            const std::int32_t length = count - begin;
            const auto size = static_cast<std::size_t>(length);
            std::vector<double> found[3] = {std::vector<double>(size), std::vector<double>(size),
                                            std::vector<double>(size)};
            rows.positions(begin, length, found[0].data(), found[1].data(), found[2].data());
            for (std::int32_t i = 0; i < length; ++i) {
                const auto expected = whole.position(static_cast<std::int32_t>(first) * dims[0] + begin + i);
                const auto single = rows.position(begin + i);
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    ASSERT_TRUE(isSameBits(found[axis][static_cast<std::size_t>(i)], expected[axis]));
                    ASSERT_TRUE(isSameBits(single[axis], expected[axis]));
                }
            }
            const auto earlier = static_cast<std::int32_t>(draw() % static_cast<unsigned>(begin + 1));
            const std::int32_t span =
                std::min<std::int32_t>(length, 1 + static_cast<std::int32_t>(draw() % 9));
            const auto repeated = rows.repeatedPositions(earlier, begin, span);
            for (std::int32_t i = 0; i < span; ++i) {
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    ASSERT_TRUE(!repeated[axis] ||
                                isSameBits(rows.position(earlier + i)[axis], rows.position(begin + i)[axis]));
                }
            }
        }
    }
}

// A grid of more samples than 32 bits count.
TEST(GridRows, ReachBeyondThirtyTwoBits)
{
    GridRows rows({{0, 0, 0}, {1, 1, 1}}, {2049, 2049, 1025});
    EXPECT_EQ(rows.rowCount(), 2049ll * 1025);
    rows.choose(rows.rowCount() - 3, 3);
    EXPECT_EQ(rows.sampleCount(), 3 * 2049);
    EXPECT_EQ(rows.position(3 * 2049 - 1), (zrk::Tensor<4, double>{1, 1, 1, 1}));
    EXPECT_EQ(rows.position(0), (zrk::Tensor<4, double>{0, 2046.0 / 2048, 1, 1}));
    EXPECT_EQ(rows.repeatedPositions(0, 2049, 2049), (std::array<bool, 3>{true, false, true}));
}

GraphDocument load(const char* text)
{
    DocumentWarnings warnings;
    return zrk::valueOrThrow(GraphDocument::parse(text, "test.zrk.json", warnings));
}

// A gyroid's values and, for the weights, positions inside of a sphere alone; a vector; a raster that is
// frozen over the whole bounds; undefined values.
TEST(SamplePieces, GiveTheSameForAnySizeAndThreads)
{
    const char* documents[] = {
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}], "output": [1, 0]})",
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "TwistTransform"}], "output": [1, 0]})",
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"}, {"id": 2, "type": "RasterFX", "values": {"resolution": 9}}],
            "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})",
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF", "values": {"center": [1e300, 0, 0]}},
                                     {"id": 2, "type": "BinaryOperator", "values": {"op_name": "subtract"}}],
            "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [1, 0], "to": [2, 1]}], "output": [2, 0]})",
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "mask"}, {"id": 2, "type": "BoxSDF", "values": {}}], "output": [2, 0]})",
    };
    const zrk::BBox<double> bounds({-1, -1.5, -2}, {1, 1, 2});
    const Dims dims{37, 11, 13};
    const zrk::Region<3, 3, double, 1> region(bounds.min, bounds.max, dims[0], dims[1], dims[2]);
    for (const char* text : documents) {
        SCOPED_TRACE(text);
        const GraphDocument document = load(text);
        const OutputField output = zrk::valueOrThrow(document.outputField());
        const FieldValues whole = zrk::valueOrThrow(sampleField(output.field, region, nullptr));
        const std::span<const double> expected = whole;
        for (const double bytes : {0.0, 1000.0, 10000.0, 1e12}) {
            for (const std::size_t threads : {1, 2, 5}) {
                std::vector<double> found;
                const FieldSummary summary = zrk::valueOrThrow(samplePieces(
                    output.field, bounds, dims, {0, dims[2] - 1}, bytes,
                    [&](std::span<const double> values) {
                        EXPECT_LE(values.size_bytes(), std::max(bytes, 37.0 * 8 * output.tag.components));
                        found.insert(found.end(), values.begin(), values.end());
                        return true;
                    },
                    nullptr, threads));
                ASSERT_EQ(found.size(), expected.size());
                EXPECT_EQ(std::memcmp(found.data(), expected.data(), expected.size_bytes()), 0);
                EXPECT_EQ(summary.samples, whole.summary.samples);
                EXPECT_EQ(summary.undefined, whole.summary.undefined);
                EXPECT_EQ(summary.weightless, whole.summary.weightless);
                EXPECT_EQ(summary.least, whole.summary.least);
                EXPECT_EQ(summary.greatest, whole.summary.greatest);
                EXPECT_NEAR(summary.mean, whole.summary.mean, 1e-13); // some 5000 sums in another order
            }
        }
    }
}

TEST(SamplePieces, EndWithTheSink)
{
    const GraphDocument document =
        load(R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}], "output": [1, 0]})");
    int calls = 0;
    const auto summary = samplePieces(
        zrk::valueOrThrow(document.outputField()).field, {{0, 0, 0}, {1, 1, 1}}, {8, 8, 8}, {0, 7}, 8 * 8 * 8,
        [&](std::span<const double>) { return ++calls < 3; }, nullptr);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(summary->samples, 3u * 64);
}

} // namespace
} // namespace zrkmodel

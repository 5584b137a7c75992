#include "formats/surface_tiles.h"

#include "formats/digest.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

namespace zrk {
namespace {

using ::testing::HasSubstr;

/// A tile as somebody else might make one: its checksum is right, whatever its numbers are.
struct ForeignTile {
    std::array<double, 9> positions{0, 0, 0, 1, 0, 0, 0, 1, 0};
    std::array<std::uint32_t, 3> corners{0, 1, 2};
    double radius = 0.1;
    std::array<double, 6> nodes{0, 0, 0, 1, 1, 1};
    std::array<std::uint32_t, 2> beam{0, 1};

    void write(const std::string& path) const
    {
        std::string bytes = "zrk tile of a surface\ndigest: abc\ntile: 0 of 1\nlayers: 1\ncolors: 0\nunit: \n"
                            "title: \nplace: \nvertices: 3\ntriangles: 1\nbeamNodes: 2\nbeams: 1\n---\n";
        const auto append = [&bytes](const auto& values) {
            bytes.append(reinterpret_cast<const char*>(&values), sizeof values);
        };
        append(positions);
        append(corners);
        append(radius);
        append(nodes);
        append(beam);
        Digest digest;
        digest.add(bytes);
        std::ofstream(path, std::ios::binary) << bytes << "checksum: " << digest.hex() << "\nend of tile\n";
    }
};

class SurfaceTilesFiles : public zrktest::TemporaryFolder {
protected:
    Result<JoinedSurface> join(const ForeignTile& tile, bool isGone = false) const
    {
        const std::string file = path("part_0000.zrk-tile");
        tile.write(file);
        return SurfaceTiles::find(path("part.zrk-tiles")).and_then([&](const SurfaceTiles& tiles) {
            return checkTiles(tiles, nullptr).and_then([&] {
                if (isGone) {
                    std::filesystem::remove(file);
                }
                return joinTiles(tiles, path("part.stl"), nullptr);
            });
        });
    }
};

TEST_F(SurfaceTilesFiles, NumbersThatNoSurfaceHasAreRefused)
{
    ASSERT_TRUE(join({})) << messageOf(join({}).error());
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    ForeignTile corner, below, vertex, radius, node, beam;
    corner.corners[2] = 3;
    below.corners[0] = 0xFFFFFFFF; // the vertex before the first
    vertex.positions[4] = kNan;
    radius.radius = kNan;
    node.nodes[5] = std::numeric_limits<double>::infinity();
    beam.beam[1] = 2;
    for (const ForeignTile& tile : {corner, below, vertex, radius, node, beam}) {
        const auto joined = join(tile);
        ASSERT_FALSE(joined);
        EXPECT_THAT(messageOf(joined.error()),
                    HasSubstr("part_0000.zrk-tile: found numbers that no surface has"));
    }
}

TEST_F(SurfaceTilesFiles, ATileThatIsGoneWhenItIsReadIsRefused)
{
    const auto joined = join({}, true);
    ASSERT_FALSE(joined);
    EXPECT_THAT(messageOf(joined.error()), HasSubstr("part_0000.zrk-tile: found no file"));
}

} // namespace
} // namespace zrk

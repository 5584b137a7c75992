#include "formats/part.h"

#include "core/engine/progress.h"
#include "formats/atomic_file.h"
#include "formats/vdb.h"
#include "formats/zip_reader.h"
#include "formats/zip_writer.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <random>
#include <string>

namespace zrk {
namespace {

using ::testing::HasSubstr;

/// Triangles that use every vertex, with coordinates of all sizes that doubles have digits for.
SurfaceMesh randomMesh(std::size_t triangles)
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> mantissa(-1, 1);
    SurfaceMesh mesh;
    for (std::uint32_t i = 0; i < 3 * triangles; ++i) {
        Tensor<3, double> p;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            p[axis] = std::ldexp(mantissa(random), static_cast<int>(random() % 60) - 40);
        }
        mesh.vertices.push_back(p);
    }
    for (std::uint32_t i = 0; i < triangles; ++i) {
        mesh.triangles.push_back({3 * i + 2, 3 * i, 3 * i + 1});
    }
    return mesh;
}

class PartFiles : public zrktest::TemporaryFolder {
protected:
    Result<void> write(const std::string& name, const Part& part, ProgressMonitor* monitor = nullptr) const
    {
        return partFormat(path(name)).and_then([&](PartFormat format) {
            return AtomicFile::create(path(name)).and_then([&](AtomicFile file) {
                return writePart(std::move(file), format, part, monitor);
            });
        });
    }
};

TEST_F(PartFiles, ReadBackToTheSameMesh)
{
    const SurfaceMesh mesh = randomMesh(5000);
    for (const char* name : {"a.ply", "a.obj", "a.PLY", "a.3mf"}) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(write(name, {.mesh = mesh, .unit = LengthUnit::Inch}));
        const SurfaceMesh back = valueOrThrow(readMesh(path(name)));
        EXPECT_EQ(back.triangles, mesh.triangles);
        ASSERT_EQ(back.vertices.size(), mesh.vertices.size());
        EXPECT_EQ(std::memcmp(back.vertices.data(), mesh.vertices.data(), mesh.vertices.size() * 24), 0);
    }
    ASSERT_TRUE(write("a.stl", {.mesh = mesh}));
    const SurfaceMesh back = valueOrThrow(readMesh(path("a.stl")));
    ASSERT_EQ(back.triangles.size(), mesh.triangles.size());
    for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                ASSERT_EQ(back.vertices[back.triangles[t][i]][axis],
                          static_cast<float>(mesh.vertices[mesh.triangles[t][i]][axis]));
            }
        }
    }
}

TEST_F(PartFiles, StlHoldsUnitNormalsAndItsCount)
{
    const SurfaceMesh mesh{{{1, 0, 0}, {1, 2, 0}, {1, 0, 3}}, {{0, 1, 2}, {0, 0, 1}}};
    ASSERT_TRUE(write("a.stl", {.mesh = mesh, .unit = LengthUnit::Micron, .title = "solid"}));
    const std::string file = content("a.stl");
    ASSERT_EQ(file.size(), 84u + 2 * 50);
    EXPECT_NE(file.substr(0, 5), "solid"); // a text file to some readers
    EXPECT_THAT(file.substr(0, 80), HasSubstr("unit um"));
    EXPECT_EQ(file.substr(80, 4), std::string("\2\0\0\0", 4));
    float normals[2][3];
    std::memcpy(normals[0], file.data() + 84, 12);
    std::memcpy(normals[1], file.data() + 134, 12);
    EXPECT_THAT(normals[0], ::testing::ElementsAre(1, 0, 0));
    EXPECT_THAT(normals[1], ::testing::ElementsAre(0, 0, 0)); // without an area
}

TEST_F(PartFiles, RefuseWhatAFormatCannotHold)
{
    const SurfaceMesh far{{{1e39, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {{0, 1, 2}}};
    const auto written = write("a.stl", {.mesh = far});
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().kind, FaultKind::FailedWork);
    EXPECT_THAT(messageOf(written.error()), HasSubstr("32-bit floats"));
    EXPECT_TRUE(write("a.ply", {.mesh = far}));
    EXPECT_EQ(entryCount(), 1);

    EXPECT_THAT(messageOf(partFormat("a.xyz").error()),
                HasSubstr(canWriteVdb() ? ".3mf, .stl, .ply, .obj or .vdb" : ".3mf, .stl, .ply or .obj"));
    EXPECT_THAT(messageOf(partFormat("").error()), HasSubstr("no extension"));
    EXPECT_THAT(messageOf(readMesh("a.vdb").error()), HasSubstr(".3mf, .stl, .ply or .obj"));
    EXPECT_THAT(messageOf(lengthUnit("--unit", "furlong").error()), HasSubstr("m, cm, mm, um, inch or ft"));
    for (const char* name : {"m", "cm", "mm", "um", "inch", "ft"}) {
        EXPECT_EQ(nameOf(valueOrThrow(lengthUnit("", name))), name);
    }
}

/// Stops after some questions.
struct Stopping final : ProgressMonitor {
    int left = 3;
    double last = 0;
    void progress(double fraction) override { last = fraction; }
    bool interruptRequested() override { return --left < 0; }
};

TEST_F(PartFiles, AStoppedWriterLeavesTheOldFile)
{
    const SurfaceMesh mesh = randomMesh(20000);
    for (const char* name : {"a.stl", "a.ply", "a.obj", "a.3mf"}) {
        SCOPED_TRACE(name);
        put(name, "old");
        const std::ptrdiff_t before = entryCount();
        Stopping monitor;
        const auto written = write(name, {.mesh = mesh}, &monitor);
        ASSERT_FALSE(written);
        EXPECT_EQ(written.error().kind, FaultKind::Interrupted);
        EXPECT_TRUE(monitor.isInterruptAcknowledged());
        EXPECT_GT(monitor.last, 0);
        EXPECT_LT(monitor.last, 0.9);
        EXPECT_EQ(content(name), "old");
        EXPECT_EQ(entryCount(), before);
    }
}

// Fails where a chunk is lost or packed in another order, refers to bytes that aren't the ones before it, or
// is cut where the threads or the calls end.
TEST(ZipWriter, PacksLongFilesTheSameOnAnyNumberOfThreads)
{
    std::mt19937 random(2);
    std::string text;
    while (text.size() < 5'000'000) { // lines that repeat what stands up to 32 KiB before
        text += random() % 4 == 0 || text.size() < 40000
                    ? "v " + std::to_string(random()) + "\n"
                    : text.substr(text.size() - 2000 - random() % 30000, 50 + random() % 900);
    }
    const std::size_t chunk = 1 << 18;
    const std::string contents[] = {text, "", text.substr(0, 4 * chunk), text.substr(0, chunk + 1)};
    std::string first;
    for (const std::size_t threads : {1, 2, 3}) {
        SCOPED_TRACE(threads);
        std::string bytes;
        ZipWriter zip(
            [&](const void* data, std::size_t size) {
                bytes.append(static_cast<const char*>(data), size);
                return true;
            },
            threads);
        for (std::size_t i = 0; i < std::size(contents); ++i) {
            zip.begin(std::to_string(i));
            for (std::size_t at = 0; at < contents[i].size();) {
                const std::size_t size = std::min(contents[i].size() - at, 1 + random() % 3'000'000);
                ASSERT_TRUE(zip.write(contents[i].data() + at, size));
                at += size;
            }
        }
        ASSERT_TRUE(zip.finish());
        first = first.empty() ? bytes : first;
        EXPECT_EQ(bytes == first, true);
        const auto* const data = reinterpret_cast<const std::uint8_t*>(bytes.data());
        const ZipReader reader = valueOrThrow(ZipReader::open({data, bytes.size()}, "zip"));
        for (std::size_t i = 0; i < std::size(contents); ++i) {
            const ZipEntry* const entry = reader.find(std::to_string(i));
            ASSERT_TRUE(entry);
            std::string back(contents[i].size() + 1, ' ');
            back.resize(reader.stream(*entry).read(back.data(), back.size()));
            EXPECT_EQ(back == contents[i], true) << i;
        }
    }
}

TEST(ZipWriter, StopsAtItsLimits)
{
    std::mt19937 random(1);
    std::string noise(1 << 16, ' '); // can't be packed
    for (char& c : noise) {
        c = static_cast<char>(random());
    }
    const std::string zeros(1 << 20, '\0'); // can be packed to little
    for (const std::string& content : {noise, zeros}) {
        for (const bool isEnough : {true, false}) {
            const std::uint64_t most = isEnough ? content.size() + 1000 : content.size() - 1000;
            std::uint64_t written = 0;
            ZipWriter zip([&](const void*, std::size_t size) { return written += size, true; }, 1, most);
            zip.begin("a");
            zip.write(content.data(), content.size());
            EXPECT_EQ(zip.finish(), isEnough);
            EXPECT_EQ(zip.isTooLarge(), !isEnough);
            EXPECT_LE(written, most);
        }
    }
    ZipWriter full([](const void*, std::size_t) { return false; });
    EXPECT_FALSE(full.begin("a"));
    EXPECT_FALSE(full.finish());
    EXPECT_FALSE(full.isTooLarge());
}

} // namespace
} // namespace zrk

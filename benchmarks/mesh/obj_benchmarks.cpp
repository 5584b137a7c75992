#include "benchmarks/mesh/mesh_benchmarks.h"
#include "formats/obj.h"
#include "testing/generated_meshes.h"
#include "testing/literal_obj_reader.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

namespace zrk::bench {

namespace {

/// A file with the knot of a million triangles, which is removed with this object.
class KnotFile {
public:
    KnotFile()
        : _path(std::filesystem::temp_directory_path() / ("zrk_knot_" + std::to_string(getpid()) + ".obj"))
    {
        const zrktest::GeneratedMesh mesh = zrktest::torusKnot(2500, 200);
        std::FILE* file = std::fopen(_path.c_str(), "w");
        if (!file) {
            throw std::runtime_error("can't write " + _path.string());
        }
        for (std::size_t i = 0; i < mesh.vertices.size(); i += 3) {
            std::fprintf(file, "v %.6f %.6f %.6f\n", mesh.vertices[i], mesh.vertices[i + 1],
                         mesh.vertices[i + 2]);
        }
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            std::fprintf(file, "f %d %d %d\n", mesh.indices[i] + 1, mesh.indices[i + 1] + 1,
                         mesh.indices[i + 2] + 1);
        }
        std::fclose(file);
    }
    ~KnotFile() { std::filesystem::remove(_path); }
    KnotFile(const KnotFile&) = delete;
    KnotFile& operator=(const KnotFile&) = delete;

    std::string path() const { return _path.string(); }

private:
    std::filesystem::path _path;
};

void addEntry(const std::string& name, const std::shared_ptr<const KnotFile>& file,
              WavefrontObj (*read)(const KnotFile&))
{
    benchmark::RegisterBenchmark(name.c_str(), [file, read](benchmark::State& state) {
        for (auto _ : state) {
            benchmark::DoNotOptimize(read(*file).vertices.data());
        }
        state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                                static_cast<std::int64_t>(std::filesystem::file_size(file->path())));
    })->Unit(benchmark::kMillisecond);
}

} // namespace

std::vector<Row> registerObjReading()
{
    const auto file = std::make_shared<const KnotFile>();
    const WavefrontObj obj = parseWavefrontObj(file->path());
    const WavefrontObj literal = zrktest::literalWavefrontObj(file->path());
    if (obj.vertices != literal.vertices || obj.indices != literal.indices ||
        obj.triangleCount != 1'000'000) {
        throw std::runtime_error("the OBJ reader differs from its baseline");
    }
    addEntry("obj/1M triangles/reader", file, [](const KnotFile& f) { return parseWavefrontObj(f.path()); });
    addEntry("obj/1M triangles/streams", file,
             [](const KnotFile& f) { return zrktest::literalWavefrontObj(f.path()); });
    return {ratio("OBJ file of a million triangles: times a stream a line", {"obj/1M triangles/streams"},
                  {"obj/1M triangles/reader"})
                .noLess(20)};
}

} // namespace zrk::bench

#include "formats/spilled_mesh.h"

#include <filesystem>
#include <system_error>
#include <utility>

namespace zrk {

namespace {

/// A file in whose folder others may be made.
std::string placeBeside(const std::string& target)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(target, error);
    const bool isOrdinary = !fs::exists(status) || fs::is_regular_file(status);
    return isOrdinary ? target : (fs::temp_directory_path() / "zrk").string();
}

} // namespace

SpilledMesh::SpilledMesh(AtomicFile vertices, AtomicFile triangles, AtomicFile colors)
    : _vertices{std::move(vertices)}, _triangles{std::move(triangles)}, _colors{std::move(colors)}
{}

Result<SpilledMesh> SpilledMesh::create(const std::string& target)
{
    const std::string place = placeBeside(target);
    return AtomicFile::create(place).and_then([&](AtomicFile vertices) {
        return AtomicFile::create(place).and_then([&](AtomicFile triangles) {
            return AtomicFile::create(place).map([&](AtomicFile colors) {
                return SpilledMesh(std::move(vertices), std::move(triangles), std::move(colors));
            });
        });
    });
}

Result<void> SpilledMesh::List::finish()
{
    return file.map().map([this](FileMapping written) { mapping = std::move(written); });
}

Result<void> SpilledMesh::finish()
{
    return _vertices.finish().and_then([this] { return _triangles.finish(); });
}

MeshView SpilledMesh::mesh() const
{
    return {_vertices.mapping.as<Tensor<3, double>>(), _triangles.mapping.as<std::array<std::uint32_t, 3>>()};
}

void SpilledMesh::dropPages() const
{
    _vertices.mapping.drop();
    _triangles.mapping.drop();
    _colors.mapping.drop();
}

void SparingMonitor::progress(double fraction)
{
    // Writers report after each piece of 64 KiB.
    constexpr int kCallsBetween = 64;
    if (++_calls % kCallsBetween == 0) {
        _mesh.dropPages();
    }
    _monitor.progress(fraction);
}

} // namespace zrk

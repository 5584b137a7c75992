#pragma once

#include "core/engine/progress.h"
#include "core/values/export.h"
#include "core/values/fault.h"
#include "formats/atomic_file.h"
#include "formats/file_mapping.h"
#include "formats/part.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace zrk {

/// A mesh that needn't fit into memory: its vertices, triangles and colours go to files without names, which
/// are gone with it, however the program ends. First everything is added, then it is read.
class ZRK_API SpilledMesh {
public:
    /// @param target  beside which the files lie: what the mesh is on its way into. Where that is a device or
    ///                a pipe they lie in the folder for temporary files.
    static Result<SpilledMesh> create(const std::string& target);

    /// @{ False when a write has failed: finish() tells why.
    bool add(std::span<const Tensor<3, double>> vertices) { return _vertices.add(vertices); }
    bool add(std::span<const std::array<std::uint32_t, 3>> triangles) { return _triangles.add(triangles); }
    bool add(std::span<const VertexColor> colors) { return _colors.add(colors); }
    /// @}
    std::uint64_t vertexCount() const { return _vertices.count; }

    /// After the last vertex and triangle: mesh() is there.
    Result<void> finish();
    /// After the last colour: colors() are there.
    Result<void> finishColors() { return _colors.finish(); }

    MeshView mesh() const;
    std::span<const VertexColor> colors() const { return _colors.mapping.as<VertexColor>(); }
    /// Gives back the memory of what was read.
    void dropPages() const;

private:
    struct List {
        AtomicFile file;
        FileMapping mapping{};
        std::uint64_t count = 0;

        template <class T>
        bool add(std::span<const T> values)
        {
            count += values.size();
            return file.write(values.data(), values.size_bytes());
        }
        Result<void> finish();
    };
    List _vertices;
    List _triangles;
    List _colors;

    SpilledMesh(AtomicFile vertices, AtomicFile triangles, AtomicFile colors);
};

/// Follows work that reads a spilled mesh front to back, for another monitor: now and then it gives back the
/// memory of what was read.
class ZRK_API SparingMonitor final : public ProgressMonitor {
public:
    SparingMonitor(const SpilledMesh& mesh, ProgressMonitor& monitor) : _mesh(mesh), _monitor(monitor) {}

    void progress(double fraction) override;
    bool interruptRequested() override { return _monitor.interruptRequested(); }

private:
    const SpilledMesh& _mesh;
    ProgressMonitor& _monitor;
    int _calls = 0;
};

} // namespace zrk

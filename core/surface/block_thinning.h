#pragma once

#include "core/surface/surface.h"
#include "core/surface/surface_grid.h"
#include "core/values/batch.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace zrk::surface {

using Triangle = std::array<std::uint32_t, 3>;

/// A triangle that is gone.
inline constexpr Triangle kNoTriangle{0, 0, 0};

/// What thinning knows of a mesh besides its triangles.
struct ThinnedMesh {
    SurfaceMesh& mesh;
    std::vector<float> error;          ///< by triangle: bound of its distance from the first surface
    std::vector<std::uint8_t> isFresh; ///< by vertex: something changed around it since it was tried
};

struct ThinningLimits {
    double flatness;  ///< model units
    double shortEdge; ///< edges below go first
    double margin;    ///< around triangles that pass through each other, where vertices are held
};

/// Thins the triangles of one block. One a thread: it holds the memory for it. Collapses stand in
/// vertex_collapses.cpp, flips in sliver_flips.cpp.
class BlockThinner {
public:
    BlockThinner(ThinnedMesh& mesh, const ThinningLimits& limits) : _all(mesh), _limits(limits) {}

    /// @param nearOnes  triangles with a corner in the block that may change.
    /// @param farOnes   others with a corner in the block, and those whose boxes reach into it.
    /// @param isWithin  by vertex of the mesh, whether it lies in the block. Triangles with all corners
    ///                  within change; they belong to this block alone.
    template <class IsWithin>
    void thin(std::span<const std::uint32_t> nearOnes, std::span<const std::uint32_t> farOnes,
              const IsWithin& isWithin)
    {
        _ids = nearOnes;
        _farOnes = farOnes;
        _vertices.clear();
        _within.clear();
        _localOf.resize(_all.mesh.vertices.size());
        for (const std::uint32_t id : _ids) {
            for (const std::uint32_t v : _all.mesh.triangles[id]) {
                if (localOf(v) == _within.size()) {
                    _within.push_back(isWithin(v) ? 1 : 0);
                }
            }
        }
        thinLoaded();
    }

private:
    static constexpr std::uint32_t kNone = 0xffffffff;
    static constexpr std::size_t kMostMoved = 24; ///< a vertex with more neighbours stays

    /// Rows by axis of up to `kMostMoved` vectors, then the first one once more, and what fills a last batch.
    struct Rows {
        static constexpr std::size_t kLength = kMostMoved + 8;
        static_assert(Batch::size <= 8 && kMostMoved % Batch::size == 0);
        alignas(64) double axis[3][kLength];

        void set(std::size_t i, const Point& p)
        {
            axis[0][i] = p[0];
            axis[1][i] = p[1];
            axis[2][i] = p[2];
        }
        Point at(std::size_t i) const { return {axis[0][i], axis[1][i], axis[2][i]}; }
        /// From a place on.
        Tensor<3, Batch> load(std::size_t i) const
        {
            return {Batch::load(&axis[0][i]), Batch::load(&axis[1][i]), Batch::load(&axis[2][i])};
        }
        void store(std::size_t i, const Tensor<3, Batch>& vectors)
        {
            vectors[0].store(&axis[0][i]);
            vectors[1].store(&axis[1][i]);
            vectors[2].store(&axis[2][i]);
        }
    };

    /// The triangles around a vertex. Triangle i has the vertices i and i + 1 of the ring.
    struct Star {
        std::size_t count;
        Point center;
        double error; ///< the largest of the triangles
        Rows around;  ///< the vertices, from the middle
        Rows normals, firstNormals;
        alignas(64) double across[Rows::kLength];  ///< square of the side between two vertices
        alignas(64) double isSmall[Rows::kLength]; ///< 1 where the normal says little, else 0
        double leastSineSquared;
        Point sum; ///< of the normals, as long as twice the areas
    };

    /// A corner whose side has no other yet, in the list of the side's lower vertex.
    struct Waiting {
        std::uint32_t high; ///< the other vertex
        std::uint32_t following;
    };

    ThinnedMesh& _all;
    ThinningLimits _limits;
    std::vector<std::uint32_t> _localOf; ///< by vertex of the mesh, valid where `_vertices` agrees

    std::span<const std::uint32_t> _ids;      ///< of the triangles
    std::span<const std::uint32_t> _farOnes;  ///< what they may pass through
    std::vector<std::uint32_t> _vertices;     ///< of the mesh
    std::vector<std::uint8_t> _within;        ///< by vertex
    std::vector<std::uint8_t> _isHeld;        ///< by vertex: stays where it is for the sake of others
    std::vector<std::uint8_t> _isMovable;     ///< by vertex: with all its triangles within, in a closed fan
    std::vector<std::uint8_t> _tries;         ///< by vertex
    std::vector<std::uint8_t> _isAtShortEdge; ///< by vertex
    std::vector<Point> _position;

    // Corner 4 t + k is the k-th one of triangle t, of three; the corner opposite lies across the side
    // between the others.
    std::vector<std::uint32_t> _corner;    ///< vertex of each corner, kNone in triangles that are gone
    std::vector<std::uint32_t> _opposite;  ///< corner, or kNone
    std::vector<Waiting> _waiting;         ///< by corner
    std::vector<std::uint32_t> _anyCorner; ///< by vertex
    std::vector<Point> _normal;            ///< by triangle, of unit length or 0
    std::vector<Point> _firstNormal;
    std::vector<float> _error;
    std::vector<std::uint8_t> _isChanged; ///< by triangle

    std::vector<std::uint32_t> _sweepOf; ///< by vertex: the sweep in which something near it changed
    std::vector<std::uint32_t> _mark;    ///< by vertex: the number of the search that met it
    std::uint32_t _sweep = 0;
    std::uint32_t _search = 0;
    std::vector<std::uint32_t> _ring;  ///< corners of a vertex, in order
    Star _star{};                      ///< of the same vertex
    std::vector<std::uint32_t> _other; ///< ring of the target

    void thinLoaded();
    void loadTriangles();
    void findOpposites();
    void findMovable();
    void tryShortEdges();
    void collapseAll();
    std::size_t sweep(double flatness, double longest);
    bool tryVertex(std::uint32_t v, double flatness, double longest);
    void measureStar();
    Batch placesFrom(std::size_t target, std::size_t first) const;
    double gapOfSpokes(std::size_t target, std::size_t seenIn) const;
    bool canMove(std::size_t target, double flatness, double& error);
    void move(std::uint32_t v, std::size_t target, double error);
    bool ringOf(std::uint32_t v, std::vector<std::uint32_t>& ring) const;
    std::size_t flipSlivers();
    bool isNearlySliver(std::uint32_t triangle) const;
    bool tryFlip(std::uint32_t corner);
    bool holdIntersections(double margin);
    void store();

    void join(std::uint32_t corner, std::uint32_t other)
    {
        if (corner != kNone) {
            _opposite[corner] = other;
        }
        if (other != kNone) {
            _opposite[other] = corner;
        }
    }
    const Point& at(std::uint32_t corner) const { return _position[_corner[corner]]; }
    bool isOwn(std::uint32_t triangle) const
    {
        return _corner[4 * triangle] != kNone && _within[_corner[4 * triangle]] &&
               _within[_corner[4 * triangle + 1]] && _within[_corner[4 * triangle + 2]];
    }
    /// The number of a vertex of the mesh among those of the block, a new one if it has none.
    std::uint32_t localOf(std::uint32_t v)
    {
        if (_localOf[v] >= _vertices.size() || _vertices[_localOf[v]] != v) {
            _localOf[v] = static_cast<std::uint32_t>(_vertices.size());
            _vertices.push_back(v);
        }
        return _localOf[v];
    }

    static std::uint32_t next(std::uint32_t corner) { return corner % 4 == 2 ? corner - 2 : corner + 1; }
    static std::uint32_t previous(std::uint32_t corner) { return corner % 4 == 0 ? corner + 2 : corner - 1; }
    static std::uint32_t triangleOf(std::uint32_t corner) { return corner / 4; }
};

} // namespace zrk::surface

#pragma once

#include "core/surface/surface_field.h"
#include "core/surface/surface_grid.h"
#include "core/surface/vertex_placement.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace zrk::surface {

/// Positions in sequence that one field is evaluated at, up to before `end`.
struct FieldRun {
    std::size_t field;
    std::size_t end;
};

/// The crossed edges of some leaves, side by side: where they are crossed and the tangent planes there.
/// Values are those of a `SurfaceField`.
class EdgeRoots {
public:
    EdgeRoots(const SurfaceField& field, const SurfaceGrid& grid) : _field(field), _grid(grid) {}

    void clear() { _count = 0; }
    std::size_t count() const { return _count; }
    /// Room for so many more.
    void reserve(std::size_t more);
    /// Adds edges along an axis, whose ends have values on opposite sides.
    class Adding;

    /// Finds crossings and planes. An edge that the bounds cross begins at them, in the middle.
    void search(std::span<const PreparedField> fields);

    /// Has the search begin in the middle of an edge, which the bounds cross there.
    void beginInMiddle(std::size_t root) { _all[Start][root] = 0.5; }

    /// Share of the way from the lower node where an edge is crossed.
    double at(std::size_t root) const { return _all[At][root]; }
    /// What the field is multiplied by there, which makes a steep one about as steep as a distance.
    double factor(std::size_t root) const { return _all[Factor][root]; }
    /// By number of root.
    const TangentPlane* planes() const { return _planes.data() + 1; }
    /// The number of a plane that is 0 in all.
    static constexpr std::ptrdiff_t kNoPlane = -1;

private:
    // What is known of an edge; some are positions and values of one step only.
    enum Row : std::size_t {
        X, // of the lower node
        Y,
        Z,
        AlongX, // to the upper node
        AlongY,
        AlongZ,
        From, // bracket, shares of the way
        To,
        FromValue, // of opposite sides
        ToValue,
        Moved, // the end that the last step moved: -1 the lower, 1 the upper one
        Factor,
        Tolerance,
        kKeptRows,
        Start = kKeptRows, // where the search begins; not a number where the values tell that
        Bend,
        At,
        Value, // where the search ended
        PX,    // at `At`
        PY,
        PZ,
        kRows
    };
    using Rows = std::array<std::vector<double>, kRows>;

    const SurfaceField& _field;
    const SurfaceGrid& _grid;
    std::size_t _count = 0;
    Rows _all;
    std::vector<std::uint8_t> _fieldOf;
    Rows _open;                         ///< those still to be refined
    std::vector<std::uint32_t> _number; ///< of each of these
    std::vector<std::uint8_t> _fieldOfOpen;
    std::array<std::vector<double>, 2> _scaledEnds; ///< values at both ends of edges, by their factors
    std::array<std::vector<double>, 3> _stepped;    ///< positions a step away along each axis
    std::array<std::vector<double>, 3> _steppedValues;
    std::vector<FieldRun> _runs;
    std::vector<TangentPlane> _planes;

    static void makeRoom(Rows& rows, std::size_t count);
    void fillConstants(std::size_t axis, std::uint8_t field, std::size_t end);
    void findRuns(const std::vector<std::uint8_t>& fieldOf, std::size_t count);
    void evaluate(std::span<const PreparedField> fields, const double* x, const double* y, const double* z,
                  const double* factors, double* values) const;
    void prepare(std::span<const PreparedField> fields);
    void scaleSteepEnds(std::span<const PreparedField> fields);
    void askEnds(std::span<const PreparedField> fields);
    void refine(std::span<const PreparedField> fields);
    void refineOnce(Rows& rows, std::size_t count, bool isFirst, std::span<const PreparedField> fields);
    void findPlanes(std::span<const PreparedField> fields);
};

/// Adds edges along one axis that one field is evaluated for; there is room for them.
class EdgeRoots::Adding {
public:
    /// @param field  of those that `search` is given; never less than that of the edges before.
    Adding(EdgeRoots& roots, std::size_t axis, std::uint8_t field)
        : _roots(roots),
          _axis(axis),
          _field(field),
          _next(roots._count),
          _x(roots._all[X].data()),
          _y(roots._all[Y].data()),
          _z(roots._all[Z].data()),
          _from(roots._all[FromValue].data()),
          _to(roots._all[ToValue].data()),
          _bend(roots._all[Bend].data())
    {}
    Adding(const Adding&) = delete;
    Adding& operator=(const Adding&) = delete;
    ~Adding() { _roots.fillConstants(_axis, _field, _next); }

    /// @param bend  second difference of the values along the edge, for the first guess.
    void add(const Point& node, double fromValue, double toValue, double bend)
    {
        _x[_next] = node[0];
        _y[_next] = node[1];
        _z[_next] = node[2];
        _from[_next] = fromValue;
        _to[_next] = toValue;
        _bend[_next++] = bend;
    }
    /// The number that the next edge will have.
    std::size_t next() const { return _next; }

private:
    EdgeRoots& _roots;
    std::size_t _axis;
    std::uint8_t _field;
    std::size_t _next;
    double* _x;
    double* _y;
    double* _z;
    double* _from;
    double* _to;
    double* _bend;
};

} // namespace zrk::surface

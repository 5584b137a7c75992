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
    /// Adds an edge along `axis` from a node, whose ends have values on opposite sides.
    /// @param bend   second difference of the values along the edge, for the first guess; 0 where it isn't
    ///               known.
    /// @param field  of those that `search` is given; never less than that of the edge before.
    void add(const Point& node, std::size_t axis, double fromValue, double toValue, double bend,
             bool crossesBounds, std::uint8_t field)
    {
        const std::size_t r = _count++;
        _all[X][r] = node[0];
        _all[Y][r] = node[1];
        _all[Z][r] = node[2];
        _all[AlongX][r] = axis == 0 ? _grid.spacing[0] : 0;
        _all[AlongY][r] = axis == 1 ? _grid.spacing[1] : 0;
        _all[AlongZ][r] = axis == 2 ? _grid.spacing[2] : 0;
        _all[FromValue][r] = fromValue;
        _all[ToValue][r] = toValue;
        _all[Bend][r] = bend;
        _all[Start][r] = crossesBounds ? 0.5 : std::numeric_limits<double>::quiet_NaN();
        _fieldOf[r] = field;
    }

    /// Finds crossings and planes. An edge that the bounds cross begins at them, in the middle.
    void search(std::span<const PreparedField> fields);

    /// Share of the way from the lower node where an edge is crossed.
    double at(std::size_t root) const { return _all[At][root]; }
    /// What the field is multiplied by there, which makes a steep one about as steep as a distance.
    double factor(std::size_t root) const { return _all[Factor][root]; }
    const TangentPlane* planes() const { return _planes.data(); }

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

} // namespace zrk::surface

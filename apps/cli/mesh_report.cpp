#include "apps/cli/mesh_report.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <iterator>
#include <string_view>
#include <vector>

namespace zrkcli {

namespace {

using Json = nlohmann::ordered_json;

const char* yesOrNo(bool is) { return is ? "yes" : "no"; }

class Table {
public:
    template <class Value>
    void line(std::string_view name, const Value& value, std::string_view remark = "")
    {
        fmt::format_to(std::back_inserter(_text), "  {:<22} {}{}{}\n", name, value, remark.empty() ? "" : " ",
                       remark);
    }
    const std::string& text() const { return _text; }

private:
    std::string _text;
};

std::string inUnit(double value, const std::string& unit, const char* power = "")
{
    return unit.empty() ? fmt::format("{:.6g}", value) : fmt::format("{:.6g} {}{}", value, unit, power);
}

/// JSON has no NaN: null stands for it.
Json number(double value) { return value == value ? Json(value) : Json(); }

/// Why a mesh is clean, or why not.
std::string reasons(const zrk::MeshReport& mesh)
{
    if (mesh.isClean()) {
        return "closed, manifold, turned outwards, nothing passes through";
    }
    std::vector<const char*> found;
    const auto add = [&](bool is, const char* what) {
        if (is) {
            found.push_back(what);
        }
    };
    add(mesh.triangleCount == 0, "no triangles");
    add(!mesh.isClosed(), "not closed");
    add(!mesh.isManifold(), "not manifold");
    add(mesh.turnedEdges > 0, "edges are turned");
    add(mesh.inwardComponents > 0, "turned inwards");
    add(mesh.degenerateTriangles > 0, "degenerate triangles");
    add(mesh.selfIntersections > 0, "passes through itself");
    return fmt::format("{}", fmt::join(found, ", "));
}

} // namespace

std::string PrintedReport::text() const
{
    Table table;
    table.line("clean", yesOrNo(mesh.isClean()), "(" + reasons(mesh) + ")");
    table.line("vertices", mesh.vertexCount);
    table.line("triangles", mesh.triangleCount);
    table.line("closed", yesOrNo(mesh.isClosed()));
    table.line("  open edges", mesh.openEdges);
    table.line("manifold", yesOrNo(mesh.isManifold()));
    table.line("  overused edges", mesh.overusedEdges, "(in more than two triangles)");
    table.line("  pinched vertices", mesh.pinchedVertices, "(with more than one fan of triangles)");
    table.line("turned edges", mesh.turnedEdges, "(whose two triangles face opposite ways)");
    table.line("degenerate triangles", mesh.degenerateTriangles);
    table.line("self-intersections", mesh.selfIntersections);
    table.line("components", mesh.componentCount);
    table.line("  turned inwards", mesh.inwardComponents, "(and in no other one, as a cavity is)");
    if (mesh.isClosed() && mesh.isManifold()) {
        table.line("genus", mesh.genus, "(handles of all components)");
    }
    table.line("volume", inUnit(mesh.volume, unit, "^3"));
    table.line("area", inUnit(mesh.area, unit, "^2"));
    table.line("shortest edge", inUnit(mesh.shortestEdge, unit));
    table.line("smallest angle", fmt::format("{:.6g} degrees", mesh.smallestAngleDegrees));
    table.line("sharp edges", mesh.sharpEdges,
               fmt::format("(of 30 degrees or more, {} long together)", inUnit(mesh.sharpEdgeLength, unit)));
    if (distance) {
        table.line("off the field, vertices",
                   fmt::format("{} rms, {} at most", inUnit(distance->vertexRms, unit),
                               inUnit(distance->vertexLargest, unit)));
        table.line("  triangle centres",
                   fmt::format("{} rms, {} at most", inUnit(distance->centroidRms, unit),
                               inUnit(distance->centroidLargest, unit)));
    }
    if (doubtfulCells) {
        table.line("doubtful cells", *doubtfulCells, "(may hold features smaller than a cell)");
    }
    return name + "\n" + table.text();
}

std::string PrintedReport::json() const
{
    Json report{{"file", name},
                {"unit", unit.empty() ? Json() : Json(unit)},
                {"clean", mesh.isClean()},
                {"vertices", mesh.vertexCount},
                {"triangles", mesh.triangleCount},
                {"closed", mesh.isClosed()},
                {"openEdges", mesh.openEdges},
                {"manifold", mesh.isManifold()},
                {"overusedEdges", mesh.overusedEdges},
                {"pinchedVertices", mesh.pinchedVertices},
                {"turnedEdges", mesh.turnedEdges},
                {"degenerateTriangles", mesh.degenerateTriangles},
                {"selfIntersections", mesh.selfIntersections},
                {"components", mesh.componentCount},
                {"inwardComponents", mesh.inwardComponents},
                {"genus", mesh.isClosed() && mesh.isManifold() ? Json(mesh.genus) : Json()},
                {"volume", number(mesh.volume)},
                {"area", number(mesh.area)},
                {"shortestEdge", number(mesh.shortestEdge)},
                {"smallestAngleDegrees", number(mesh.smallestAngleDegrees)},
                {"sharpEdges", mesh.sharpEdges},
                {"sharpEdgeLength", number(mesh.sharpEdgeLength)}};
    if (distance) {
        report["distanceError"] = {{"vertexRms", number(distance->vertexRms)},
                                   {"vertexLargest", number(distance->vertexLargest)},
                                   {"centroidRms", number(distance->centroidRms)},
                                   {"centroidLargest", number(distance->centroidLargest)}};
    }
    if (doubtfulCells) {
        report["doubtfulCells"] = *doubtfulCells;
    }
    // What of a name isn't UTF-8 is replaced.
    return report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace zrkcli

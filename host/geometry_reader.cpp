#include "host/geometry_reader.h"

#include "core/curves/circle.h"
#include "core/curves/point_and_solids.h"
#include "core/curves/polyline.h"
#include "core/curves/spline.h"
#include "core/mesh/mesh_field.h"
#include "core/values/stop.h"
#include "formats/part.h"
#include "host/document_values.h"

#include <fmt/core.h>

#include <cmath>
#include <filesystem>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace zrkmodel {

namespace {

using zrk::Vector3;

/// Larger coordinates would overflow where lengths are squared.
constexpr double kLargest = 1e100;

/// Reads the members of one entry.
class Entry {
public:
    Entry(const ZRKJson& json, const std::string& place, const DocumentPaths& paths, const std::string& unit,
          std::vector<zrk::Fault>& warnings)
        : _json(json), _place(place), _paths(paths), _unit(unit), _warnings(warnings)
    {}

    /// Of the document.
    const std::string& unit() const { return _unit; }
    void warn(const std::string& key, zrk::Fault fault) const
    {
        _warnings.push_back(zrk::within(placeOf(key), std::move(fault)));
    }

    [[noreturn]] void refuse(const std::string& key, const std::string& found, const std::string& expected,
                             const std::string& remedy) const
    {
        throw zrk::FaultError({placeOf(key), found, expected, remedy});
    }
    std::string placeOf(const std::string& key) const { return fmt::format("{}, \"{}\"", _place, key); }

    double number(const char* key) const
    {
        const ZRKJson& value = member(key, "a number", "1.0");
        if (!isCoordinate(value)) {
            refuse(key, shown(value), "a number" + limit(), fmt::format("write \"{}\": 1.0", key));
        }
        return value.get<double>();
    }

    Vector3 vector(const char* key) const
    {
        const ZRKJson& value = member(key, "three numbers", "[0, 0, 0]");
        if (!isVector(value)) {
            refuse(key, shown(value), "three numbers" + limit(), fmt::format("write \"{}\": [x, y, z]", key));
        }
        return toVector(value);
    }

    std::vector<Vector3> points() const
    {
        constexpr const char* kRemedy = "write \"points\": [[0, 0, 0], [1, 0, 0]]";
        const ZRKJson& value = member("points", "an array of points", "[[0, 0, 0], [1, 0, 0]]");
        if (!value.is_array()) {
            refuse("points", shown(value), "an array of points", kRemedy);
        }
        std::vector<Vector3> points;
        zrk::StopLookout lookout;
        for (const ZRKJson& point : value) {
            lookout.step();
            if (!isVector(point)) {
                refuse("points", fmt::format("{} as point {}", shown(point), points.size()),
                       "three numbers" + limit(), kRemedy);
            }
            points.push_back(toVector(point));
        }
        if (points.size() < 2) {
            refuse("points", fmt::format("{} of them", points.size()), "at least two", kRemedy);
        }
        return points;
    }

    /// False where it is missing.
    bool closed() const
    {
        const auto value = _json.find("closed");
        if (value != _json.end() && !value->is_boolean()) {
            refuse("closed", shown(*value), "true or false", "write \"closed\": false");
        }
        return value != _json.end() && value->get<bool>();
    }

    std::filesystem::path file(const char* key) const
    {
        const ZRKJson& value = member(key, "a path", "part.obj");
        if (!value.is_string()) {
            refuse(key, shown(value), "a path",
                   fmt::format("write \"{}\": \"part.obj\", relative to the document", key));
        }
        return _paths.find(value.get<std::string>(), fmt::format("{}, \"{}\"", _place, key));
    }

    double radius() const
    {
        const double value = number("radius");
        if (value < 0) {
            refuse("radius", fmt::format("{}", value), "no negative number", "write \"radius\": 1.0");
        }
        return value;
    }

private:
    const ZRKJson& _json;
    const std::string& _place;
    const DocumentPaths& _paths;
    const std::string& _unit;
    std::vector<zrk::Fault>& _warnings;

    const ZRKJson& member(const char* key, const char* expected, const char* example) const
    {
        const auto value = _json.find(key);
        if (value == _json.end()) {
            refuse(key, "none", expected, fmt::format("add \"{}\": {}", key, example));
        }
        return *value;
    }

    static std::string limit() { return fmt::format(" of at most {:g}", kLargest); }
    static bool isCoordinate(const ZRKJson& value)
    {
        return value.is_number() && std::abs(value.get<double>()) <= kLargest;
    }
    static bool isVector(const ZRKJson& value)
    {
        return value.is_array() && value.size() == 3 && isCoordinate(value[0]) && isCoordinate(value[1]) &&
               isCoordinate(value[2]);
    }
    static Vector3 toVector(const ZRKJson& value)
    {
        return {value[0].get<double>(), value[1].get<double>(), value[2].get<double>()};
    }
};

using Geometry = std::shared_ptr<DocumentGeometry>;
using Distances = std::vector<ZRKGeometry::SignedDistance>;

Geometry readPoint(const Entry& entry)
{
    const Vector3 position = entry.vector("position");
    return std::make_shared<DocumentGeometry>(
        std::make_shared<PointShape>(position),
        Distances{SlopeOneDistance{zrk::PointDistance{position}, largestCoordinate(position)}});
}

Geometry readPolyline(const Entry& entry)
{
    return curveGeometry(std::make_shared<const zrk::Polyline>(entry.points(), entry.closed()));
}

Geometry readSpline(const Entry& entry)
{
    return curveGeometry(std::make_shared<const zrk::Spline>(entry.points(), entry.closed()));
}

Geometry readCircle(const Entry& entry)
{
    const Vector3 axis = entry.vector("axis");
    if (!(dot(axis, axis) > 0)) {
        entry.refuse("axis", "a vector of length 0", "a direction", "write \"axis\": [0, 0, 1]");
    }
    return curveGeometry(std::make_shared<const zrk::Circle>(entry.vector("center"), axis, entry.radius()));
}

Geometry readPlane(const Entry& entry)
{
    constexpr double kLeastSine = 1e-12;
    const Vector3 u = entry.vector("u");
    const Vector3 v = entry.vector("v");
    const double area = zrk::length(cross(u, v));
    if (!(area > kLeastSine * zrk::length(u) * zrk::length(v)) || !std::isnormal(area * area)) {
        entry.refuse("v", "u and v on one line", "two directions that span a plane",
                     "write \"u\": [1, 0, 0], \"v\": [0, 1, 0]");
    }
    return surfaceGeometry(zrk::PlanePatch(entry.vector("origin"), u, v));
}

Geometry readSphere(const Entry& entry)
{
    return surfaceGeometry(zrk::SphereSurface(entry.vector("center"), entry.radius()));
}

Geometry readBox(const Entry& entry)
{
    const Vector3 lower = entry.vector("min");
    const Vector3 upper = entry.vector("max");
    for (std::size_t i = 0; i < 3; ++i) {
        if (lower[i] > upper[i]) {
            entry.refuse("max", fmt::format("{} along {}", upper[i], "xyz"[i]),
                         fmt::format("at least the {} of \"min\"", lower[i]),
                         "write the lower corner as \"min\" and the upper one as \"max\"");
        }
    }
    const double size = std::max(largestCoordinate(lower), largestCoordinate(upper));
    return std::make_shared<DocumentGeometry>(
        nullptr, Distances{SlopeOneDistance{zrk::CornerBoxDistance{lower, upper}, size}});
}

/// A mesh as it stands in its file, with its polygons split.
Geometry readMesh(const Entry& entry)
{
    const std::string file = entry.file("path").string();
    zrk::Result<zrk::FileMesh> mesh = zrk::readMesh(file);
    if (!mesh) {
        zrk::Fault& fault = mesh.error();
        std::error_code error;
        // A file that is there has the remedy of its reader.
        if (fault.kind == zrk::FaultKind::BadInput && !std::filesystem::is_regular_file(file, error)) {
            fault.remedy = "write the path of a mesh, .3mf, .stl, .ply or .obj, relative to the document";
        }
        throw zrk::FaultError(zrk::within(entry.placeOf("path"), std::move(fault)));
    }
    if (mesh->triangles.empty()) {
        entry.refuse("path", "no triangles in the file", "vertices and faces of three corners",
                     "export a mesh of triangles");
    }
    for (zrk::Fault& warning : mesh->warnings) {
        entry.warn("path", std::move(warning));
    }
    if (std::optional<zrk::Fault> fault = zrk::unitFault(*mesh, file, entry.unit())) {
        entry.warn("path", std::move(*fault));
    }
    zrk::FlatMesh flat = zrk::flattened(*mesh);
    zrk::StopLookout lookout;
    for (const double coordinate : flat.vertices) {
        lookout.step();
        if (std::abs(coordinate) > kLargest) {
            entry.refuse("path", fmt::format("the coordinate {:g} in the file", coordinate),
                         fmt::format("numbers of at most {:g}", kLargest),
                         "export the mesh in a larger unit");
        }
    }
    const auto field =
        std::make_shared<const zrk::MeshWindingField>(std::move(flat.vertices), std::move(flat.indices));
    return std::make_shared<DocumentGeometry>(
        nullptr, Distances{[field](const Vector3& p) { return field->signedDistance(p); }});
}

struct Shape {
    const char* name;
    Geometry (*read)(const Entry&);
    std::vector<const char*> members;
};

const std::vector<Shape>& shapes()
{
    static const std::vector<Shape> all = {
        {"point", readPoint, {"position"}},
        {"polyline", readPolyline, {"points", "closed"}},
        {"spline", readSpline, {"points", "closed"}},
        {"circle", readCircle, {"center", "axis", "radius"}},
        {"plane", readPlane, {"origin", "u", "v"}},
        {"sphere", readSphere, {"center", "radius"}},
        {"box", readBox, {"min", "max"}},
        {"mesh", readMesh, {"path"}},
    };
    return all;
}

} // namespace

bool isGroup(const ZRKJson& entry)
{
    const auto shape = entry.find("shape");
    return shape != entry.end() && *shape == "group";
}

std::vector<const char*> shapeMembers(const ZRKJson& entry)
{
    std::vector<const char*> members = {"shape"};
    if (isGroup(entry)) {
        members.push_back("members");
    }
    for (const Shape& shape : shapes()) {
        if (entry["shape"] == shape.name) {
            members.insert(members.end(), shape.members.begin(), shape.members.end());
        }
    }
    return members;
}

zrk::Result<std::shared_ptr<DocumentGeometry>> readGeometry(const ZRKJson& json, const std::string& place,
                                                            const DocumentPaths& paths,
                                                            const std::string& unit,
                                                            std::vector<zrk::Fault>& warnings)
{
    return zrk::attempt(place, [&] {
        const Entry entry(json, place, paths, unit, warnings);
        const auto name = json.find("shape");
        std::string known;
        for (const Shape& shape : shapes()) {
            if (name != json.end() && *name == shape.name) {
                return shape.read(entry);
            }
            known += fmt::format("\"{}\", ", shape.name);
        }
        entry.refuse("shape", shownMember(json, "shape"), "the name of a shape",
                     "write one of " + known + "\"group\"");
    });
}

} // namespace zrkmodel

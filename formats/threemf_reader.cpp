#include "formats/threemf.h"

#include "core/values/memory_budget.h"
#include "core/values/stop.h"
#include "core/values/vector3.h"
#include "formats/file_bytes.h"
#include "formats/limits.h"
#include "formats/text_words.h"
#include "formats/xml_reader.h"
#include "formats/zip_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace zrk {

namespace {

constexpr std::string_view kCoreSpace = "http://schemas.microsoft.com/3dmanufacturing/core/2015/02";
constexpr std::string_view kProductionSpace =
    "http://schemas.microsoft.com/3dmanufacturing/production/2015/06";
constexpr std::string_view kBeamSpace = "http://schemas.microsoft.com/3dmanufacturing/beamlattice/2017/02";
/// Extensions that a package may require and that leave its triangles as they are.
constexpr std::string_view kHarmlessSpaces[] = {
    kCoreSpace, kProductionSpace, kBeamSpace,
    "http://schemas.microsoft.com/3dmanufacturing/material/2015/02"};
constexpr std::string_view kModelRelationship =
    "http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel";
constexpr const char* kSaveAnew = "export the mesh anew";
/// Of components in each other.
constexpr std::size_t kMaxComponentDepth = 64;

constexpr std::pair<std::string_view, LengthUnit> kUnitNames[] = {{"micron", LengthUnit::Micron},
                                                                  {"millimeter", LengthUnit::Millimeter},
                                                                  {"centimeter", LengthUnit::Centimeter},
                                                                  {"inch", LengthUnit::Inch},
                                                                  {"foot", LengthUnit::Foot},
                                                                  {"meter", LengthUnit::Meter}};

/// p becomes p times the first three rows plus the fourth.
using Matrix = std::array<double, 12>;
constexpr Matrix kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};

Vector3 moved(const Vector3& p, const Matrix& m)
{
    Vector3 q{};
    for (std::size_t i = 0; i < 3; ++i) {
        q[i] = p[0] * m[i] + p[1] * m[3 + i] + p[2] * m[6 + i] + m[9 + i];
    }
    return q;
}

/// First `inner`, then `outer`.
Matrix composed(const Matrix& inner, const Matrix& outer)
{
    if (inner == kIdentity) {
        return outer;
    }
    Matrix m;
    for (std::size_t row = 0; row < 4; ++row) {
        const Vector3 p = {inner[3 * row], inner[3 * row + 1], inner[3 * row + 2]};
        for (std::size_t i = 0; i < 3; ++i) {
            m[3 * row + i] =
                p[0] * outer[i] + p[1] * outer[3 + i] + p[2] * outer[6 + i] + (row == 3 ? outer[9 + i] : 0);
        }
    }
    return m;
}

bool isMirror(const Matrix& m)
{
    const auto row = [&m](std::size_t i) { return Vector3{m[3 * i], m[3 * i + 1], m[3 * i + 2]}; };
    return dot(row(0), cross(row(1), row(2))) < 0;
}

/// An object's name within a package: the path of its part, and its id there.
using ObjectName = std::pair<std::string, std::uint32_t>;

struct Placed {
    ObjectName object;
    Matrix matrix = kIdentity;
};

struct Object {
    std::string type = "model";
    std::vector<Vector3> vertices;
    std::vector<std::array<std::uint32_t, 3>> triangles;
    std::vector<Placed> components;

    bool isLeftOut() const { return type == "support" || type == "solidsupport" || type == "other"; }
};

/// How much an object is with all that it is made of.
struct Extent {
    std::uint64_t vertices = 0;
    std::uint64_t triangles = 0;
    std::uint64_t objects = 0;
    std::size_t depth = 1; ///< objects within each other
};

class PackageReader {
public:
    PackageReader(std::span<const std::uint8_t> bytes, const std::string& place)
        : _place(place), _zip(valueOrThrow(ZipReader::open(bytes, place)))
    {}

    FileMesh read()
    {
        readModel(modelPath(), true);
        // Parts that components name may name others.
        while (!_pending.empty()) {
            const std::string part = std::move(_pending.back());
            _pending.pop_back();
            readModel(part, false);
        }
        checkSize();
        for (const Placed& item : _items) {
            append(item.object, item.matrix);
        }
        if (_leftOut > 0) {
            _mesh.warnings.push_back({_place,
                                      fmt::format("{} objects that are supports or no parts", _leftOut),
                                      "objects of the type \"model\"",
                                      "change their types where they are parts; these objects are left out"});
        }
        if (_lattices > 0) {
            _mesh.warnings.push_back(
                {_place, fmt::format("{} lattices of beams, which aren't read", _lattices), "triangles alone",
                 "nothing, if the beams are there as triangles, too; else export them so"});
        }
        return std::move(_mesh);
    }

private:
    const std::string& _place;
    ZipReader _zip;
    std::map<ObjectName, Object> _objects;
    std::map<ObjectName, Extent> _extents;
    std::vector<std::string> _parts; ///< that are read, or pending
    std::vector<std::string> _pending;
    std::vector<Placed> _items;
    std::uint64_t _leftOut = 0;
    std::uint64_t _lattices = 0;
    FileMesh _mesh;
    StopLookout _lookout;

    [[noreturn]] void refuse(const std::string& place, const std::string& found,
                             const std::string& expected) const
    {
        throw FaultError({place, found, expected, kSaveAnew});
    }

    /// @param path  within the package, without the slash in front.
    XmlReader xmlOf(const std::string& path) const
    {
        const ZipEntry* entry = _zip.find(path);
        if (!entry) {
            refuse(_place, "no " + quotation(path) + " in the archive", "a 3MF package, which has one");
        }
        constexpr std::uint64_t kLarge = std::uint64_t{16} << 20;
        if (entry->size > kLarge) {
            // Vertices and triangles take about half of what their text does.
            checkMemory(0.5 * static_cast<double>(entry->size), _place,
                        fmt::format("a model of {} bytes", entry->size), "name a smaller file");
        }
        auto stream = std::make_shared<ZipReader::Stream>(_zip.stream(*entry));
        return {[stream](char* bytes, std::size_t size) { return stream->read(bytes, size); },
                _place + ", " + printable(path, kMaxQuotation)};
    }

    static std::string withoutSlash(const std::string& path)
    {
        return path.starts_with('/') ? path.substr(1) : path;
    }

    std::string modelPath() const
    {
        XmlReader xml = xmlOf("_rels/.rels");
        for (auto event = xml.next(); event != XmlReader::Event::Finished; event = xml.next()) {
            const std::string* type = xml.attribute("Type");
            const std::string* target = xml.attribute("Target");
            if (event == XmlReader::Event::Begin && type && target && *type == kModelRelationship) {
                return withoutSlash(*target);
            }
        }
        refuse(_place, "no 3D model in the archive", "a 3MF package, which has one");
    }

    const std::string& required(const XmlReader& xml, std::string_view name) const
    {
        const std::string* value = xml.attribute(name);
        if (!value) {
            refuse(xml.place(), quotation(xml.name()) + " without " + quotation(name), "one");
        }
        return *value;
    }

    double coordinate(const XmlReader& xml, std::string_view name) const
    {
        const std::string& text = required(xml, name);
        const std::optional<double> number = finiteNumber(text);
        if (!number) {
            refuse(xml.place(), quotation(name) + ": " + quotation(text), "a finite number");
        }
        return *number;
    }

    std::uint32_t wholeNumber(const XmlReader& xml, std::string_view name) const
    {
        const std::string& text = required(xml, name);
        const auto number = zrk::wholeNumber<std::uint32_t>(text);
        if (!number || *number > kMaxMeshNumbers) {
            refuse(xml.place(), quotation(name) + ": " + quotation(text),
                   fmt::format("a whole number from 0 to {}", kMaxMeshNumbers));
        }
        return *number;
    }

    Matrix matrixOf(const XmlReader& xml) const
    {
        const std::string* text = xml.attribute("transform");
        Matrix matrix = kIdentity;
        if (!text) {
            return matrix;
        }
        std::string_view rest = *text;
        for (double& number : matrix) {
            const std::optional<double> value = finiteNumber(takeWord(rest));
            if (!value) {
                refuse(xml.place(), "the transform " + quotation(*text), "twelve finite numbers");
            }
            number = *value;
        }
        return matrix;
    }

    /// What an item or a component names.
    Placed placedOf(const XmlReader& xml, const std::string& part)
    {
        const std::string* path = xml.attribute("path", kProductionSpace);
        Placed placed{{path ? withoutSlash(*path) : part, wholeNumber(xml, "objectid")}, matrixOf(xml)};
        if (std::find(_parts.begin(), _parts.end(), placed.object.first) == _parts.end()) {
            if (_parts.size() == kMaxThreeMfFiles) {
                refuse(xml.place(), "a part more", fmt::format("at most {}", kMaxThreeMfFiles));
            }
            _parts.push_back(placed.object.first);
            _pending.push_back(placed.object.first);
        }
        return placed;
    }

    void readModel(const std::string& part, bool isRoot)
    {
        if (isRoot) {
            _parts.push_back(part);
        }
        XmlReader xml = xmlOf(part);
        Object* object = nullptr;
        bool hasModel = false;
        for (auto event = xml.next(); event != XmlReader::Event::Finished; event = xml.next()) {
            _lookout.step();
            if (xml.space() == kBeamSpace && event == XmlReader::Event::Begin &&
                xml.name() == "beamlattice") {
                ++_lattices;
            }
            if (xml.space() != kCoreSpace) {
                continue;
            }
            const std::string& name = xml.name();
            if (event == XmlReader::Event::End) {
                if (name == "object" && object) {
                    checkCorners(xml, *object);
                    object = nullptr;
                }
            } else if (name == "vertex" && object) {
                addVertex(xml, *object);
            } else if (name == "triangle" && object) {
                object->triangles.push_back(
                    {wholeNumber(xml, "v1"), wholeNumber(xml, "v2"), wholeNumber(xml, "v3")});
            } else if (name == "component" && object) {
                object->components.push_back(placedOf(xml, part));
            } else if (name == "object") {
                object = &begunObject(xml, part);
            } else if (name == "item" && isRoot) {
                _items.push_back(placedOf(xml, part));
            } else if (name == "model") {
                hasModel = true;
                checkRequired(xml);
                noteUnit(xml, isRoot);
            }
        }
        if (!hasModel) {
            refuse(xml.place(), "no element \"model\"", "a 3MF model");
        }
    }

    void addVertex(const XmlReader& xml, Object& object) const
    {
        if (object.vertices.size() >= kMaxMeshNumbers / 3) {
            refuseLargeMesh();
        }
        object.vertices.push_back({coordinate(xml, "x"), coordinate(xml, "y"), coordinate(xml, "z")});
    }

    [[noreturn]] void refuseLargeMesh() const
    {
        throw FaultError({_place, "more vertices or triangles than the limit",
                          fmt::format("at most {}", kMaxMeshNumbers / 3), "divide the mesh",
                          FaultKind::FailedWork});
    }

    Object& begunObject(const XmlReader& xml, const std::string& part)
    {
        const std::uint32_t id = wholeNumber(xml, "id");
        const auto [place, isNew] = _objects.try_emplace({part, id});
        if (!isNew) {
            refuse(xml.place(), fmt::format("the object {} a second time", id), "one of each id");
        }
        if (const std::string* type = xml.attribute("type")) {
            place->second.type = *type;
        }
        return place->second;
    }

    void checkCorners(const XmlReader& xml, const Object& object) const
    {
        for (const auto& triangle : object.triangles) {
            const std::uint32_t highest = *std::max_element(triangle.begin(), triangle.end());
            if (highest >= object.vertices.size()) {
                refuse(xml.place(), fmt::format("a triangle with the vertex {}, counted from 0", highest),
                       fmt::format("one of the {} vertices of its mesh", object.vertices.size()));
            }
        }
    }

    void checkRequired(const XmlReader& xml) const
    {
        const std::string* prefixes = xml.attribute("requiredextensions");
        std::string_view rest = prefixes ? std::string_view(*prefixes) : std::string_view();
        for (std::string_view prefix = takeWord(rest); !prefix.empty(); prefix = takeWord(rest)) {
            const std::string& space = xml.spaceOf(prefix);
            if (std::find(std::begin(kHarmlessSpaces), std::end(kHarmlessSpaces), space) ==
                std::end(kHarmlessSpaces)) {
                throw FaultError({xml.place(),
                                  "the required extension " + quotation(space.empty() ? prefix : space),
                                  "a package of plain meshes", "export the mesh anew, as triangles alone"});
            }
        }
    }

    void noteUnit(const XmlReader& xml, bool isRoot)
    {
        const std::string* name = xml.attribute("unit");
        const auto* known = std::find_if(std::begin(kUnitNames), std::end(kUnitNames), [&](const auto& unit) {
            return unit.first == (name ? std::string_view(*name) : std::string_view("millimeter"));
        });
        if (known == std::end(kUnitNames)) {
            refuse(xml.place(), "the unit " + quotation(*name),
                   "micron, millimeter, centimeter, inch, foot or meter");
        }
        if (isRoot) {
            _mesh.unit = known->second;
        } else if (*_mesh.unit != known->second) {
            _mesh.warnings.push_back({xml.place(), "the unit " + std::string(nameOf(known->second)),
                                      std::string(nameOf(*_mesh.unit)) + ", as in the package's main part",
                                      "export the mesh anew; nothing is rescaled"});
        }
    }

    const Object& objectOf(const ObjectName& name) const
    {
        const auto object = _objects.find(name);
        if (object == _objects.end()) {
            refuse(_place,
                   fmt::format("an item or component of the object {}, which isn't there", name.second),
                   "one of the package's objects");
        }
        return object->second;
    }

    /// What an object comes to, each one counted once.
    const Extent& extentOf(const ObjectName& name, std::size_t outer = 0)
    {
        const Object& object = objectOf(name);
        if (const auto known = _extents.find(name); known != _extents.end()) {
            return known->second;
        }
        checkDepth(outer);
        Extent extent{object.vertices.size(), object.triangles.size(), 1};
        for (const Placed& component : object.components) {
            const Extent& part = extentOf(component.object, outer + 1);
            add(extent, part);
            extent.depth = std::max(extent.depth, part.depth + 1);
            checkDepth(extent.depth);
        }
        return _extents[name] = extent;
    }

    void checkDepth(std::size_t depth) const
    {
        if (depth > kMaxComponentDepth) {
            refuse(_place, "components that lead in a circle, or are nested deeper than the limit",
                   fmt::format("at most {} objects within each other", kMaxComponentDepth));
        }
    }

    void add(Extent& sum, const Extent& part) const
    {
        sum.vertices += part.vertices;
        sum.triangles += part.triangles;
        sum.objects += part.objects;
        if (sum.vertices > kMaxMeshNumbers / 3 || sum.triangles > kMaxMeshNumbers / 3) {
            refuseLargeMesh();
        }
        if (sum.objects > kMaxThreeMfMeshes) {
            refuse(_place, fmt::format("{} objects, counted through components of components", sum.objects),
                   fmt::format("at most {}", kMaxThreeMfMeshes));
        }
    }

    /// Before anything is put together: components of components can stand for more than any memory holds.
    void checkSize()
    {
        Extent all;
        for (const Placed& item : _items) {
            add(all, extentOf(item.object));
        }
        const double bytes = static_cast<double>(all.vertices) * sizeof(Vector3) +
                             static_cast<double>(all.triangles) * sizeof(_mesh.triangles[0]);
        checkMemory(bytes, _place, fmt::format("{} triangles in all its items", all.triangles),
                    "name a smaller file");
        _mesh.vertices.reserve(all.vertices);
        _mesh.triangles.reserve(all.triangles);
    }

    void append(const ObjectName& name, const Matrix& matrix)
    {
        const Object& object = objectOf(name);
        _lookout.step();
        if (object.isLeftOut()) {
            ++_leftOut;
            return;
        }
        const auto first = static_cast<std::uint32_t>(_mesh.vertices.size());
        const bool isMoved = matrix != kIdentity;
        for (const Vector3& vertex : object.vertices) {
            _lookout.step();
            const Vector3 p = isMoved ? moved(vertex, matrix) : vertex;
            if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
                refuse(_place, "a vertex that a transform takes beyond all numbers", "finite coordinates");
            }
            _mesh.vertices.push_back(p);
        }
        const bool isTurned = isMirror(matrix);
        for (const auto& t : object.triangles) {
            _lookout.step();
            _mesh.triangles.push_back(
                {first + t[0], first + t[isTurned ? 2 : 1], first + t[isTurned ? 1 : 2]});
        }
        for (const Placed& component : object.components) {
            append(component.object, composed(component.matrix, matrix));
        }
    }
};

} // namespace

Result<FileMesh> readThreeMf(std::span<const std::uint8_t> bytes, const std::string& place)
{
    return attempt(place, [&] { return PackageReader(bytes, place).read(); });
}

Result<FileMesh> readThreeMfFile(const std::filesystem::path& path)
{
    return readFileBytes(path, kMaxMeshFileBytes).and_then([&](const std::vector<std::uint8_t>& bytes) {
        return readThreeMf(bytes, path.string());
    });
}

} // namespace zrk

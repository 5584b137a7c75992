#include "components/coordinates/curve_length.h"
#include "components/coordinates/curve_uvw.h"
#include "components/coordinates/face_uvw.h"
#include "components/mesh/beam_sdf.h"
#include "components/mesh/mesh_sdf.h"
#include "components/operators/geometry_blend.h"
#include "components/patterns/pattern_designer.h"
#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "components/raster/raster_fx.h"
#include "components/registration.h"
#include "components/transport/image_sweep.h"
#include "core/curves/circle.h"
#include "core/curves/point_and_solids.h"
#include "core/curves/polyline.h"
#include "core/curves/spline.h"
#include "core/engine/prepared_field.h"
#include "model/image_library.h"
#include "model/registry.h"
#include "testing/component_checks.h"
#include "testing/generated_meshes.h"
#include "testing/special_values.h"
#include "testing/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// Every sample lies within the bounds of its box, its weight too, for every component; and those that have
// bounds have them.

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Random = std::mt19937_64;
using Range = zrk::Interval<double>;

using zrk::testing::kInfinity;

double uniform(Random& random, double from, double to)
{
    return std::uniform_real_distribution<double>(from, to)(random);
}

/// A box that is small, large, degenerate, huge or far away.
zrk::PositionBox randomBox(Random& random)
{
    const std::uint64_t kind = random() % 10;
    const double far = kind == 0 ? 1e6 : kind == 1 ? 1e120 : 3;
    const double sizes[] = {0, 1e-9, 0.01, 0.1, 0.1, 0.5, 0.5, 3, 100, 1e18};
    const double size = sizes[random() % std::size(sizes)];
    zrk::PositionBox box;
    for (Range& side : box) {
        const double lower = uniform(random, -far, far);
        side = {lower, lower + size * uniform(random, 0, 1)};
    }
    if (random() % 40 == 0) {
        box[random() % 3] = {0.0, kInfinity};
    }
    return box;
}

/// Positions in a box, its corners among them.
struct Positions {
    static constexpr std::size_t kCount = 64;
    std::vector<double> rows[3];

    Positions(const zrk::PositionBox& box, Random& random)
    {
        for (std::size_t i = 0; i < kCount; ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                const double upper = std::min(box[c].upper, 1e300);
                const double share = i < 8 ? static_cast<double>(i >> c & 1u) : uniform(random, 0, 1);
                const double place = box[c].lower * (1 - share) + upper * share;
                rows[c].push_back(std::clamp(place, box[c].lower, upper));
            }
        }
    }
};

/// Closed curves and open ones of the core, as a host hands them out.
template <class Curve>
struct CurveOf final : IParametricCurve {
    Curve curve;
    bool isExact;

    CurveOf(Curve of, bool exact) : curve(std::move(of)), isExact(exact) {}
    double length() const override { return curve.length(); }
    CurveParametrization parametrization() const override
    {
        CurveParametrization record;
        record.closestParameter = [c = curve](const Vector& p) { return c.closestParameter(p); };
        record.position = [c = curve](double t) { return c.position(t); };
        record.frame = [c = curve](double t, Vector& a, Vector& b, Vector& n) { c.frame(t, a, b, n); };
        record.arcLength = [c = curve](double t) { return c.arcLength(t); };
        record.tMin = curve.tMin();
        record.tMax = curve.tMax();
        record.length = curve.length();
        record.closed = curve.closed();
        record.bounds[0] = curve.bounds().min;
        record.bounds[1] = curve.bounds().max;
        record.isExact = isExact;
        return record;
    }
};

struct Geometry final : ZRKGeometry {
    std::shared_ptr<IGeometry3d> shape;
    std::vector<SignedDistance> distances;

    std::vector<SignedDistance> getSDFUngroup() const override { return distances; }
    std::shared_ptr<IGeometry3d> geometry() const override { return shape; }
};

std::shared_ptr<Geometry> randomCurve(Random& random, bool isExact = true)
{
    std::vector<zrk::Vector3> points;
    for (int i = 0; i < 6; ++i) {
        points.push_back({uniform(random, -1, 1), uniform(random, -1, 1), uniform(random, -1, 1)});
    }
    auto geometry = std::make_shared<Geometry>();
    const bool closed = random() % 2 == 0;
    switch (random() % 3) {
    case 0:
        geometry->shape = std::make_shared<CurveOf<zrk::Polyline>>(zrk::Polyline(points, closed), isExact);
        break;
    case 1:
        geometry->shape = std::make_shared<CurveOf<zrk::Spline>>(zrk::Spline(points, closed), isExact);
        break;
    default:
        geometry->shape = std::make_shared<CurveOf<zrk::Circle>>(
            zrk::Circle(points[0], points[1], std::abs(points[2][0])), isExact);
    }
    return geometry;
}

std::shared_ptr<Geometry> randomSolids(Random& random, bool isKnown = true)
{
    auto geometry = std::make_shared<Geometry>();
    for (int i = 0; i < 4; ++i) {
        const zrk::Vector3 corner{uniform(random, -1, 1), uniform(random, -1, 1), uniform(random, -1, 1)};
        const zrk::CornerBoxDistance solid{corner, corner + zrk::Vector3{0.3, 0.2, 0.1}};
        geometry->distances.push_back(isKnown ? ZRKGeometry::SignedDistance(SlopeOneDistance{solid, 2.0})
                                              : ZRKGeometry::SignedDistance(solid));
    }
    return geometry;
}

template <int D>
zrk::Raster<1, D, double> randomRaster(Random& random)
{
    const auto edge = [&] { return static_cast<int>(1 + random() % 40); };
    auto raster = [&] {
        if constexpr (D == 2) {
            return zrk::Raster<1, 2, double>(edge(), edge());
        } else {
            return zrk::Raster<1, 3, double>(edge(), edge(), edge());
        }
    }();
    for (double& pixel : raster.data) {
        pixel = random() % 500 == 0 ? kInfinity : uniform(random, -1, 2);
    }
    // Often a raster without infinities, smooth in parts.
    if (random() % 2 == 0) {
        for (std::size_t i = 0; i < raster.data.size(); ++i) {
            raster.data[i] = std::sin(0.05 * static_cast<double>(i));
        }
    }
    return raster;
}

std::shared_ptr<ZRKImage2d> randomImage(Random& random)
{
    return std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{randomRaster<2>(random)});
}

struct RandomLibrary final : ZRKImage3dLibraryView {
    Random& random;

    explicit RandomLibrary(Random& source) : random(source) {}
    std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string&) override
    {
        auto entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1"));
        entry->resolve(
            std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{randomRaster<3>(random)}));
        return entry;
    }
};

struct UnitCube final : ZRKContext {
    std::optional<zrk::BBox<double>> modelBounds() const override
    {
        return zrk::BBox<double>({-1, -1, -1}, {1, 1, 1});
    }
};

struct Silent final : zrk::ProgressMonitor {
    void progress(double) override {}
    bool interruptRequested() override { return false; }
};

class Bounds : public zrktest::TemporaryFolder {
protected:
    std::string meshFile(Random& random) const
    {
        zrktest::GeneratedMesh mesh = random() % 2 == 0 ? zrktest::icosphere(3) : zrktest::torusKnot(40, 8);
        if (random() % 3 == 0) {
            mesh.indices.resize(mesh.indices.size() / 2); // open
        }
        std::ostringstream text;
        text.precision(17);
        for (std::size_t i = 0; i < mesh.vertices.size(); i += 3) {
            text << "v " << mesh.vertices[i] << ' ' << mesh.vertices[i + 1] << ' ' << mesh.vertices[i + 2]
                 << '\n';
        }
        for (std::size_t i = 0; i < mesh.indices.size(); i += 3) {
            text << "f " << mesh.indices[i] + 1 << ' ' << mesh.indices[i + 1] + 1 << ' '
                 << mesh.indices[i + 2] + 1 << '\n';
        }
        put("mesh.obj", text.str());
        return path("mesh.obj");
    }

    /// What the stored values can't give.
    void furnish(ZRKGraphObject& object, Random& random) const
    {
        if (auto* c = dynamic_cast<ZRKCurveLength*>(&object)) {
            c->curve.set(randomCurve(random));
        } else if (auto* curve = dynamic_cast<ZRKCurveUVW*>(&object)) {
            curve->curve.set(randomCurve(random));
        } else if (auto* blend = dynamic_cast<ZRKGeometryBlend*>(&object)) {
            blend->geometries.set(randomSolids(random));
        } else if (auto* mesh = dynamic_cast<ZRKMeshSDF*>(&object)) {
            ASSERT_TRUE(mesh->importFiles({meshFile(random)}, nullptr));
        } else if (auto* beams = dynamic_cast<ZRKBeamSDF*>(&object)) {
            if (random() % 2 == 0) {
                ASSERT_TRUE(beams->importFiles({meshFile(random)}, nullptr));
            }
        } else if (auto* scalars = dynamic_cast<ZRKScalarImageSampler*>(&object)) {
            scalars->pick(randomImage(random));
        } else if (auto* vectors = dynamic_cast<ZRKVector3ImageSampler*>(&object)) {
            vectors->pick(randomImage(random));
        } else if (auto* colors = dynamic_cast<ZRKRGBAImageSampler*>(&object)) {
            colors->pick(randomImage(random));
        } else if (auto* extrude = dynamic_cast<ZRK2DImageExtrude*>(&object)) {
            extrude->pick(random() % 3, randomImage(random));
            extrude->pick(random() % 3, randomImage(random));
            extrude->chooseCompositing(static_cast<int>(random() % 4));
        } else if (auto* stack = dynamic_cast<ZRK3DImage*>(&object)) {
            RandomLibrary library(random);
            stack->loadFolder(library, "scan");
        } else if (auto* fx = dynamic_cast<ZRKRasterFX*>(&object)) {
            fx->autoUpdate.set(true);
        } else if (auto* sweep = dynamic_cast<ZRKImageSweep*>(&object)) {
            Silent monitor;
            sweep->resolution.set(8);
            sweep->steps.set(3);
            zrk::Raster<1, 2, double> slope(3, 3);
            std::iota(slope.data.begin(), slope.data.end(), 1.0);
            sweep->pick(sweep->imageA, std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{slope}));
            std::reverse(slope.data.begin(), slope.data.end());
            sweep->pick(sweep->imageB, std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{slope}));
            ASSERT_TRUE(sweep->compute(&monitor));
        }
    }
};

/// Other numbers in a stored form.
ZRKJson randomised(const ZRKJson& value, Random& random)
{
    if (value.is_boolean()) {
        return random() % 2 == 0;
    }
    if (value.is_number_integer()) {
        return static_cast<int>(random() % 3);
    }
    if (value.is_number()) {
        const double round[] = {0, 1, -1, 0.5};
        return random() % 4 == 0 ? round[random() % 4] : uniform(random, -1.5, 1.5);
    }
    if (value.is_array() && !value.empty() && value[0].is_number()) {
        ZRKJson other = value;
        for (auto& element : other) {
            element = randomised(element, random);
        }
        return other;
    }
    return value;
}

void randomise(ZRKGraphObject& object, Random& random)
{
    ZRKSerialization s;
    object.serialize(s);
    ZRKJson values = s.root();
    for (auto& [key, value] : values.items()) {
        value = randomised(value, random);
    }
    object.deserialize(ZRKDeserialization(values));
}

std::shared_ptr<ZRKGraphObject> made(const std::string& className)
{
    return ZRKGraphObject::registry().findByClass(className)->factory();
}

/// Connects the scalar and wildcard inputs to fields, some of them of weights other than 1.
void feed(ZRKGraph& graph, const ZRKGraph::Node& node, Random& random)
{
    for (const ZRKGraphPin& pin : node.record()->inputs) {
        if (pin.tag != Tag::Any && pin.tag != Tag::Scalar) {
            continue;
        }
        ZRKGraph::Node source = graph.addNode(made(random() % 2 == 0 ? "ZRKSphereSDF" : "ZRKGyroid"));
        if (random() % 3 == 0) {
            const ZRKGraph::Node mask = graph.addNode(made("ZRKMask"));
            graph.connect(Pin_handle::output(source.id(), 0), Pin_handle::input(mask.id(), 0));
            const ZRKGraph::Node share = graph.addNode(made("ZRKGyroid"));
            graph.connect(Pin_handle::output(share.id(), 0), Pin_handle::input(mask.id(), 1));
            source = mask;
        }
        graph.connect(Pin_handle::output(source.id(), 0), pin.handle);
    }
}

struct Tally {
    int boxes = 0;
    int bounded = 0;
    bool failed = false;

    void add(const Tally& part)
    {
        boxes += part.boxes;
        bounded += part.bounded;
        failed = failed || part.failed;
    }
};

/// Returns how many of some boxes are bounded.
Tally expectContained(const zrk::IField& field, Random& random)
{
    const zrk::PreparedField prepared(field);
    const std::size_t n = std::min<std::size_t>(prepared.componentCount(), 4);
    std::vector<zrk::PositionBox> boxes(40);
    std::generate(boxes.begin(), boxes.end(), [&] { return randomBox(random); });
    std::vector<zrk::IntervalRecord> bounds(boxes.size());
    prepared.bounds(boxes, bounds.data());
    Tally tally;
    for (std::size_t b = 0; b < boxes.size(); ++b) {
        const Positions p(boxes[b], random);
        std::vector<double> values[5];
        zrk::RecordArrays out;
        for (std::size_t c = 0; c < n; ++c) {
            values[c].resize(Positions::kCount);
            out.components[c] = values[c].data();
        }
        values[n].resize(Positions::kCount);
        out.weights = values[n].data();
        prepared.evaluate({p.rows[0].data(), p.rows[1].data(), p.rows[2].data(), Positions::kCount}, out);
        const zrk::PreparedField simple = prepared.simplifiedFor(boxes[b]);
        std::vector<double> again(Positions::kCount);
        simple.evaluate(p.rows[0].data(), p.rows[1].data(), p.rows[2].data(), Positions::kCount,
                        again.data());
        ++tally.boxes;
        tally.bounded += !bounds[b].components[0].isEntire();
        for (std::size_t i = 0; i < Positions::kCount; ++i) {
            for (std::size_t c = 0; c <= n; ++c) {
                const Range& range = c < n ? bounds[b].components[c] : bounds[b].weight;
                if (!range.contains(values[c][i])) {
                    ADD_FAILURE() << "component " << c << " of " << n << " is " << values[c][i] << " at ("
                                  << p.rows[0][i] << ", " << p.rows[1][i] << ", " << p.rows[2][i]
                                  << "), bounds [" << range.lower << ", " << range.upper << "]";
                    tally.failed = true;
                    return tally;
                }
            }
            if (std::bit_cast<std::uint64_t>(again[i]) != std::bit_cast<std::uint64_t>(values[0][i])) {
                ADD_FAILURE() << "simplified: " << again[i] << " for " << values[0][i];
                tally.failed = true;
                return tally;
            }
        }
    }
    return tally;
}

TEST_F(Bounds, HoldEverySampleOfEveryComponent)
{
    ZRKGraphComponentsInit::initializeModule();
    std::map<std::string, Tally> tallies;
    for (const ZRKGraphObjectRegistration& type : ZRKGraphObject::registry().entries()) {
        const std::string& name = type.className;
        for (unsigned seed = 1; seed <= 12 && !tallies[name].failed; ++seed) {
            SCOPED_TRACE(name + ", seed " + std::to_string(seed));
            Random random(seed);
            const auto object = type.factory();
            if (seed > 2) {
                randomise(*object, random);
            }
            furnish(*object, random);
            const auto graph = ZRKGraph::create();
            graph->setContext(std::make_shared<UnitCube>());
            const ZRKGraph::Node node = graph->addNode(object);
            feed(*graph, node, random);
            for (std::size_t k = 0; k < node.record()->outputs.size(); ++k) {
                const zrk::IField field = std::dynamic_pointer_cast<ZRKFieldObject>(object)->realizeField(
                    node, static_cast<unsigned char>(k));
                if (field) {
                    tallies[name].add(expectContained(field, random));
                }
            }
        }
    }
    EXPECT_EQ(tallies.size(), 48u);
    for (const auto& [name, tally] : tallies) {
        EXPECT_GT(tally.bounded, tally.boxes / 4) << name << ": " << tally.bounded << " of " << tally.boxes;
    }
}

/// A host's own surface: nobody knows whether the point that it calls the closest one is that.
struct Plane final : IParametricSurface {
    SurfaceParametrization parametrization() const override
    {
        SurfaceParametrization record;
        record.closestParameters = [](SurfaceParametrization::Parameters& uv, const Vector& p) {
            uv = {p[0], p[1]};
        };
        record.position = [](const SurfaceParametrization::Parameters& uv) {
            return Vector{uv[0], uv[1], 0};
        };
        record.uvMax = {1, 1};
        return record;
    }
};

// What a host doesn't claim to be exact isn't bounded.
TEST_F(Bounds, OfAHostsOwnGeometryAreOnlyThoseItClaims)
{
    const auto boundsOf = [](const std::shared_ptr<ZRKGraphObject>& object) {
        const auto graph = ZRKGraph::create();
        const ZRKGraph::Node node = graph->addNode(object);
        const Range side{0.1, 0.2};
        return zrk::PreparedField(outputField(node)).bounds({side, side, side}).components[0];
    };
    for (const bool isKnown : {false, true}) {
        Random random(5);
        const auto length = std::make_shared<ZRKCurveLength>();
        length->curve.set(randomCurve(random, isKnown));
        EXPECT_EQ(boundsOf(length).isEntire(), !isKnown);
        const auto uvw = std::make_shared<ZRKCurveUVW>();
        uvw->curve.set(randomCurve(random, isKnown));
        EXPECT_EQ(boundsOf(uvw).isEntire(), !isKnown);
        const auto blend = std::make_shared<ZRKGeometryBlend>();
        blend->geometries.set(randomSolids(random, isKnown));
        EXPECT_EQ(boundsOf(blend).isEntire(), !isKnown);
    }
    // The one component that has no bounds at all.
    const auto face = std::make_shared<ZRKFaceUVW>();
    const auto plane = std::make_shared<Geometry>();
    plane->shape = std::make_shared<Plane>();
    face->face.set(plane);
    EXPECT_TRUE(boundsOf(face).isEntire());
}

} // namespace
} // namespace zrkmodel

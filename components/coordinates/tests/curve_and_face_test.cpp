#include "components/coordinates/curve_length.h"
#include "components/coordinates/curve_uvw.h"
#include "components/coordinates/face_uvw.h"
#include "testing/component_checks.h"

#include <cmath>
#include <limits>
#include <random>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

/// A geometry of the test's own that offers one interface.
struct ShapeGeometry final : ZRKGeometry {
    std::shared_ptr<IGeometry3d> shape;

    explicit ShapeGeometry(std::shared_ptr<IGeometry3d> of) : shape(std::move(of))
    {
        setUuid(ZRKuuid("a-1"));
    }
    std::vector<SignedDistance> getSDFUngroup() const override { return {}; }
    std::shared_ptr<IGeometry3d> geometry() const override { return shape; }
};

struct TestCurve final : IParametricCurve {
    CurveParametrization record;
    double directLength = 0;

    CurveParametrization parametrization() const override { return record; }
    double length() const override { return directLength; }
};

/// A line along x with the parameters 5 to 9 for x from 0 to 2, normals along y.
std::shared_ptr<TestCurve> line(bool closed = false)
{
    auto curve = std::make_shared<TestCurve>();
    CurveParametrization& r = curve->record;
    r.closestParameter = [](const Vector& p) { return 5 + 2 * std::min(std::max(p[0], 0.0), 2.0); };
    r.position = [](double t) { return Vector{(t - 5) / 2, 0, 0}; };
    r.frame = [](double, Vector& tangent, Vector& normal, Vector& binormal) {
        tangent = {1, 0, 0};
        normal = {0, 1, 0};
        binormal = {0, 0, 1};
    };
    r.arcLength = [](double t) { return (t - 5) / 2; };
    r.tMin = 5;
    r.tMax = 9;
    r.length = 2;
    r.closed = closed;
    curve->directLength = 4; // unlike the record's, to tell them apart
    return curve;
}

std::shared_ptr<ZRKGeometry> geometryOf(std::shared_ptr<IGeometry3d> shape)
{
    return std::make_shared<ShapeGeometry>(std::move(shape));
}

std::shared_ptr<ZRKCurveUVW> curveUVW(const std::shared_ptr<TestCurve>& curve, int mode, bool normalize)
{
    auto component = std::make_shared<ZRKCurveUVW>();
    component->curve.set(geometryOf(curve));
    component->mode.set(static_cast<ZRKCurveUVW::Mode>(mode));
    component->normalizeLength.set(normalize);
    return component;
}

TEST(CurveUVW, AnswersTheTable)
{
    struct Case {
        const char* name;
        int mode;
        bool normalize;
        bool closed;
        Vector p;
        std::vector<double> record;
    };
    const Case cases[] = {
        {"extrude, beyond the end", 0, true, false, {5, 4, -2}, {1, 5, -2, 1}},
        {"extrude, in model units", 0, false, false, {0.5, -3, 2}, {0.5, 3, 2, 1}},
        {"extrude, on the curve", 0, true, false, {1, 0, 0}, {0.5, 0, 0, 1}},
        {"extrude, closed, at the seam", 0, true, true, {0, 1, 0}, {0.5, 1, 0, 1}},
        {"extrude, closed, at mid-length", 0, true, true, {1, 1, 0}, {0, 1, 0, 1}},
        {"wrap, along the normal", 1, true, false, {1, 2, 0}, {0.5, 0, 2, 1}},
        {"wrap, against the normal", 1, true, false, {1, -2, 0}, {0.5, 2, 2, 1}},
        {"wrap, along the binormal", 1, true, false, {1, 0, 2}, {0.5, 1, 2, 1}},
        {"wrap, against the binormal", 1, false, true, {0.5, 0, -3}, {0.5, 1, 3, 1}},
        {"any other mode wraps", 7, true, false, {1, -2, 0}, {0.5, 2, 2, 1}},
        {"a negative mode wraps", -1, true, false, {1, -2, 0}, {0.5, 2, 2, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(sample(curveUVW(line(c.closed), c.mode, c.normalize), c.p), c.record);
    }
    const auto pointLike = line();
    pointLike->record.length = 0;
    EXPECT_EQ(sample(curveUVW(pointLike, 0, true), {1, 0, 0})[0], std::numeric_limits<double>::infinity());
}

TEST(CurveLength, ChoosesAmongFour)
{
    struct Case {
        bool normalize;
        bool useLength;
        double expected;
    };
    const Case cases[] = {{false, false, 6}, {false, true, 0.5}, {true, false, 0.25}, {true, true, 0.125}};
    for (const Case& c : cases) {
        const auto component = std::make_shared<ZRKCurveLength>();
        component->curve.set(geometryOf(line()));
        component->normalize.set(c.normalize);
        component->useLength.set(c.useLength);
        EXPECT_EQ(sample(component, {0.5, 3, 4}), (std::vector<double>{c.expected, 1}));
    }
    const auto oneParameter = line();
    oneParameter->record.tMax = oneParameter->record.tMin;
    const auto component = std::make_shared<ZRKCurveLength>();
    component->curve.set(geometryOf(oneParameter));
    EXPECT_EQ(sample(component, {0.5, 3, 4})[0], 5);
}

struct TestSurface final : IParametricSurface {
    SurfaceParametrization parametrization() const override
    {
        SurfaceParametrization r;
        r.closestParameters = [](zrk::Tensor<2, double>& uv, const Vector& p) { uv = {p[0] + 1, p[1] - 2}; };
        r.position = [](const zrk::Tensor<2, double>& uv) { return Vector{uv[0] - 1, uv[1] + 2, 0}; };
        r.uvMin = {1, -2};
        r.uvMax = {5, 0};
        return r;
    }
};

TEST(FaceUVW, MeasuresAgainstTheClosestPoint)
{
    const auto component = std::make_shared<ZRKFaceUVW>();
    component->face.set(geometryOf(std::make_shared<TestSurface>()));
    EXPECT_EQ(sample(component, {1, 0.5, -3}), (std::vector<double>{0.25, 0.25, 3, 1}));
    EXPECT_EQ(sample(component, {1, 0.5, 0})[2], 0);
}

TEST(GeometryCoordinates, WriteNothingWithoutAUsableGeometry)
{
    const auto surface = geometryOf(std::make_shared<TestSurface>());
    for (const auto& geometry : {std::shared_ptr<ZRKGeometry>(), geometryOf(nullptr), surface}) {
        const auto uvw = std::make_shared<ZRKCurveUVW>();
        const auto length = std::make_shared<ZRKCurveLength>();
        uvw->curve.set(geometry);
        length->curve.set(geometry);
        EXPECT_EQ(sample(uvw, {1, 2, 3}), (std::vector<double>{0, 0, 0, 0}));
        EXPECT_EQ(sample(length, {1, 2, 3}), (std::vector<double>{0, 0}));
    }
    const auto face = std::make_shared<ZRKFaceUVW>();
    face->face.set(geometryOf(line()));
    EXPECT_EQ(sample(face, {1, 2, 3}), (std::vector<double>{0, 0, 0, 0}));
}

// The parameter of the neighbouring sample is handed on from sample to sample, starts as NaN and changes no
// result.
TEST(GeometryCoordinates, GiveABlockTheBitsOfItsSamples)
{
    const auto curve = line();
    const auto plain = curve->record.closestParameter;
    curve->record.closestParameterNear = [plain](const Vector& p, double near) {
        EXPECT_TRUE(std::isnan(near) || (near >= 5 && near <= 9));
        return plain(p);
    };
    std::vector<Vector> points;
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> coordinate(-3, 3);
    for (int i = 0; i < 1000; ++i) {
        points.push_back({coordinate(random), coordinate(random), coordinate(random)});
    }
    for (const int mode : {0, 1}) {
        const auto graph = ZRKGraph::create();
        const zrk::IField field = outputField(graph->addNode(curveUVW(curve, mode, true)));
        zrk::FieldSampler sampler(field.generator(), std::make_shared<zrk::PointListDomain>(points));
        sampler.run();
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double* record = sampler.targetNode.sampleBuffer->record(i);
            ASSERT_EQ(std::vector<double>(record, record + 4), sample(field, points[i])) << "sample " << i;
        }
    }
}

TEST(GeometryCoordinates, TakeOverAndClearPicks)
{
    const auto first = geometryOf(line());
    ZRKCurveUVW uvw;
    int told = 0;
    uvw.curve.addListener([&](const auto&) { ++told; });
    uvw.pick({first, geometryOf(line())});
    EXPECT_EQ(uvw.curve.value(), first);
    uvw.pick({});
    EXPECT_EQ(uvw.curve.value(), nullptr);
    EXPECT_EQ(told, 2);
}

struct OneEntry final : ZRKResourceLibrary {
    std::shared_ptr<ZRKResourceEntry> entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1"));

    ZRKResourceHandle find(const ZRKuuid& uuid) override
    {
        return uuid == entry->uuid() ? ZRKResourceHandle(entry) : ZRKResourceHandle();
    }
};

TEST(GeometryCoordinates, StoreTheirValuesAndTakeALateGeometry)
{
    EXPECT_EQ(stored(ZRKCurveUVW()), R"({"curve":"","mode":0,"normalizeLength":true})");
    EXPECT_EQ(stored(ZRKFaceUVW()), R"({"face":""})");
    EXPECT_EQ(stored(ZRKCurveLength()), R"({"curve":"","normalize":true,"use length":false})");

    const auto library = std::make_shared<OneEntry>();
    const ZRKJson values{{"curve", "A-1"}, {"mode", 1.9}};
    const auto component = std::make_shared<ZRKCurveUVW>();
    component->deserialize(ZRKDeserialization(values, library));
    EXPECT_EQ(component->mode.value(), ZRKCurveUVW::Mode::wrap);
    EXPECT_EQ(sample(component, {1, -2, 0}), (std::vector<double>{0, 0, 0, 0}));
    int told = 0;
    component->curve.addListener([&](const auto&) { ++told; });
    library->entry->resolve(geometryOf(line()));
    EXPECT_EQ(told, 1);
    EXPECT_EQ(sample(component, {1, -2, 0}), (std::vector<double>{0.5, 2, 2, 1}));
    EXPECT_EQ(stored(*component), R"({"curve":"a-1","mode":1,"normalizeLength":true})");
}

} // namespace
} // namespace zrkmodel

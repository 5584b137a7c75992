#include "components/coordinates/multipole_uvw.h"

#include "testing/component_checks.h"

#include <cmath>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Pole = ZRKMultipoleUVW::Pole;

/// A geometry at one position. It is a point unless `isPoint` is false.
class Spot final : public ZRKGeometry {
public:
    Vector where;
    bool isPoint;

    Spot(const char* uuid, const Vector& where, bool isPoint = true) : where(where), isPoint(isPoint)
    {
        setUuid(ZRKuuid(uuid));
    }
    std::vector<SignedDistance> getSDFUngroup() const override { return {}; }
    std::shared_ptr<IGeometry3d> geometry() const override
    {
        struct Point final : IPoint {
            Vector where;
            Vector position() const override { return where; }
        };
        if (!isPoint) {
            return std::make_shared<IGeometry3d>();
        }
        const auto point = std::make_shared<Point>();
        point->where = where;
        return point;
    }
    void moveTo(const Vector& p)
    {
        where = p;
        emitPropertyChange("position");
    }
};

struct Library final : ZRKResourceLibrary {
    std::vector<std::shared_ptr<Spot>> spots;

    ZRKResourceHandle find(const ZRKuuid& uuid) override
    {
        for (const auto& spot : spots) {
            if (spot->uuid() == uuid) {
                return ZRKResourceHandle(spot);
            }
        }
        return {};
    }
};

/// A component, and the change events it has sent.
class MultipoleUVW : public ::testing::Test {
protected:
    std::shared_ptr<ZRKMultipoleUVW> multipole = std::make_shared<ZRKMultipoleUVW>();
    std::vector<std::string> told;
    nod::scoped_connection listener =
        multipole->addListener([this](const ZRKEvent& event) { told.push_back(event.name); });
    std::shared_ptr<Spot> a = std::make_shared<Spot>("a", Vector{1, 0, 0});
    std::shared_ptr<Spot> b = std::make_shared<Spot>("b", Vector{0, 1, 0});
    std::shared_ptr<Library> library = std::make_shared<Library>();

    void read(const char* values)
    {
        library->spots = {a, b};
        const ZRKJson json = ZRKJson::parse(values);
        multipole->deserialize(ZRKDeserialization(json, library));
    }
    /// Returns the events that a change of the geometry causes.
    std::size_t eventsOf(const std::shared_ptr<Spot>& spot)
    {
        told.clear();
        spot->moveTo(spot->where);
        return told.size();
    }
};

TEST_F(MultipoleUVW, HasItsStoredForm)
{
    const char* text =
        R"({"const direction":true,"poles":[{"strength":0.5,"is_ref":false,"point":[1.0,2.0,3.0]},)"
        R"({"strength":-1.0,"is_ref":true,"point":[0.0,1.0,0.0],"point_handle":"b"}]})";
    EXPECT_EQ(stored(*multipole), R"({"const direction":false,"poles":[]})");
    read(text);
    EXPECT_EQ(stored(*multipole), text);
    EXPECT_EQ(stored(dynamic_cast<ZRKMultipoleUVW&>(*multipole->clone())),
              R"({"const direction":true,"poles":[]})")
        << "a clone starts without poles";

    // A reference stores where it is now, a bad entry becomes a default pole, and a fixed pole has no handle.
    read(R"({"poles": [{"is_ref": true, "point": [9, 9, 9], "point_handle": "a"}, 7,
                       {"strength": "x", "point": [1, 2], "point_handle": "a"}]})");
    const std::string fixed = R"({"strength":1.0,"is_ref":false,"point":[0.0,0.0,0.0]})";
    EXPECT_EQ(stored(*multipole),
              R"({"const direction":true,"poles":[{"strength":1.0,"is_ref":true,"point":[1.0,0.0,0.0],)"
              R"("point_handle":"a"},)" +
                  fixed + "," + fixed + "]}");
    EXPECT_TRUE(told.empty());
}

TEST_F(MultipoleUVW, KeepsTheLastKnownPointOfAReferenceThatDoesntResolve)
{
    const auto pole = [](const char* point, const char* handle) {
        return std::string(R"({"const direction":false,"poles":[{"strength":1.0,"is_ref":true,"point":)") +
               point + R"(,"point_handle":")" + handle + R"("}]})";
    };
    const std::string gone = pole("[4.0,5.0,6.0]", "gone");
    read(gone.c_str());
    EXPECT_EQ(stored(*multipole), gone);
    EXPECT_EQ(multipole->poles.values()[0].get_point(), (Vector{0, 0, 0})) << "it isn't used meanwhile";

    read(pole("[4.0,5.0,6.0]", "a").c_str());
    EXPECT_EQ(stored(*multipole), pole("[1.0,0.0,0.0]", "a")) << "one that resolves is where it is now";
    read(pole("[4.0,5.0,6.0]", "").c_str());
    EXPECT_EQ(stored(*multipole), pole("[4.0,5.0,6.0]", ""));

    a = std::make_shared<Spot>("a", Vector{1, 0, 0}, false);
    read(pole("[4.0,5.0,6.0]", "a").c_str());
    EXPECT_EQ(stored(*multipole), pole("[0.0,0.0,0.0]", "a"))
        << "what is there but no point is at the origin";
}

TEST_F(MultipoleUVW, HasFixedPolesAndReferences)
{
    Pole fixed(Vector{1, 2, 3}, 0.5);
    EXPECT_TRUE(fixed.set(2, 7));
    EXPECT_FALSE(fixed.set(3, 7));
    EXPECT_FALSE(fixed.set(-1, 7));
    EXPECT_EQ(fixed.get_point(), (Vector{1, 2, 7}));
    EXPECT_TRUE(fixed.is_valid());

    Pole reference(a, 1);
    const Pole copy = reference;
    EXPECT_FALSE(reference.set(0, 7));
    reference.set_ref(b);
    EXPECT_EQ(reference.get_point(), b->where);
    EXPECT_EQ(copy.get_point(), a->where) << "a copy has a handle of its own";
    EXPECT_EQ(copy.ref_uuid(), a->uuid());

    const Pole nowhere(std::shared_ptr<ZRKGeometry>(), 1);
    EXPECT_TRUE(nowhere.is_ref());
    EXPECT_FALSE(nowhere.is_valid());

    const Pole noPoint(std::make_shared<Spot>("c", Vector{3, 3, 3}, false), 1);
    EXPECT_TRUE(noPoint.is_valid());
    EXPECT_EQ(noPoint.get_point(), (Vector{0, 0, 0}));
}

TEST_F(MultipoleUVW, FollowsEachReferencedGeometryOnce)
{
    multipole->poles.add(Pole(a, 1));
    multipole->poles.add(Pole(a, -1));
    EXPECT_EQ(told, (std::vector<std::string>{"poles", "poles"}));
    EXPECT_EQ(eventsOf(a), 1);
    EXPECT_EQ(told.back(), "poles");
    EXPECT_EQ(eventsOf(b), 0);

    multipole->poles.edit({Pole(b, 1), Pole(b, 1)}, 1);
    EXPECT_EQ(eventsOf(a), 1) << "the first pole still refers to it";
    EXPECT_EQ(eventsOf(b), 1);
    multipole->poles.edit({Pole(a, 1), Pole(b, 0.5)}, 1);
    EXPECT_EQ(eventsOf(b), 1) << "another strength, the same geometry";
    multipole->poles.edit({Pole(Vector{0, 0, 0}, 1), Pole()}, 0);
    EXPECT_EQ(eventsOf(a), 0);
    EXPECT_EQ(eventsOf(b), 1);

    read(R"({"poles": [{"is_ref": true, "point_handle": "a"}]})");
    EXPECT_EQ(eventsOf(a), 1);
    EXPECT_EQ(eventsOf(b), 0);

    const auto assigned = std::make_shared<ZRKMultipoleUVW>();
    assigned->poles.add(Pole(b, 1));
    *assigned = *multipole;
    const std::size_t before = told.size();
    *multipole = ZRKMultipoleUVW();
    EXPECT_EQ(told.size(), before) << "assignment tells no one";
    EXPECT_EQ(eventsOf(a), 0) << "the one that is assigned to follows for itself";
    EXPECT_EQ(assigned->poles.values().size(), 1u);
    *multipole = *assigned;
    EXPECT_EQ(eventsOf(a), 1);

    multipole.reset();
    EXPECT_EQ(eventsOf(a), 0) << "nothing is left behind";
}

// A geometry calls those who listened when its change began, even if one of them does away with another.
TEST_F(MultipoleUVW, MayGoWhileAGeometryChanges)
{
    multipole->poles.add(Pole(a, 1));
    auto second = std::make_shared<ZRKMultipoleUVW>();
    second->poles.add(Pole(a, 1));
    int heard = 0;
    const nod::scoped_connection ofSecond = second->addListener([&heard](const ZRKEvent&) { ++heard; });
    const nod::scoped_connection ofFirst =
        multipole->addListener([&second](const ZRKEvent&) { second.reset(); });
    EXPECT_EQ(eventsOf(a), 1);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(heard, 0);
}

TEST_F(MultipoleUVW, WritesNothingWithoutAUsablePole)
{
    const std::vector<double> untouched{0, 0, 0, 0};
    EXPECT_EQ(sample(multipole, {1, 2, 3}), untouched);
    read(R"({"poles": [{"is_ref": true}, {"is_ref": true, "point_handle": "unknown"}]})");
    EXPECT_EQ(sample(multipole, {1, 2, 3}), untouched);
}

TEST_F(MultipoleUVW, MeasuresFromWhereItsPolesAre)
{
    struct Case {
        const char* name;
        const char* values;
        Vector p;
        Vector expected;
    };
    const double pi = std::acos(-1.0);
    const char* two = R"({"poles": [{"point": [-1, 0, 0]}, {"point": [1, 0, 0], "strength": 0}]})";
    const char* inWorld = R"({"const direction": true,
                              "poles": [{"point": [-1, 0, 0]}, {"point": [1, 0, 0], "strength": 0}]})";
    const char* missing = R"({"const direction": false, "poles": [{"point": [1, 0, 0]},
                             {"point": [2, 0, 0], "strength": 0}, {"is_ref": true}]})";
    const Case cases[] = {
        {"one pole", R"({"poles": [{"is_ref": true, "point_handle": "b"}]})", {0, 2, 0}, {pi / 2, 0, 0}},
        {"the first of two is aimed at the second", two, {0, 0, 0}, {0, 0, pi / 2}},
        {"in the world's frame it isn't", inWorld, {0, 0, 0}, {0, 0, 0}},
        {"a missing pole draws the centroid to the first", missing, {3, 0, 0}, {0, std::log(2.0), 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        read(c.values);
        const std::vector<double> found = sample(multipole, c.p);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(found[i], c.expected[i], 1e-14) << "component " << i; // rounding of angles
        }
    }
    const auto source = std::make_shared<Source>(Tag::Vector3d, std::vector<double>{0.3, 0.4, 0.5, 0.25});
    EXPECT_EQ(sample(multipole, {0, 0, 0}, source).back(), 0.25);
}

} // namespace
} // namespace zrkmodel

#include "model/serialization.h"
#include "model/uuid.h"
#include "model/value_serializer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <unordered_set>

namespace zrkmodel {
namespace {

using json = zrkmodel::ZRKJson;
using Vector = zrk::Tensor<3, double>;

enum class Mode { Zero, One, Two };

template <class T>
bool read(const json& root, T& value, const ZRKSerializationPos& pos = "k")
{
    const ZRKDeserialization d(root);
    return ZRKValueSerializer<T>::read(d, value, pos);
}

/// Value after reading into 7; 7 and "refused" where nothing may be taken.
template <class T>
std::string readOver7(const json& stored)
{
    T value = static_cast<T>(7);
    const bool taken = read(json{{"k", stored}}, value);
    return (taken ? "" : "refused ") + json(value).dump();
}

TEST(Reading, NumbersOfEveryKind)
{
    struct Case {
        json stored;
        const char* asDouble;
        const char* asInt;
    };
    const double inf = std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {-3, "-3.0", "-3"},
        {3u, "3.0", "3"},
        {2.75, "2.75", "2"},
        {-2.75, "-2.75", "-2"},
        {true, "refused 7.0", "refused 7"},
        {"3", "refused 7.0", "refused 7"},
        {nullptr, "refused 7.0", "refused 7"},
        {json::array({3}), "refused 7.0", "refused 7"},
        {std::int64_t{-3000000000}, "-3000000000.0", "-2147483648"},
        {std::uint64_t{18446744073709551615u}, "1.8446744073709552e+19", "2147483647"},
        {2147483647.5, "2147483647.5", "2147483647"},
        {-1e300, "-1e+300", "-2147483648"},
        {inf, "null", "2147483647"},
        {std::nan(""), "null", "refused 7"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stored.dump());
        EXPECT_EQ(readOver7<double>(c.stored), c.asDouble);
        EXPECT_EQ(readOver7<int>(c.stored), c.asInt);
    }
}

TEST(Reading, BooleansAndEnums)
{
    bool flag = true;
    EXPECT_FALSE(read(json{{"k", 0}}, flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(read(json{{"k", false}}, flag));
    EXPECT_FALSE(flag);

    Mode mode = Mode::Zero;
    EXPECT_TRUE(read(json{{"k", 2.9}}, mode));
    EXPECT_EQ(mode, Mode::Two);
    EXPECT_FALSE(read(json{{"k", "One"}}, mode));
    EXPECT_FALSE(read(json{{"other", 1}}, mode));
    EXPECT_EQ(mode, Mode::Two);
}

TEST(Reading, StringOfAnotherKindThrows)
{
    std::string text = "kept";
    EXPECT_FALSE(read(json::object(), text));
    const std::pair<json, std::string> cases[] = {{4, "number"},
                                                  {true, "boolean"},
                                                  {nullptr, "null"},
                                                  {json::array(), "array"},
                                                  {json::object(), "object"}};
    for (const auto& [stored, kind] : cases) {
        try {
            read(json{{"k", stored}}, text);
            ADD_FAILURE() << "no error for " << stored;
        } catch (const json::type_error& error) {
            EXPECT_EQ(error.id, 302);
            EXPECT_NE(std::string(error.what()).find("type must be string, but is " + kind),
                      std::string::npos)
                << error.what();
        }
        EXPECT_EQ(text, "kept");
    }
    EXPECT_TRUE(read(json{{"k", "new"}}, text));
    EXPECT_EQ(text, "new");
}

TEST(Reading, TensorsElementByElement)
{
    struct Case {
        json stored;
        bool taken;
        Vector expected;
    };
    const Case cases[] = {
        {{1, 2.5, 3u}, true, {1, 2.5, 3}},
        {{1, "x", 3}, false, {1, 8, 3}},
        {{nullptr, true, json::array()}, false, {7, 8, 9}},
        {{1, 2}, false, {7, 8, 9}},
        {{1, 2, 3, 4}, false, {7, 8, 9}},
        {json::object(), false, {7, 8, 9}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stored.dump());
        Vector v{7, 8, 9};
        EXPECT_EQ(read(json{{"k", c.stored}}, v), c.taken);
        EXPECT_EQ(v, c.expected);
    }
}

TEST(Writing, EveryKindGoesThereAndBack)
{
    zrk::Tensor<zrk::kMatrix4, double> matrix{};
    for (int i = 0; i < 16; ++i) {
        matrix[i] = i / 3.0;
    }
    ZRKSerialization s;
    ZRKValueSerializer<double>::write(s, 2, "double");
    ZRKValueSerializer<Mode>::write(s, Mode::Two, "mode");
    ZRKValueSerializer<bool>::write(s, true, "bool");
    ZRKValueSerializer<std::string>::write(s, "text", "string");
    ZRKValueSerializer<Vector>::write(s, {1, 2, 3}, "vector");
    ZRKValueSerializer<zrk::Tensor<4, double>>::write(s, {1, 2, 3, 4}, "four");
    ZRKValueSerializer<decltype(matrix)>::write(s, matrix, "matrix");
    json root = s.root();
    EXPECT_TRUE(root["mode"].is_number_integer());
    decltype(matrix) back{};
    EXPECT_TRUE(read(json::parse(root.dump()), back, "matrix"));
    EXPECT_EQ(back, matrix);
    root.erase("matrix");
    EXPECT_EQ(root.dump(), R"({"double":2.0,"mode":2,"bool":true,"string":"text",)"
                           R"("vector":[1.0,2.0,3.0],"four":[1.0,2.0,3.0,4.0]})");
}

TEST(Writing, KeyReplacesBackAppendsIndexWritesNothing)
{
    ZRKSerialization s;
    ZRKValueSerializer<int>::write(s, 1, "a");
    ZRKValueSerializer<int>::write(s, 2, "a");
    s.beginArray("list");
    ZRKValueSerializer<int>::write(s, 3, {});
    ZRKValueSerializer<int>::write(s, 9, 0);
    ZRKValueSerializer<int>::write(s, 9, 5);
    s.beginObject(0); // dropped, but its end() pairs up
    ZRKValueSerializer<int>::write(s, 9, "lost");
    s.end();
    s.beginObject({});
    ZRKValueSerializer<int>::write(s, 4, "in");
    s.end();
    s.end();
    s.end(); // one too many at the root does no harm
    ZRKValueSerializer<int>::write(s, 5, "z");
    EXPECT_EQ(s.root().dump(), R"({"a":2,"list":[3,{"in":4}],"z":5})");
}

TEST(Deserialization, EntersWhatExistsWithThatKind)
{
    const json root = {{"list", {1, json{{"x", 2}}}}, {"object", json::object()}, {"number", 3}};
    const ZRKDeserialization d(root);
    EXPECT_FALSE(d.beginObject("list"));
    EXPECT_FALSE(d.beginArray("number"));
    EXPECT_FALSE(d.beginArray("missing"));
    EXPECT_EQ(d.at({}), nullptr);
    EXPECT_EQ(d.at(0), nullptr); // the current value is no array
    ASSERT_TRUE(d.beginArray("list"));
    EXPECT_EQ(d.currentSize(), 2u);
    EXPECT_EQ(d.at(-1), nullptr);
    EXPECT_EQ(d.at(2), nullptr);
    EXPECT_EQ(d.at("x"), nullptr);
    ASSERT_TRUE(d.beginObject(1));
    EXPECT_EQ(*d.at("x"), 2);
    d.end();
    d.end();
    d.end();
    EXPECT_EQ(*d.at("number"), 3);
}

TEST(Deserialization, TellsWhatWasRefusedAndWhatWasNeverAskedFor)
{
    const json root = {{"angle", "ninety"},
                       {"centre", {1, "two"}},
                       {"poles", {json{{"strength", 1}, {"extra", 2}}, json{{"strength", nullptr}}}},
                       {"typo", 1}};
    std::vector<std::string> issues;
    const ZRKDeserialization d(root, nullptr, [&](const ZRKReadIssue& issue) {
        issues.push_back(issue.place + ": " + issue.found + ", not " + issue.expected);
    });
    double number = 0;
    Vector v{};
    ZRKValueSerializer<double>::read(d, number, "angle");
    ZRKValueSerializer<double>::read(d, number, "absent");
    ZRKValueSerializer<Vector>::read(d, v, "centre");
    ASSERT_TRUE(d.beginArray("poles"));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(d.beginObject(i));
        ZRKValueSerializer<double>::read(d, number, "strength");
        d.end();
    }
    d.end();
    EXPECT_EQ(issues, (std::vector<std::string>{"angle: string, not number",
                                                "centre: array of 2, not array of 3 numbers",
                                                "poles/1/strength: null, not number"}));
    EXPECT_EQ(d.unreadPlaces(), (std::vector<std::string>{"poles/0/extra", "typo"}));
}

TEST(Uuid, ComparesWithoutCaseAndKeepsItsText)
{
    const ZRKuuid odd("ebd8fcf-fbf7-48e6-a881-41dabd05dce8");
    EXPECT_EQ(odd.text().size(), 35u);
    EXPECT_EQ(odd, ZRKuuid("EBD8FCF-FBF7-48E6-A881-41DABD05DCE8"));
    EXPECT_NE(odd, ZRKuuid("0ebd8fcf-fbf7-48e6-a881-41dabd05dce8"));
    EXPECT_FALSE(odd.isNil());
    EXPECT_TRUE(ZRKuuid("00000000-0000-0000-0000-000000000000").isNil());
    const std::unordered_set<ZRKuuid> set{odd, ZRKuuid()};
    EXPECT_TRUE(set.contains(ZRKuuid("EBD8FCF-fbf7-48e6-a881-41dabd05dce8")));
    EXPECT_TRUE(set.contains(ZRKuuid("00000000-0000-0000-0000-000000000000")));
}

} // namespace
} // namespace zrkmodel

#include "model/extension_base.h"
#include "model/property.h"
#include "model/registry.h"

#include "testing/registered_components.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

// In which order components read what they have stored, and that reading tells no one.

namespace zrkmodel {
namespace {

using Places = std::vector<std::string>;
using Registration = ZRKGraphObjectRegistration;

class StoredForm : public ::testing::TestWithParam<const Registration*> {
protected:
    std::shared_ptr<ZRKGraphObject> make() const { return GetParam()->factory(); }

    /// The stored form of a fresh component with one entry in each of its lists.
    ZRKJson written() const
    {
        const auto object = make();
        ZRKJson values = stored(*object);
        for (auto& [key, value] : values.items()) {
            if (value == ZRKJson::array()) {
                value.push_back(ZRKJson::object());
            }
        }
        object->deserialize(ZRKDeserialization(values));
        return stored(*object);
    }

    static ZRKJson stored(const ZRKGraphObject& object)
    {
        ZRKSerialization s;
        object.serialize(s);
        return s.root();
    }
};

/// Replaces every value by a text that its reader refuses. Values are the members of objects, also of objects
/// in lists; the numbers of a vector are one value.
void spoil(ZRKJson& value, const std::string& place, Places& places)
{
    const bool isList = value.is_array() && !value.empty() && value[0].is_object();
    if (value.is_object() || isList) {
        for (auto& [key, child] : value.items()) {
            spoil(child, place.empty() ? key : place + "/" + key, places);
        }
        return;
    }
    value = "nothing for " + place;
    places.push_back(place);
}

/// Whether any text will do for the value at a place.
bool takesAnyText(const ZRKGraphObject& object, const std::string& place)
{
    const ZRKPropertyBase* property = object.findProperty(place);
    return property && std::string(property->valueType()) == "string";
}

/// The places of the values that the component refuses, in the order in which it comes to them.
Places refused(ZRKGraphObject& object, const ZRKJson& values)
{
    Places places;
    const auto note = [&places](const ZRKReadIssue& issue) { places.push_back(issue.place); };
    const ZRKDeserialization d(values, nullptr, note);
    try {
        object.deserialize(d);
    } catch (const ZRKJson::type_error&) {
        places.push_back("exception");
    }
    return places;
}

TEST_P(StoredForm, IsReadInTheOrderOfWriting)
{
    ZRKJson values = written();
    Places expected;
    spoil(values, "", expected);
    const auto object = make();
    std::erase_if(expected, [&](const std::string& place) { return takesAnyText(*object, place); });
    EXPECT_EQ(refused(*object, values), expected);
}

// A text of another kind ends the reading: what is written up to it has been read, the rest hasn't.
TEST_P(StoredForm, EndsAtATextOfAnotherKind)
{
    const ZRKJson values = written();
    for (const auto& [key, value] : values.items()) {
        if (!takesAnyText(*make(), key)) {
            continue;
        }
        ZRKJson spoilt = values;
        Places places;
        spoil(spoilt, "", places);
        spoilt[key] = 3;
        places.erase(std::find(places.begin(), places.end(), key) + 1, places.end());
        places.push_back("exception");
        EXPECT_EQ(refused(*make(), spoilt), places);
    }
}

TEST_P(StoredForm, IsReadAndCopiedWithoutAnEvent)
{
    const auto object = make();
    Places events;
    object->addListener([&events](const ZRKEvent& event) { events.push_back(event.name); });
    const ZRKJson values = written();
    object->deserialize(ZRKDeserialization(values));
    object->clone();
    object->_copyTo(object.get());
    make()->_copyTo(object.get());
    EXPECT_EQ(events, Places());
}

INSTANTIATE_TEST_SUITE_P(Components, StoredForm, ::testing::ValuesIn(testing::registeredComponents()),
                         [](const auto& info) { return info.param->className; });

} // namespace
} // namespace zrkmodel

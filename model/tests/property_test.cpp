#include "model/geometry.h"
#include "model/property.h"
#include "model/resource.h"
#include "model/value_list.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zrkmodel {
namespace {

enum class Choice { First, Second };

struct Widget : ZRKSerializableObject {
    ZRKProperty<double> size{"size", 1.0, this};
    ZRKProperty<int> count{"count", 2, this};
    ZRKProperty<Choice> mode{"mode", Choice::Second, this};
    ZRKProperty<std::string> label{"label", "none", this};
    ZRKProperty<zrk::Tensor<3, double>> at{"at", {1, 2, 3}, this};
    std::vector<std::string> log;

    Widget() = default;
    Widget(const Widget& other) : ZRKSerializableObject(other) {}
    Widget& operator=(const Widget&) = default;
    std::shared_ptr<ZRKObject> onClone() const override { return std::make_shared<Widget>(*this); }
    void _onPropertyChanged(const ZRKEvent& event) override
    {
        log.push_back("owner " + event.name + (event.source == this ? "" : " of another"));
        ZRKSerializableObject::_onPropertyChanged(event);
    }
};

TEST(Signal, EmissionWorksOnACopyOfTheSlots)
{
    nod::signal<void(int)> signal;
    std::vector<std::string> calls;
    nod::connection once = signal.connect([&](int) {
        calls.push_back("once");
        once.disconnect();
    });
    signal.connect([&](int i) {
        calls.push_back("always");
        if (i == 1) {
            signal.connect([&](int) { calls.push_back("late"); });
        }
    });
    signal(1);
    EXPECT_EQ(calls, (std::vector<std::string>{"once", "always"}));
    EXPECT_FALSE(once.isConnected());
    calls.clear();
    signal(2);
    EXPECT_EQ(calls, (std::vector<std::string>{"always", "late"}));
}

// Which of its slots an emission calls is settled when it begins.
TEST(Signal, SlotsMayDisconnectThemselvesAndOthers)
{
    nod::signal<void()> signal;
    std::string calls;
    nod::connection a;
    nod::connection b;
    nod::connection c;
    a = signal.connect([&] { calls += 'a'; });
    b = signal.connect([&] {
        calls += 'b';
        for (nod::connection* each : {&a, &b, &c}) {
            each->disconnect();
        }
    });
    c = signal.connect([&] { calls += 'c'; });
    nod::connection last = signal.connect([&] { calls += "d "; });
    signal();
    signal();
    EXPECT_EQ(calls, "abcd d ");
    EXPECT_FALSE(a.isConnected() || b.isConnected() || c.isConnected());
    EXPECT_TRUE(last.isConnected());
    signal.connect(nullptr);
    signal();
    EXPECT_EQ(calls, "abcd d d ") << "an empty function is passed over";
}

TEST(Signal, OldConnectionsDontTouchNewSlots)
{
    nod::signal<void()> signal;
    int calls = 0;
    nod::connection first = signal.connect([] {});
    nod::connection copy = first;
    first.disconnect(); // trims the tail, so the next slot takes the same place
    nod::connection second = signal.connect([&] { ++calls; });
    copy.disconnect();
    EXPECT_TRUE(second.isConnected());
    signal();
    EXPECT_EQ(calls, 1);
    {
        nod::scoped_connection scoped = signal.connect([&] { calls += 10; });
        nod::scoped_connection moved = std::move(scoped);
        signal();
    }
    signal();
    EXPECT_EQ(calls, 13);
}

TEST(Signal, ConnectionsOutliveTheSignal)
{
    nod::connection connection;
    nod::scoped_connection scoped;
    int calls = 0;
    {
        auto signal = std::make_unique<nod::signal<void()>>();
        connection = signal->connect([&] {
            ++calls;
            signal.reset(); // a slot may destroy the signal it is called by
        });
        scoped = signal->connect([&] { ++calls; });
        (*signal)();
    }
    EXPECT_EQ(calls, 2);
    EXPECT_FALSE(connection.isConnected());
    connection.disconnect();
}

TEST(Signal, SlotsComeAndGoWhileOthersEmit)
{
    nod::signal<void(int)> signal;
    std::atomic<long> calls = 0;
    signal.connect([&](int i) { calls += i; });
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                nod::scoped_connection own = signal.connect([](int) {});
                signal(1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 6000);
}

TEST(Property, AssignsInTheToldOrder)
{
    auto widget = std::make_shared<Widget>();
    std::vector<std::string>& log = widget->log;
    widget->size.setFilter([&](const double& v) {
        log.push_back("filter");
        return v > 10 ? 10 : v;
    });
    widget->addListener([&](const ZRKEvent& event) { log.push_back("object " + event.name); });
    widget->size.addListener([&](const double& v) { log.push_back("slot " + std::to_string(int(v))); });

    widget->size.set(99);
    EXPECT_EQ(log, (std::vector<std::string>{"filter", "owner size", "object size", "slot 10"}));

    log.clear();
    widget->size.set(4, false);
    EXPECT_EQ(widget->size.value(), 4);
    EXPECT_FALSE(widget->setSilent(true));
    widget->size.set(5);
    EXPECT_EQ(widget->size.value(), 5);
    EXPECT_TRUE(widget->setSilent(false));
    EXPECT_EQ(log, (std::vector<std::string>{"filter", "filter"}));
}

TEST(Property, FiltersWhatIsAssignedAndNotWhatIsRead)
{
    auto widget = std::make_shared<Widget>();
    Widget other;
    widget->size.setFilter([](const double& v) { return v > 10 ? 10 : v; });
    other.size.set(20);
    widget->size.assignFrom(&other.size, false);
    EXPECT_EQ(widget->size.value(), 10);
    widget->size.set(0);
    widget->size = other.size;
    EXPECT_EQ(widget->size.value(), 10);
    EXPECT_EQ(other.size.value(), 20);
    const ZRKJson values{{"size", 20}};
    widget->deserialize(ZRKDeserialization(values));
    EXPECT_EQ(widget->size.value(), 20);
    EXPECT_EQ(widget->log, (std::vector<std::string>{"owner size"})) << "only set announced its value";
}

// Silence holds for assigned properties; what an object announces by itself is heard.
TEST(Property, TellsNoOneWhileItsOwnerIsSilent)
{
    auto widget = std::make_shared<Widget>();
    Widget other;
    std::vector<std::string> heard;
    widget->addListener([&](const ZRKEvent& event) { heard.push_back(event.name); });
    widget->size.addListener([&](const double&) { heard.push_back("slot"); });
    widget->setSilent(true);
    widget->size.set(5);
    widget->size.assignFrom(&other.size, true);
    EXPECT_TRUE(heard.empty());
    EXPECT_TRUE(widget->log.empty());
    widget->emitPropertyChange("raster");
    EXPECT_EQ(heard, (std::vector<std::string>{"raster"}));
}

TEST(Property, AssignFromTakesTheSameTypeOnly)
{
    auto a = std::make_shared<Widget>();
    auto b = std::make_shared<Widget>();
    b->size.set(7, false);
    a->size.assignFrom(&b->count, true);
    a->size.assignFrom(nullptr, true);
    a->size.assignFrom(&a->size, true);
    EXPECT_EQ(a->size.value(), 1);
    EXPECT_TRUE(a->log.empty());
    a->size.assignFrom(&b->size, true);
    EXPECT_EQ(a->size.value(), 7);
    EXPECT_EQ(a->log, (std::vector<std::string>{"owner size"}));
}

TEST(Object, CopiesStartFromDefaultsAndClonesDont)
{
    auto widget = std::make_shared<Widget>();
    int heard = 0;
    widget->addListener([&](const ZRKEvent&) { ++heard; });
    widget->size.set(8);
    widget->mode.set(Choice::First);
    EXPECT_EQ(Widget(*widget).size.value(), 1);

    const auto twin = std::dynamic_pointer_cast<Widget>(widget->clone());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->size.value(), 8);
    EXPECT_EQ(twin->mode.value(), Choice::First);
    EXPECT_TRUE(twin->log.empty());
    EXPECT_EQ(twin->size.owner(), twin);
    heard = 0;
    twin->size.set(9); // a clone has listeners of its own
    EXPECT_EQ(heard, 0);

    Widget assigned;
    assigned = *twin;
    EXPECT_EQ(assigned.size.value(), 9);
    EXPECT_EQ(assigned.properties().size(), 5u);
}

TEST(Object, PropertiesListThemselvesInOrderWithTypesAndDefaults)
{
    const Widget widget;
    std::string listing;
    for (const ZRKPropertyBase* property : widget.properties()) {
        listing += property->name() + ":" + property->valueType() + "=" + property->valueJson().dump() + " ";
    }
    EXPECT_EQ(listing, "size:double=1.0 count:int=2 mode:enum=1 label:string=\"none\" "
                       "at:vector3=[1.0,2.0,3.0] ");
}

TEST(Object, ForgetsAPropertyThatIsGone)
{
    Widget widget;
    {
        ZRKProperty<bool> passing{"passing", true, &widget};
        EXPECT_EQ(widget.findProperty("passing"), &passing);
    }
    EXPECT_EQ(widget.findProperty("passing"), nullptr);
}

TEST(Serializable, TextGoesThereAndBack)
{
    Widget widget;
    widget.setUuid(ZRKuuid("ABC"));
    widget.size.set(3.5);
    widget.at.set({0.1, -2, 1e300});
    Widget other;
    other.from_json(widget.to_json(nullptr), true, nullptr, {});
    EXPECT_TRUE(other.uuid().isNil());
    other.from_json(widget.to_json(nullptr), false, nullptr, {});
    EXPECT_EQ(other.uuid(), ZRKuuid("abc"));
    EXPECT_EQ(other.to_json(nullptr), widget.to_json(nullptr));
    EXPECT_EQ(other.at.value(), widget.at.value());
    EXPECT_THROW(other.from_json("{", false, nullptr, {}), ZRKJson::parse_error);
}

/// Values in a list that are strings, before and after which stands a number.
struct Labels : ZRKSerializableObject {
    ZRKProperty<double> before{"before", 1.0, this};
    ZRKValueList<std::string> names{"names", this};
    ZRKProperty<double> after{"after", 2.0, this};

    void onDeserialize(const ZRKDeserialization& d) override
    {
        before.deserialize(d);
        if (d.beginObject("inner")) {
            names.deserialize(d);
            d.end();
        }
        after.deserialize(d);
    }
};

TEST(Serializable, KeepsWhatWasReadWhenAStringIsOfAnotherKind)
{
    const ZRKJson values{{"outer", {{"before", 5}, {"inner", {{"names", {"a", 7}}}}, {"after", 6}}}};
    Labels labels;
    labels.setUuid(ZRKuuid("own"));
    labels.names.add("old");
    const ZRKDeserialization d(values);
    for (const bool isPreserving : {false, true}) {
        ASSERT_TRUE(d.beginObject("outer"));
        try {
            isPreserving ? labels.deserializeAndPreserveUUID(d) : labels.deserialize(d);
            ADD_FAILURE() << "no error";
        } catch (const ZRKJson::type_error& error) {
            EXPECT_STREQ(error.what(), "[json.exception.type_error.302] type must be string, but is number");
        }
        EXPECT_NE(d.at("inner"), nullptr) << "back where deserialize was called";
        d.end();
        EXPECT_NE(d.at("outer"), nullptr);
        EXPECT_EQ(labels.before.value(), 5) << "read ahead of the error";
        EXPECT_EQ(labels.names.values(), (std::vector<std::string>{"old"}));
        EXPECT_EQ(labels.after.value(), 2) << "behind the error";
        labels.before.set(1);
    }
    EXPECT_THROW(
        labels.from_json(R"({"uuid": "new", "values": {"inner": {"names": [7]}}})", false, nullptr, {}),
        ZRKJson::type_error);
    EXPECT_EQ(labels.uuid(), ZRKuuid("own"));
}

struct Shape : ZRKGeometry {
    std::vector<SignedDistance> getSDFUngroup() const override { return {}; }
};

struct Library : ZRKResourceLibrary {
    std::vector<std::shared_ptr<ZRKResourceEntry>> entries;
    ZRKResourceHandle find(const ZRKuuid& uuid) override
    {
        for (const auto& entry : entries) {
            if (entry->uuid() == uuid) {
                return ZRKResourceHandle(entry);
            }
        }
        return {};
    }
    std::shared_ptr<ZRKResourceEntry> add(const char* uuid)
    {
        entries.push_back(std::make_shared<ZRKResourceEntry>(ZRKuuid(uuid)));
        return entries.back();
    }
};

struct Holder : ZRKSerializableObject {
    ZRKProperty<std::shared_ptr<ZRKGeometry>> shape{"shape", nullptr, this};
    int changes = 0;
    Holder() = default;
    Holder(const Holder& other) : ZRKSerializableObject(other) {}
    std::shared_ptr<ZRKObject> onClone() const override { return std::make_shared<Holder>(*this); }
    void _onPropertyChanged(const ZRKEvent&) override { ++changes; }
};

class ResourceProperty : public ::testing::Test {
protected:
    std::shared_ptr<Library> library = std::make_shared<Library>();
    std::shared_ptr<Holder> holder = std::make_shared<Holder>();
    std::vector<std::string> issues;

    static std::shared_ptr<Shape> shape(const char* uuid)
    {
        auto made = std::make_shared<Shape>();
        made->setUuid(ZRKuuid(uuid));
        return made;
    }
    bool read(const ZRKJson& values)
    {
        const ZRKDeserialization d(values, library, [this](const ZRKReadIssue& issue) {
            issues.push_back(issue.place + ": " + issue.found + ", not " + issue.expected);
        });
        return holder->shape.deserialize(d);
    }
    ZRKJson stored() const { return holder->shape.valueJson(); }
};

TEST_F(ResourceProperty, NilKeepsTheValueAndCountsAsFailed)
{
    const auto kept = shape("a");
    holder->shape.set(kept, false);
    for (const ZRKJson& nil :
         {ZRKJson::object(), ZRKJson{{"shape", ""}}, ZRKJson{{"shape", nullptr}}, ZRKJson{{"shape", 5}}}) {
        EXPECT_FALSE(read(nil)) << nil;
        EXPECT_EQ(holder->shape.value(), kept);
    }
    EXPECT_EQ(stored(), "a");
    EXPECT_EQ(issues, (std::vector<std::string>{"shape: number, not uuid of a resource"}));
}

TEST_F(ResourceProperty, ReadyIsStoredWithoutNotification)
{
    const auto ready = shape("A");
    library->add("A")->resolve(ready);
    EXPECT_TRUE(read({{"shape", "a"}}));
    EXPECT_EQ(holder->shape.value(), ready);
    EXPECT_EQ(holder->changes, 0);
    EXPECT_EQ(stored(), "A");
}

TEST_F(ResourceProperty, PendingArrivesLaterWithNotification)
{
    const auto former = shape("old");
    const auto late = shape("x");
    holder->shape.set(former, false);
    const auto entry = library->add("x");
    EXPECT_TRUE(read({{"shape", "x"}}));
    EXPECT_EQ(holder->shape.value(), former);
    EXPECT_EQ(stored(), "x"); // saving now must not lose the reference

    const auto twin = std::dynamic_pointer_cast<Holder>(holder->clone());
    entry->resolve(late);
    EXPECT_EQ(holder->shape.value(), late);
    EXPECT_EQ(holder->changes, 1);
    EXPECT_FALSE(holder->shape.isWaiting());
    EXPECT_EQ(twin->shape.value(), late); // a clone waits too
    entry->resolve(shape("x"));
    EXPECT_EQ(holder->shape.value(), late);
    EXPECT_EQ(holder->changes, 1);
}

TEST_F(ResourceProperty, ReadingAgainGivesUpTheFormerWait)
{
    const auto x = library->add("x");
    const auto y = library->add("y");
    read({{"shape", "x"}});
    read({{"shape", "y"}});
    x->resolve(shape("x"));
    EXPECT_EQ(holder->shape.value(), nullptr);
    y->resolve(shape("y"));
    ASSERT_TRUE(holder->shape.value());
    EXPECT_EQ(holder->shape.value()->uuid(), ZRKuuid("y"));

    const auto z = library->add("z");
    read({{"shape", "z"}});
    read({{"shape", ""}});
    z->resolve(shape("z"));
    EXPECT_EQ(holder->shape.value()->uuid(), ZRKuuid("y"));
    EXPECT_EQ(holder->changes, 1);

    holder->shape.set(nullptr, false);
    read({{"shape", "v"}});
    EXPECT_FALSE(read(ZRKJson::object()));
    EXPECT_FALSE(holder->shape.isWaiting());
    EXPECT_EQ(stored(), "v") << "a null value that isn't waited for any more is still saved as it was read";

    read({{"shape", "w"}});
    holder.reset(); // a property that is gone hears nothing
    library->add("w")->resolve(shape("w"));
}

// Whatever was read before, a pick is what counts from then on: it is saved and cloned, and what
// arrives later doesn't replace it.
TEST_F(ResourceProperty, APickReplacesWhatWasRead)
{
    struct Case {
        const char* name;
        const char* read;
        bool fromAnother;
        std::shared_ptr<Shape> pick;
    };
    const auto picked = shape("picked");
    const Case cases[] = {
        {"a pick while one waits", "x", false, picked},
        {"a cleared pick while one waits", "x", false, nullptr},
        {"a pick for an unknown one", "unknown", false, picked},
        {"a cleared pick for an unknown one", "unknown", false, nullptr},
        {"a cleared pick for one of another class", "image", false, nullptr},
        {"another's value while one waits", "x", true, picked},
        {"another's null while one waits", "x", true, nullptr},
        {"another's null for an unknown one", "unknown", true, nullptr},
        {"another's null for one of another class", "image", true, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        library->entries.clear();
        library->add("image")->resolve(std::make_shared<ZRKImage2d>());
        const auto x = library->add("x");
        holder = std::make_shared<Holder>();
        holder->shape.set(shape("former"), false);
        read({{"shape", c.read}});
        if (c.fromAnother) {
            Holder other;
            other.shape.set(c.pick, false);
            holder->shape.assignFrom(&other.shape, true);
        } else {
            holder->shape.set(c.pick);
        }
        EXPECT_EQ(holder->changes, 1);
        EXPECT_FALSE(holder->shape.isWaiting());
        const auto twin = std::dynamic_pointer_cast<Holder>(holder->clone());
        x->resolve(shape("x"));
        for (const auto& each : {holder, twin}) {
            EXPECT_EQ(each->shape.value(), c.pick);
            EXPECT_EQ(each->shape.valueJson(), c.pick ? "picked" : "");
        }
        EXPECT_EQ(holder->changes, 1) << "the late one tells no one";
    }
}

TEST_F(ResourceProperty, AnotherPropertysWaitIsTakenOver)
{
    const auto x = library->add("x");
    const auto y = library->add("y");
    read({{"shape", "y"}});
    const auto other = std::make_shared<Holder>();
    other->shape.set(shape("picked"), false);
    other->shape.assignFrom(&holder->shape, false);
    EXPECT_EQ(other->shape.value(), nullptr) << "the value that the other has now";
    EXPECT_EQ(other->shape.valueJson(), "y");
    read({{"shape", "x"}});
    other->shape.assignFrom(&holder->shape, true);
    other->shape.assignFrom(&other->shape, true); // nothing, the wait goes on
    EXPECT_EQ(other->changes, 1);
    y->resolve(shape("y"));
    EXPECT_EQ(other->shape.value(), nullptr) << "given up for x";
    other->setSilent(true);
    x->resolve(shape("x"));
    ASSERT_NE(other->shape.value(), nullptr);
    EXPECT_EQ(other->shape.value(), holder->shape.value());
    EXPECT_EQ(other->changes, 1) << "a silent owner isn't told of an arrival either";
    EXPECT_EQ(holder->changes, 1);
}

// One arrival may do away with others that wait for the same resource.
TEST_F(ResourceProperty, AnArrivalReachesNoPropertyThatIsGoneOrWaitsAnew)
{
    const auto x = library->add("x");
    const auto y = library->add("y");
    auto gone = std::make_shared<Holder>();
    auto anew = std::make_shared<Holder>();
    read({{"shape", "x"}});
    holder->shape.addListener([&](const std::shared_ptr<ZRKGeometry>&) {
        gone.reset();
        const ZRKJson other{{"shape", "y"}};
        anew->deserialize(ZRKDeserialization(other, library));
        y->resolve(shape("y"));
    });
    for (const auto& each : {gone, anew}) {
        const ZRKJson same{{"shape", "x"}};
        each->deserialize(ZRKDeserialization(same, library));
    }
    x->resolve(shape("x"));
    EXPECT_EQ(gone, nullptr);
    ASSERT_NE(anew->shape.value(), nullptr);
    EXPECT_EQ(anew->shape.value()->uuid(), ZRKuuid("y"));
    EXPECT_EQ(anew->changes, 1);
}

// Whoever hears of an arrival first may clone one who hasn't heard of it yet.
TEST_F(ResourceProperty, ACloneMadeDuringTheArrivalHasTheResource)
{
    const auto x = library->add("x");
    std::shared_ptr<Holder> twin;
    const auto first = x->addListener([&] { twin = std::dynamic_pointer_cast<Holder>(holder->clone()); });
    read({{"shape", "x"}});
    const auto arrived = shape("x");
    x->resolve(arrived);
    EXPECT_EQ(holder->shape.value(), arrived);
    ASSERT_NE(twin, nullptr);
    EXPECT_EQ(twin->shape.value(), arrived);
    EXPECT_FALSE(twin->shape.isWaiting());
    EXPECT_EQ(twin->changes, 0);
    EXPECT_EQ(twin->shape.valueJson(), "x");
}

TEST_F(ResourceProperty, ALateOneOfAnotherClassIsNullAndKeepsTheReference)
{
    const auto x = library->add("x");
    holder->shape.set(shape("former"), false);
    read({{"shape", "x"}});
    std::string savedMeanwhile;
    holder->shape.addListener(
        [&](const std::shared_ptr<ZRKGeometry>&) { savedMeanwhile = stored().get<std::string>(); });
    x->resolve(std::make_shared<ZRKImage3d>());
    EXPECT_EQ(holder->shape.value(), nullptr);
    EXPECT_EQ(holder->changes, 1);
    EXPECT_EQ(savedMeanwhile, "x");
    EXPECT_EQ(stored(), "x");
}

TEST_F(ResourceProperty, PicturesAndVolumesAreReadAlike)
{
    struct Images : ZRKSerializableObject {
        ZRKProperty<std::shared_ptr<ZRKImage2d>> flat{"flat", nullptr, this};
        ZRKProperty<std::shared_ptr<ZRKImage3d>> deep{"deep", nullptr, this};
    };
    const auto picture = std::make_shared<ZRKImage2d>();
    const auto volume = std::make_shared<ZRKImage3d>();
    library->add("p")->resolve(picture);
    const auto late = library->add("v");
    Images images;
    const ZRKJson values{{"flat", "p"}, {"deep", "v"}};
    images.deserialize(ZRKDeserialization(values, library));
    EXPECT_EQ(images.flat.value(), picture);
    EXPECT_TRUE(images.deep.isWaiting());
    late->resolve(volume);
    EXPECT_EQ(images.deep.value(), volume);
    const ZRKJson crossed{{"flat", "v"}, {"deep", "p"}};
    images.deserialize(ZRKDeserialization(crossed, library));
    EXPECT_EQ(images.flat.value(), nullptr);
    EXPECT_EQ(images.deep.value(), nullptr);
    EXPECT_EQ(images.flat.valueJson(), "v");
}

TEST_F(ResourceProperty, WrongClassStoresNullAndKeepsTheReference)
{
    library->add("i")->resolve(std::make_shared<ZRKImage2d>());
    holder->shape.set(shape("a"), false);
    EXPECT_TRUE(read({{"shape", "i"}}));
    EXPECT_EQ(holder->shape.value(), nullptr);
    EXPECT_EQ(stored(), "i");
    EXPECT_TRUE(read({{"shape", "unknown"}}));
    EXPECT_EQ(stored(), "unknown");
    EXPECT_EQ(issues,
              (std::vector<std::string>{"shape: a resource of another kind, not geometry",
                                        "shape: \"unknown\", not uuid of a resource of this document"}));
}

} // namespace
} // namespace zrkmodel

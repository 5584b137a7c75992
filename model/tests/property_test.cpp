#include "model/geometry.h"
#include "model/property.h"
#include "model/resource.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zrkmodel {
namespace {

enum class Mode { First, Second };

struct Widget : ZRKSerializableObject {
    ZRKProperty<double> size{"size", 1.0, this};
    ZRKProperty<int> count{"count", 2, this};
    ZRKProperty<Mode> mode{"mode", Mode::Second, this};
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
    EXPECT_FALSE(once.connected());
    calls.clear();
    signal(2);
    EXPECT_EQ(calls, (std::vector<std::string>{"always", "late"}));
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
    EXPECT_TRUE(second.connected());
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
    EXPECT_FALSE(connection.connected());
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
    widget->mode.set(Mode::First);
    EXPECT_EQ(Widget(*widget).size.value(), 1);

    const auto twin = std::dynamic_pointer_cast<Widget>(widget->clone());
    ASSERT_TRUE(twin);
    EXPECT_EQ(twin->size.value(), 8);
    EXPECT_EQ(twin->mode.value(), Mode::First);
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

    read({{"shape", "w"}});
    holder.reset(); // a property that is gone hears nothing
    library->add("w")->resolve(shape("w"));
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

#include "host/editing/tests/editing_fixture.h"

#include "components/primitives/sphere_sdf.h"
#include "testing/sanitized.h"

#include <fmt/core.h>

#include <malloc.h>

namespace zrkmodel {
namespace {

using namespace testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Kind = EditEvent::Kind;

class EditHistoryOfASession : public Editing {};

TEST_F(EditHistoryOfASession, JoinsWhatOneGestureDoes)
{
    const auto session = openParts();
    auto& sphere = dynamic_cast<ZRKSphereSDF&>(*objectOf(*session, 1));
    const auto steps = [&] { return session->history().doneCount(); };
    session->beginGesture();
    for (int i = 0; i < 50; ++i) {
        time += 1;
        ASSERT_TRUE(session->move({{1, 1.0 * i, 2}, {4, 3, 1.0 * i}}));
    }
    EXPECT_EQ(steps(), 1u);
    EXPECT_EQ(session->history().steps()[0].changes.size(), 2u);
    session->endGesture();
    session->beginGesture(); // another drag of the same nodes
    ASSERT_TRUE(session->move({{1, -1, 2}, {4, 3, -1}}));
    session->endGesture();
    EXPECT_EQ(steps(), 2u);

    time += 10;
    for (int i = 0; i < 20; ++i) { // a slider that tells of no gesture
        time += 0.3;
        sphere.radius.set(i);
    }
    EXPECT_EQ(steps(), 3u);
    time += 0.6;
    sphere.radius.set(30);
    EXPECT_EQ(steps(), 4u);
    ASSERT_TRUE(session->setValue(2, "angle", 30)); // at once, but another value
    EXPECT_EQ(steps(), 5u);
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(sphere.radius.value(), 19);
    sphere.radius.set(20); // nothing joins a step that was arrived at by undo
    EXPECT_EQ(steps(), 4u);
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(sphere.radius.value(), 0.75);

    session->beginGesture(); // there and back again
    sphere.radius.set(3);
    ASSERT_TRUE(session->setValue(6, "poles", ZRKJson::array()));
    EXPECT_EQ(steps(), 3u);
    sphere.radius.set(0.75);
    session->endGesture();
    EXPECT_EQ(session->history().steps().back().changes.size(), 1u);
}

TEST_F(EditHistoryOfASession, LeavesNoStepWhereAGestureEndsWhereItBegan)
{
    const auto session = openParts();
    auto& sphere = dynamic_cast<ZRKSphereSDF&>(*objectOf(*session, 1));
    (void)samplesOf(session->document());
    const ZRKHeldData raster = heldOf(*session, 5);
    session->beginGesture();
    sphere.radius.set(3);
    EXPECT_TRUE(session->isModified());
    sphere.radius.set(0.75);
    EXPECT_EQ(heldOf(*session, 5), raster);
    session->endGesture();
    EXPECT_FALSE(session->canUndo());
    EXPECT_FALSE(session->isModified());
}

// A macro that sets a value twice joins an earlier step of its gesture.
TEST_F(EditHistoryOfASession, JoinsMacrosOfSeveralValues)
{
    const auto session = openParts();
    const std::string first = session->document().toText();
    session->beginGesture();
    for (int i = 1; i < 4; ++i) {
        ASSERT_TRUE(session->macro("both", [&]() -> zrk::Result<void> {
            EXPECT_TRUE(session->setValue(1, "radius", i));
            EXPECT_TRUE(session->setValue(6, "const direction", i % 2 == 0));
            EXPECT_TRUE(session->insertItem(6, "poles", 0, {{"strength", i}}));
            return session->setValue(1, "radius", 10 * i);
        }));
    }
    session->endGesture();
    EXPECT_EQ(session->history().doneCount(), 1u);
    const std::string last = session->document().toText();
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(session->document().toText(), first);
    ASSERT_TRUE(session->redo());
    EXPECT_EQ(session->document().toText(), last);
}

TEST_F(EditHistoryOfASession, LeavesNoStepWhereAMacroEndsWhereItBegan)
{
    const auto session = openParts();
    ASSERT_TRUE(session->macro("there and back", [&]() -> zrk::Result<void> {
        EXPECT_TRUE(session->setValue(6, "const direction", true));
        return session->setValue(6, "const direction", false);
    }));
    EXPECT_FALSE(session->canUndo());
    EXPECT_FALSE(session->isModified());
}

TEST_F(EditHistoryOfASession, KnowsTheSavedStateExactly)
{
    const auto session = openParts();
    std::string told;
    const nod::scoped_connection connection = session->addListener([&](const EditEvent& event) {
        if (event.kind == Kind::Modified) {
            told += session->isModified() ? "modified " : "saved ";
        }
    });
    ASSERT_TRUE(session->setValue(1, "radius", 1));
    ASSERT_TRUE(session->setValue(1, "radius", 2)); // joins
    ASSERT_TRUE(session->save());
    ASSERT_TRUE(session->setValue(1, "radius", 3)); // doesn't, as the saved state would be gone
    EXPECT_EQ(session->history().doneCount(), 2u);
    ASSERT_TRUE(session->undo());
    EXPECT_FALSE(session->isModified());
    ASSERT_TRUE(session->undo());
    EXPECT_TRUE(session->isModified());
    ASSERT_TRUE(session->redo());
    EXPECT_FALSE(session->isModified());
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->setValue(1, "radius", 2)); // the saved value, but not the saved state
    EXPECT_TRUE(session->isModified());
    ASSERT_TRUE(session->undo());
    EXPECT_TRUE(session->isModified()); // no way leads back
    EXPECT_EQ(told, "modified saved modified saved modified saved modified ");
}

TEST_F(EditHistoryOfASession, RestoresTheSelection)
{
    const auto session = openParts();
    session->select({1, 5, 77});
    EXPECT_THAT(session->selection(), ElementsAre(1, 5));
    EXPECT_FALSE(session->canUndo());
    ASSERT_TRUE(session->removeNodes({5}));
    EXPECT_THAT(session->selection(), ElementsAre(1));
    session->select({2});
    ASSERT_TRUE(session->undo());
    EXPECT_THAT(session->selection(), ElementsAre(1, 5));
    ASSERT_TRUE(session->redo());
    EXPECT_THAT(session->selection(), ElementsAre(1));
}

TEST_F(EditHistoryOfASession, TellsInOrderWhenAnOperationIsWhole)
{
    const auto session = openParts();
    std::string told;
    const auto name = [](Kind kind) {
        static const char* const names[] = {"added",     "removed", "linked",    "unlinked", "value",
                                            "member",    "held",    "resources", "document", "view",
                                            "selection", "history", "modified",  "replaced"};
        return names[static_cast<int>(kind)];
    };
    bool isWhole = true;
    const nod::scoped_connection connection = session->addListener([&](const EditEvent& event) {
        told += fmt::format("{} {}{} ", name(event.kind), event.node, event.key);
        isWhole = isWhole && session->document().graph()->nodes().size() == 7;
    });
    session->select({4});
    (void)samplesOf(session->document()); // so that there is a raster
    told.clear();
    isWhole = true;
    ASSERT_TRUE(session->removeNodes({4}, true));
    // The raster downstream was told of other links and is stale.
    EXPECT_EQ(told,
              "unlinked 4 unlinked 4 unlinked 5 linked 5 removed 4 held 5 selection 0 history 0 modified 0 ");
    EXPECT_TRUE(isWhole);
    told.clear();
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(told, "added 4 unlinked 5 linked 5 linked 4 linked 4 held 5 selection 0 history 0 modified 0 ");
}

TEST_F(EditHistoryOfASession, LetsListenersEditAsPromised)
{
    const auto session = openParts();
    std::vector<std::string> first;
    std::vector<std::string> second;
    bool hasEdited = false;
    const nod::scoped_connection a = session->addListener([&](const EditEvent& event) {
        first.push_back(fmt::format("{} {}", static_cast<int>(event.kind), event.node));
        if (!hasEdited && event.kind == Kind::ValueChanged) {
            hasEdited = true;
            EXPECT_TRUE(session->setLabel(1, "changed"));
        }
    });
    const nod::scoped_connection b = session->addListener([&](const EditEvent& event) {
        second.push_back(fmt::format("{} {}", static_cast<int>(event.kind), event.node));
    });
    ASSERT_TRUE(session->setValue(2, "angle", 1));
    EXPECT_EQ(first, second); // everyone hears the same, in one order
    EXPECT_EQ(session->history().doneCount(), 2u);

    // A listener of a component, within an operation and within an undo.
    std::vector<std::string> refused;
    const nod::scoped_connection c = objectOf(*session, 1)->addListener([&](const ZRKEvent&) {
        for (const auto& result : {session->undo(), session->save()}) {
            refused.push_back(messageOf(result));
        }
    });
    ASSERT_TRUE(session->setValue(1, "radius", 9));
    ASSERT_EQ(refused.size(), 2u);
    EXPECT_THAT(refused[0], HasSubstr("a call within another edit"));
    ASSERT_TRUE(session->undo());
    ASSERT_EQ(refused.size(), 4u);
    EXPECT_THAT(refused[3], HasSubstr("a call within an undo or redo"));
}

// Another component follows each change of one, so that undo is followed by an edit.
TEST_F(EditHistoryOfASession, LosesNothingOfWhatFollowsAnUndo)
{
    const auto session = openParts();
    auto& sphere = dynamic_cast<ZRKSphereSDF&>(*objectOf(*session, 1));
    const nod::scoped_connection follower = sphere.addListener([&](const ZRKEvent&) {
        dynamic_cast<ZRKProperty<double>*>(objectOf(*session, 2)->findProperty("angle"))
            ->set(100 + sphere.radius.value());
    });
    const std::string first = session->document().toText();
    time += 10;
    ASSERT_TRUE(session->setValue(1, "radius", 5));
    EXPECT_EQ(session->history().doneCount(), 1u); // a part of the operation
    EXPECT_EQ(valueOf(*session, 2, "angle"), 105.0);
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(valueOf(*session, 2, "angle"), 100.75);
    ASSERT_TRUE(session->undo()); // of what followed
    EXPECT_EQ(session->document().toText(), first);
}

TEST_F(EditHistoryOfASession, KeepsOfAListWhatHasChanged)
{
    const auto session = openParts();
    ZRKJson poles = ZRKJson::array();
    for (int i = 0; i < 100; ++i) {
        poles.push_back({{"strength", i}, {"is_ref", false}, {"point", {0, 0, 0}}});
    }
    ASSERT_TRUE(session->setValue(6, "poles", poles));
    const auto sizesOfLastStep = [&] {
        time += 10;
        const EditStep& step = session->history().steps().back();
        EXPECT_EQ(step.changes.size(), 1u);
        const ValueDelta& delta = std::get<ValueChange>(step.changes.front()).deltas.front();
        return std::pair(delta.before.size(), delta.after.size());
    };
    time += 10;
    ASSERT_TRUE(session->setItem(6, "poles", 40, {{"strength", -1}}));
    EXPECT_EQ(sizesOfLastStep(), std::pair(std::size_t{1}, std::size_t{1}));
    ASSERT_TRUE(session->insertItem(6, "poles", 50, {{"strength", -2}}));
    EXPECT_EQ(sizesOfLastStep(), std::pair(std::size_t{0}, std::size_t{1}));
    ASSERT_TRUE(session->removeItem(6, "poles", 60));
    EXPECT_EQ(sizesOfLastStep(), std::pair(std::size_t{1}, std::size_t{0}));
}

TEST_F(EditHistoryOfASession, TakesLittleMemory)
{
    if (zrktest::isSanitized()) {
        GTEST_SKIP() << "sanitizers have an allocator of their own, which tells nothing";
    }
    const auto session = openParts();
    const auto inUse = [] {
        const struct mallinfo2 info = ::mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    // A list is long, and each edit is of one of its items.
    ZRKJson poles = ZRKJson::array();
    for (int i = 0; i < 1000; ++i) {
        poles.push_back({{"strength", i}, {"is_ref", false}, {"point", {0, 0, 0}}});
    }
    ASSERT_TRUE(session->setValue(6, "poles", poles));
    const std::size_t before = inUse();
    for (int i = 0; i < 10000; ++i) {
        time += 10;
        switch (i % 40 == 0 ? 4 : i % 4) {
        case 0:
            ASSERT_TRUE(session->setValue(1, "radius", i)); // upstream of a raster
            break;
        case 1:
            ASSERT_TRUE(session->move({{2, 1.0 * i, 3}}));
            break;
        case 2:
            ASSERT_TRUE(session->setValue(2, "angle", 0.5 * i));
            break;
        case 3:
            ASSERT_TRUE(i % 8 == 3 ? session->unlink(Pin_handle::input(3, 0))
                                   : session->link(Pin_handle::output(2, 0), Pin_handle::input(3, 0)));
            break;
        default:
            ASSERT_TRUE(session->setItem(6, "poles", static_cast<std::size_t>(i % 1000), {{"strength", -i}}));
        }
    }
    EXPECT_EQ(session->history().doneCount(), 10000u); // the first one is forgotten
    if (before > 0) {                                  // counted by this allocator
        const double megabytes = static_cast<double>(inUse() - before) / 1e6;
        RecordProperty("megabytes", std::to_string(megabytes));
        EXPECT_LT(megabytes, 50);
    }
}

TEST_F(EditHistoryOfASession, ForgetsTheOldestBeyondItsLimits)
{
    EditSettings few = settings();
    few.limits.steps = 3;
    DocumentWarnings warnings;
    EditSession session(zrk::valueOrThrow(GraphDocument::parse(kParts, path("test.zrk.json"), warnings)),
                        few);
    for (int i = 0; i < 5; ++i) {
        time += 10;
        ASSERT_TRUE(session.setValue(1, "radius", i));
    }
    while (session.canUndo()) {
        ASSERT_TRUE(session.undo());
    }
    EXPECT_EQ(valueOf(session, 1, "radius"), 1.0);
    EXPECT_TRUE(session.isModified());

    EditSettings small = settings();
    small.limits.heldBytes = 3 * 6 * 6 * 6 * sizeof(double);
    EditSession second(zrk::valueOrThrow(GraphDocument::parse(kParts, path("test.zrk.json"), warnings)),
                       small);
    for (int i = 0; i < 9; ++i) {
        time += 10;
        ASSERT_TRUE(second.setValue(1, "radius", i));
        samplesOf(second.document()); // another raster each time
    }
    EXPECT_EQ(second.history().doneCount(), 3u);
}

} // namespace
} // namespace zrkmodel

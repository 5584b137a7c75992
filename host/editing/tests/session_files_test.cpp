#include "host/editing/tests/editing_fixture.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <thread>

namespace zrkmodel {
namespace {

using namespace testing;
using ::testing::HasSubstr;

class SessionFiles : public Editing {
protected:
    bool exists(const std::filesystem::path& file) const { return std::filesystem::exists(file); }
};

TEST_F(SessionFiles, KeepChangesForRecoveryAtMost15Seconds)
{
    auto session = openParts();
    const std::filesystem::path file = session->recoveryPath();
    const auto tick = [&](double seconds) {
        time += seconds;
        ASSERT_TRUE(session->tick());
    };
    tick(100);
    EXPECT_FALSE(exists(file)); // nothing has changed
    ASSERT_TRUE(session->setValue(1, "radius", 2));
    tick(14);
    EXPECT_FALSE(exists(file));
    tick(1);
    ASSERT_TRUE(exists(file));
    const std::string written = content(file.filename());
    EXPECT_EQ(written, session->document().toText());
    ASSERT_TRUE(session->setValue(1, "radius", 3));
    tick(14);
    EXPECT_EQ(content(file.filename()), written);
    tick(1);
    EXPECT_EQ(content(file.filename()), session->document().toText());
    ASSERT_TRUE(session->save());
    EXPECT_FALSE(exists(file));
    ASSERT_TRUE(session->setValue(1, "radius", 4));
    tick(15);
    EXPECT_TRUE(exists(file));
    ASSERT_TRUE(session->undo()); // nothing is unsaved any more
    tick(15);
    EXPECT_FALSE(exists(file));
    ASSERT_TRUE(session->redo());
    tick(15);
    EXPECT_TRUE(exists(file));
    session.reset(); // closes it
    EXPECT_FALSE(exists(file));
}

TEST_F(SessionFiles, KeepRecoveryFilesOfOneNameApart)
{
    EditSettings apart = settings();
    apart.recoveryFolder = folder / "state";
    std::filesystem::create_directories(folder / "state");
    std::filesystem::create_directories(folder / "a");
    std::set<std::string> files;
    for (const char* name : {"x.zrk.json", "a/x.zrk.json"}) {
        put(name, R"({"zrkGraph": 1})");
        DocumentWarnings warnings;
        const auto session = zrk::valueOrThrow(EditSession::open(path(name), warnings, apart));
        EXPECT_EQ(session->recoveryPath().parent_path(), folder / "state");
        files.insert(session->recoveryPath());
    }
    EXPECT_EQ(files.size(), 2u);
}

TEST_F(SessionFiles, KeepChangesOfDocumentsWithLongNames)
{
    const std::string name = std::string(240, 'n') + ".zrk.json"; // 255 are the most
    put(name, R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"}]})");
    const auto changed = [&](EditSettings with) {
        DocumentWarnings warnings;
        auto session = zrk::valueOrThrow(EditSession::open(path(name), warnings, with));
        EXPECT_TRUE(session->setValue(1, "radius", 2));
        time += 15;
        const auto kept = session->tick();
        EXPECT_TRUE(kept) << zrk::messageOf(kept.error());
        const auto again = zrk::valueOrThrow(EditSession::open(path(name), warnings, with));
        EXPECT_FALSE(again->recovery().empty()) << "it is offered";
    };
    changed(settings());
    EditSettings apart = settings();
    apart.recoveryFolder = folder / "state";
    std::filesystem::create_directories(folder / "state");
    changed(apart);
}

// A program that edits and is killed.
TEST_F(SessionFiles, OfferWhatAKilledProgramLeft)
{
    (void)openParts();
    const std::string saved = content("test.zrk.json");
    const ::pid_t child = ::fork();
    if (child == 0) {
        const auto session = open();
        for (int i = 0;; ++i) {
            time += 20;
            (void)session->setValue(1, "radius", i + 1000);
            (void)session->tick();
        }
    }
    auto session = open();
    const std::filesystem::path file = session->recoveryPath();
    for (int i = 0; i < 500 && !exists(file); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    session.reset();
    ASSERT_TRUE(exists(file)); // another session's, so that closing this one left it
    session = open();
    EXPECT_EQ(session->recovery(), file);
    EXPECT_EQ(session->document().toText(), saved);
    ASSERT_TRUE(session->setValue(2, "angle", 1));
    time += 100;
    const std::string left = content(file.filename());
    ASSERT_TRUE(session->tick());
    EXPECT_EQ(content(file.filename()), left); // it isn't written over while it is offered
    ASSERT_TRUE(session->undo());

    DocumentWarnings warnings;
    const zrk::Result<void> recovered = session->recover(warnings);
    ASSERT_TRUE(recovered) << messageOf(recovered);
    EXPECT_EQ(session->document().toText(), left);
    EXPECT_GE(valueOf(*session, 1, "radius").get<double>(), 1000);
    EXPECT_TRUE(session->isModified());
    ASSERT_TRUE(session->save());
    EXPECT_EQ(content("test.zrk.json"), left);
    EXPECT_FALSE(exists(file));
    EXPECT_FALSE(session->isModified());
}

TEST_F(SessionFiles, OfferOnlyWhatIsNewerAndOther)
{
    (void)openParts();
    const std::filesystem::path file = open()->recoveryPath();
    put(file.filename(), content("test.zrk.json"));
    EXPECT_TRUE(open()->recovery().empty()); // the same
    put(file.filename(), R"({"zrkGraph": 1})");
    EXPECT_FALSE(open()->recovery().empty());
    {
        const auto session = open();
        session->discardRecovery();
        EXPECT_FALSE(exists(file));
        DocumentWarnings warnings;
        EXPECT_THAT(messageOf(session->recover(warnings)), HasSubstr("no recovery file"));
    }
    put(file.filename(), R"({"zrkGraph": 9})");
    {
        const auto session = open(); // one that can't be read
        const std::string text = session->document().toText();
        DocumentWarnings warnings;
        EXPECT_THAT(messageOf(session->recover(warnings)), HasSubstr("format version 9"));
        EXPECT_EQ(session->document().toText(), text);
    }
    EXPECT_TRUE(exists(file));
    std::filesystem::last_write_time(file, std::filesystem::last_write_time(folder / "test.zrk.json") -
                                               std::chrono::seconds(5));
    EXPECT_TRUE(open()->recovery().empty()); // older
}

TEST_F(SessionFiles, OfferNothingThatIsNoFile)
{
    (void)openParts();
    const std::filesystem::path file = open()->recoveryPath();
    const auto isOffered = [&] { return !open()->recovery().empty(); };
    std::filesystem::create_directory(file);
    EXPECT_FALSE(isOffered());
    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0); // nobody writes to it
    EXPECT_FALSE(isOffered());
    std::filesystem::remove(file);
    put(file.filename(), "");
    std::filesystem::resize_file(file, std::uintmax_t{1} << 38); // of holes
    EXPECT_FALSE(isOffered());
}

TEST_F(SessionFiles, AreKnownToHaveChanged)
{
    const auto session = openParts();
    const std::string saved = content("test.zrk.json");
    const auto later = [&] {
        std::filesystem::last_write_time(folder / "test.zrk.json",
                                         std::filesystem::file_time_type::clock::now() +
                                             std::chrono::seconds(9));
    };
    const auto state = [&] { return FileWatch(session->file()).state(session->path()); };
    EXPECT_EQ(state(), FileState::Same);
    put("test.zrk.json", saved); // written again
    later();
    EXPECT_EQ(state(), FileState::Same);
    std::string other = saved;
    other.replace(other.find("0.75"), 4, "0.25"); // as long as before
    put("new", other);
    std::filesystem::rename(folder / "new", folder / "test.zrk.json"); // as editors save
    later();
    EXPECT_EQ(state(), FileState::Changed);

    ASSERT_TRUE(session->setValue(1, "radius", 5));
    EXPECT_THAT(messageOf(session->save()), HasSubstr("another program has changed"));
    EXPECT_EQ(content("test.zrk.json"), other);
    ASSERT_TRUE(session->save("", true));
    EXPECT_EQ(content("test.zrk.json"), session->document().toText());
    std::filesystem::remove(folder / "test.zrk.json");
    EXPECT_EQ(state(), FileState::Missing);
    ASSERT_TRUE(session->save());
    EXPECT_EQ(state(), FileState::Same);
}

TEST_F(SessionFiles, ThatCannotBeWrittenLeaveTheSessionAsItWas)
{
    const auto session = openParts();
    ASSERT_TRUE(session->setValue(1, "radius", 5));
    EXPECT_FALSE(session->save(path("no such folder/a.zrk.json")));
    EXPECT_TRUE(session->isModified());
    EXPECT_EQ(session->path(), path("test.zrk.json"));
    ASSERT_TRUE(session->save(path("b.zrk.json")));
    EXPECT_EQ(session->path(), path("b.zrk.json"));
    EXPECT_EQ(session->document().name(), path("b.zrk.json"));
    EXPECT_FALSE(session->isModified());
    // In another folder, all that is named is still found, also after undo.
    const auto samples = samplesOf(session->document());
    DocumentWarnings warnings;
    ASSERT_TRUE(session->importFiles(7, {folder / "other.obj"}, warnings));
    std::filesystem::create_directory(folder / "deep");
    ASSERT_TRUE(session->save(path("deep/c.zrk.json")));
    EXPECT_THAT(content("deep/c.zrk.json"), HasSubstr("\"import\": \"../other.obj\""));
    EXPECT_EQ(samplesOf(session->document()), samplesAfterReload(session->document()));
    ASSERT_TRUE(session->undo());
    EXPECT_THAT(session->document().toText(), HasSubstr("\"import\": \"../part.obj\""));
    EXPECT_EQ(samplesAfterReload(session->document()), samples);
    const auto unnamed = sessionOf(R"({"zrkGraph": 1})");
    EXPECT_THAT(messageOf(unnamed->save()), HasSubstr("save under a name"));
}

// The file is what the document was when saving began, and so is what counts as saved.
TEST_F(SessionFiles, AreWrittenWhileEditingGoesOn)
{
    using Edit = void (*)(EditSession&);
    struct Case {
        const char* name;
        Edit meanwhile;
        bool isModifiedYet; ///< before the session is told
        bool isModified;
        Edit back; ///< to the state that was saved
        bool isReachable;
    };
    const Edit nothing = [](EditSession&) {};
    const Edit edit = [](EditSession& s) { ASSERT_TRUE(s.setValue(1, "radius", 7)); };
    const Edit undo = [](EditSession& s) { ASSERT_TRUE(s.undo()); };
    const Edit redo = [](EditSession& s) { ASSERT_TRUE(s.redo()); };
    const Edit other = [](EditSession& s) {
        ASSERT_TRUE(s.undo());
        ASSERT_TRUE(s.setValue(2, "angle", 3));
    };
    const Case cases[] = {
        {"nothing", nothing, true, false, nothing, true},
        {"the same value again, at once", edit, true, true, undo, true},
        {"an undo", undo, false, true, redo, true},
        {"an undo and another edit", other, true, true, undo, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto session = openParts();
        ASSERT_TRUE(session->setValue(1, "radius", 5));
        const std::string text = session->document().toText();
        auto save = session->startSaving();
        ASSERT_TRUE(save) << zrk::messageOf(save.error());
        c.meanwhile(*session);
        EXPECT_THAT(messageOf(session->save()), HasSubstr("still being written"));
        DocumentWarnings warnings;
        EXPECT_THAT(messageOf(session->recover(warnings)), HasSubstr("still being written"));
        std::thread([&] { save->write(); }).join();
        EXPECT_EQ(session->isModified(), c.isModifiedYet);
        ASSERT_TRUE(session->finishSaving(*save));
        EXPECT_EQ(content("test.zrk.json"), text);
        EXPECT_EQ(session->isModified(), c.isModified);
        EXPECT_EQ(FileWatch(session->file()).state(session->path()), FileState::Same);
        c.back(*session);
        EXPECT_EQ(session->isModified(), !c.isReachable);
    }
}

TEST_F(SessionFiles, HaveTheirRecoveryFollowWhatWasReallySaved)
{
    for (const bool isWritten : {true, false}) {
        SCOPED_TRACE(isWritten);
        const auto session = openParts();
        const std::string saved = content("test.zrk.json");
        const std::filesystem::path file = session->recoveryPath();
        ASSERT_TRUE(session->setValue(1, "radius", 5));
        auto save = session->startSaving(isWritten ? "" : path("gone/a.zrk.json"));
        ASSERT_TRUE(save);
        time += 10;
        ASSERT_TRUE(session->setValue(2, "angle", 3));
        time += 10;
        save->write();
        EXPECT_EQ(session->finishSaving(*save).has_value(), isWritten);
        ASSERT_TRUE(session->tick());
        EXPECT_EQ(exists(file), !isWritten) << "the edit before saving is 20 s old, that after it 10";
        EXPECT_EQ(content("test.zrk.json") == saved, !isWritten);
        time += 5;
        ASSERT_TRUE(session->tick());
        EXPECT_EQ(content(file.filename()), session->document().toText());
        std::filesystem::remove(file);
        ASSERT_TRUE(session->setValue(2, "angle", 4));
        save = session->startSaving();
        ASSERT_TRUE(save);
        ASSERT_TRUE(session->setValue(2, "angle", 5));
        time += 20;
        EXPECT_FALSE(session->startRecovery()) << "not while the file is written";
        save->write();
        ASSERT_TRUE(session->finishSaving(*save));
        EXPECT_TRUE(session->startRecovery());
    }
}

TEST_F(SessionFiles, ArentWrittenOverWhenTheyChangeBeforeTheDiskGetsThere)
{
    const auto session = openParts();
    ASSERT_TRUE(session->setValue(1, "radius", 5));
    auto save = session->startSaving();
    ASSERT_TRUE(save);
    put("test.zrk.json", "another program's");
    save->write();
    EXPECT_TRUE(save->wasChangedOutside());
    EXPECT_FALSE(session->finishSaving(*save));
    EXPECT_EQ(content("test.zrk.json"), "another program's");
    EXPECT_TRUE(session->isModified());
}

TEST_F(SessionFiles, OfDocumentsWithoutAFileAreKeptElsewhere)
{
    std::filesystem::create_directory(folder / "kept");
    std::filesystem::create_directory(folder / "home");
    EditSettings unnamed = settings();
    unnamed.unnamedRecovery = folder / "kept/untitled-1.zrk.json";
    DocumentWarnings warnings;
    auto session = std::make_unique<EditSession>(
        zrk::valueOrThrow(GraphDocument::parse(kParts, path("untitled.zrk.json"), warnings)), unnamed);
    const auto samples = samplesOf(session->document());
    EXPECT_EQ(session->recoveryPath(), unnamed.unnamedRecovery);
    ASSERT_TRUE(session->setLabel(1, "Ball"));
    time += 15;
    ASSERT_TRUE(session->tick());
    ASSERT_TRUE(exists(unnamed.unnamedRecovery));
    EXPECT_EQ(session->document().name(), path("untitled.zrk.json"));
    std::filesystem::copy(unnamed.unnamedRecovery, folder / "kept/copy");
    session.reset();
    EXPECT_FALSE(exists(unnamed.unnamedRecovery)) << "closed, and not lost by a crash";
    std::filesystem::rename(folder / "kept/copy", unnamed.unnamedRecovery);

    auto recovered = EditSession::openUnnamed(unnamed.unnamedRecovery, path("home/untitled.zrk.json"),
                                              warnings, settings());
    ASSERT_TRUE(recovered) << zrk::messageOf(recovered.error());
    session = std::move(*recovered);
    EXPECT_TRUE(session->isModified());
    EXPECT_EQ(session->path(), "");
    EXPECT_EQ(session->document().name(), path("home/untitled.zrk.json"));
    EXPECT_EQ(samplesOf(session->document()), samples) << "what it names by paths is found";
    EXPECT_EQ(*session->entry(1)->find("label"), "Ball");
    ASSERT_TRUE(session->save(path("home/mine.zrk.json")));
    EXPECT_FALSE(session->isModified());
    EXPECT_EQ(samplesAfterReload(session->document()), samples);

    const auto nowhere = sessionOf(kParts);
    ASSERT_TRUE(nowhere->setLabel(1, "Ball"));
    time += 15;
    ASSERT_TRUE(nowhere->tick());
    EXPECT_TRUE(nowhere->recoveryPath().empty());
}

} // namespace
} // namespace zrkmodel

#include "apps/workbench/tests/window_fixture.h"

#include <QElapsedTimer>
#include <QProcess>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sys/resource.h>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

ZRKJson withRadius(double radius)
{
    ZRKJson document = ZRKJson::parse(kWindowDocument);
    document["nodes"][0]["values"]["radius"] = radius;
    return document;
}

/// Another program's way to save: a new file is put in the place of the old one.
void replaceFile(const std::string& path, const std::string& text)
{
    const std::string beside = path + ".new";
    std::ofstream(beside, std::ios::binary) << text;
    std::filesystem::rename(beside, path);
}

TEST_F(WindowTest, ReadsAFileAgainThatWasChangedOutside)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    struct Case {
        const char* name;
        double radius;
        bool renames;
    };
    for (const Case& c : {Case{"renamed", 0.25, true}, Case{"written in place", 0.75, false},
                          Case{"renamed again", 0.5, true}}) {
        SCOPED_TRACE(c.name);
        const std::string text = withRadius(c.radius).dump();
        if (c.renames) {
            replaceFile(path("a.zrk.json"), text);
        } else {
            std::ofstream(path("a.zrk.json"), std::ios::binary) << text;
        }
        EXPECT_TRUE(QTest::qWaitFor([&] { return radiusOf(window) == c.radius; }, 5000));
        EXPECT_FALSE(window.isWindowModified());
        EXPECT_FALSE(window.notices().has("changed")) << "nothing is lost, so nothing is asked";
    }
}

TEST_F(WindowTest, AsksWhereAFileWasChangedHereAndOutside)
{
    for (const bool keepsMine : {true, false}) {
        SCOPED_TRACE(keepsMine);
        put("a.zrk.json", kWindowDocument);
        Window window;
        window.show();
        ASSERT_TRUE(window.open(path("a.zrk.json")));
        ASSERT_TRUE(window.session()->setValue(1, "radius", 0.8));
        replaceFile(path("a.zrk.json"), withRadius(0.25).dump());
        ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("changed"); }, 5000));
        EXPECT_EQ(radiusOf(window), 0.8) << "nothing happens before one decides";
        EXPECT_FALSE(window.save()) << "nor is the other program's file written over";
        EXPECT_EQ(ZRKJson::parse(content("a.zrk.json")), withRadius(0.25));
        ASSERT_TRUE(press(window, keepsMine ? "Keep mine, write over it" : "Read it, drop my changes"));
        const double expected = keepsMine ? 0.8 : 0.25;
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return radiusOf(window) == expected && !window.isWindowModified(); }, 5000));
        EXPECT_EQ(ZRKJson::parse(content("a.zrk.json"))["nodes"][0]["values"]["radius"], expected);
        EXPECT_FALSE(window.notices().has("changed"));
    }
}

TEST_F(WindowTest, TellsThatItsFileIsGoneAndWritesItAnew)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    std::filesystem::remove(path("a.zrk.json"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("missing"); }, 5000));
    ASSERT_TRUE(press(window, "Save"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(path("a.zrk.json")); }, 5000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window.isSaving(); }, 5000));
    EXPECT_FALSE(window.notices().has("missing"));
}

TEST_F(WindowTest, AFullDiskLosesNothing)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.8));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    rlimit full = former;
    full.rlim_cur = 64;
    setrlimit(RLIMIT_FSIZE, &full);
    const bool isSaved = window.save();
    setrlimit(RLIMIT_FSIZE, &former);
    EXPECT_FALSE(isSaved);
    EXPECT_EQ(content("a.zrk.json"), kWindowDocument) << "the former file stays";
    EXPECT_TRUE(window.isWindowModified());
    EXPECT_TRUE(window.notices().has("saving"));
    EXPECT_EQ(window.problems().of(ProblemList::Source::Saving).size(), 1u);
    std::size_t files = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(path("a.zrk.json")).parent_path())) {
        files += entry.is_regular_file() ? 1 : 0;
    }
    EXPECT_EQ(files, 1u) << "no half a file stays beside it";
    ASSERT_TRUE(press(window, "Try again"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window.isSaving(); }, 5000));
    EXPECT_FALSE(window.isWindowModified());
    EXPECT_FALSE(window.notices().has("saving"));
    EXPECT_TRUE(window.problems().all().empty());
}

TEST_F(WindowTest, TwoWindowsOnOneFileKnowOfEachOther)
{
    Window first;
    first.show();
    ASSERT_TRUE(first.open(path("a.zrk.json")));
    EXPECT_FALSE(first.notices().has("lock"));
    {
        Window second;
        second.show();
        ASSERT_TRUE(second.open(path("a.zrk.json")));
        EXPECT_TRUE(second.notices().has("lock"));
        ASSERT_TRUE(second.session()->setValue(1, "radius", 0.75));
        ASSERT_TRUE(second.save());
        EXPECT_TRUE(QTest::qWaitFor([&] { return radiusOf(first) == 0.75; }, 5000))
            << "it shows in the other one";
        first.newDocument();
    }
    Window third;
    third.show();
    ASSERT_TRUE(third.open(path("a.zrk.json")));
    EXPECT_FALSE(third.notices().has("lock")) << "nobody has it open any more";
}

TEST_F(WindowTest, AnExampleIsntWrittenOver)
{
    Window window;
    window.show();
    window.startOpening({path("a.zrk.json"), true});
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.document() != nullptr; }, 5000));
    EXPECT_EQ(window.session()->path(), "");
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.8));
    ASSERT_TRUE(window.save(path("mine.zrk.json")));
    EXPECT_EQ(content("a.zrk.json"), kWindowDocument);
    EXPECT_EQ(window.session()->path(), path("mine.zrk.json"));
}

TEST_F(WindowTest, WarningsOfADocumentAreListedWithTheirNodes)
{
    put("odd.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 4, "type": "BoxSDF"},
        {"id": 9, "type": "SphereSDF", "values": {"radius": "wide"}},
        {"id": 11, "type": "MeshSDF", "import": "vanished.obj"}], "output": [4, 0]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("odd.zrk.json"))) << window.message();
    const auto problems = window.problems().all();
    ASSERT_EQ(problems.size(), 2u);
    EXPECT_EQ(problems[0].node, 9);
    EXPECT_EQ(problems[1].node, 11);
    EXPECT_THAT(problems[1].finding.toStdString() + problems[1].remedy.toStdString(),
                HasSubstr("vanished.obj"));
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    EXPECT_TRUE(window.problems().all().empty());
}

// The window that the next test kills. It is the real one, in a program of its own.
TEST_F(WindowTest, EditsUntilItIsKilled)
{
    const QByteArray document = qgetenv("ZRK_KILLED_WINDOW");
    if (document.isEmpty()) {
        GTEST_SKIP() << "a part of RecoversAfterAKill";
    }
    WindowSettings settings;
    settings.edit.recoverySeconds = 0.1;
    Window window(settings);
    window.show();
    ASSERT_TRUE(window.open(document.toStdString()));
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.875));
    QTest::qWait(60000);
}

TEST_F(WindowTest, RecoversAfterAKill)
{
    const std::string recoveryFile = path(".a.zrk.json.recovery");
    for (const bool takes : {true, false}) {
        SCOPED_TRACE(takes);
        put("a.zrk.json", kWindowDocument);
        QProcess program;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("ZRK_KILLED_WINDOW", QString::fromStdString(path("a.zrk.json")));
        program.setProcessEnvironment(environment);
        program.start(QCoreApplication::applicationFilePath(),
                      {"--gtest_filter=WindowTest.EditsUntilItIsKilled"});
        ASSERT_TRUE(QTest::qWaitFor([&] { return std::filesystem::exists(recoveryFile); }, 20000));
        program.kill(); // SIGKILL
        ASSERT_TRUE(program.waitForFinished());

        Window window;
        window.show();
        ASSERT_TRUE(window.open(path("a.zrk.json")));
        EXPECT_EQ(radiusOf(window), 0.5) << "the saved state, until one decides";
        ASSERT_TRUE(window.notices().has("recovery"));
        EXPECT_FALSE(window.notices().has("lock")) << "the killed program holds no lock";
        ASSERT_TRUE(press(window, takes ? "Recover them" : "Discard them"));
        if (takes) { // once it is read
            ASSERT_TRUE(QTest::qWaitFor([&] { return radiusOf(window) == 0.875; })) << window.message();
        }
        EXPECT_EQ(radiusOf(window), takes ? 0.875 : 0.5);
        EXPECT_EQ(window.isWindowModified(), takes);
        EXPECT_EQ(std::filesystem::exists(recoveryFile), takes) << "it stays until the document is saved";
        if (takes) {
            ASSERT_TRUE(window.save());
            EXPECT_EQ(ZRKJson::parse(content("a.zrk.json"))["nodes"][0]["values"]["radius"], 0.875);
        }
        EXPECT_FALSE(std::filesystem::exists(recoveryFile));
        EXPECT_FALSE(window.notices().has("recovery"));
    }
}

TEST_F(WindowTest, ARecoveryThatCantBeReadStaysOffered)
{
    put(".a.zrk.json.recovery", "{");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(press(window, "Recover them"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("refused"); }));
    EXPECT_THAT(window.notices().textOf("refused").toStdString(), HasSubstr("can't be recovered"));
    EXPECT_TRUE(window.notices().has("recovery")) << "it may still be discarded, or mended";
    EXPECT_EQ(radiusOf(window), 0.5);
    EXPECT_FALSE(window.isWindowModified());
}

} // namespace
} // namespace zrkworkbench

#include "apps/workbench/tests/window_fixture.h"

#include <QElapsedTimer>
#include <QMessageBox>
#include <QProcess>
#include <QProgressDialog>
#include <QPushButton>
#include <QTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <future>
#include <iterator>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

/// A file on a disk that takes nothing until the test reads what comes: a pipe.
class SlowDisk {
public:
    explicit SlowDisk(std::string path) : _path(std::move(path)) { ::mkfifo(_path.c_str(), 0600); }

    const std::string& path() const { return _path; }
    /// Lets the disk take what is written, and returns it once that is done.
    std::string take(const Window& window)
    {
        std::future<std::string> text = std::async(std::launch::async, [this] {
            std::ifstream file(_path, std::ios::binary);
            return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        });
        EXPECT_TRUE(QTest::qWaitFor([&] { return !window.isSaving(); }, 20000));
        return text.get();
    }

private:
    std::string _path;
};

double radiusIn(const std::string& text)
{
    return ZRKJson::parse(text)["nodes"][0]["values"]["radius"].get<double>();
}

std::size_t fileCount(const std::filesystem::path& folder)
{
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST_F(WindowTest, LivesOnWhileTheDiskIsSlow)
{
    SlowDisk disk(path("slow.zrk.json"));
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.75));
    QElapsedTimer clock;
    clock.start();
    window.startSaving(disk.path());
    EXPECT_LT(clock.elapsed(), 200);
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("writing"); }, 5000));
    EXPECT_TRUE(window.isSaving());
    EXPECT_TRUE(window.isWindowModified()) << "it isn't saved yet";
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.25));
    settle(window);
    EXPECT_EQ(radiusIn(disk.take(window)), 0.75) << "what it was when saving began";
    EXPECT_FALSE(window.notices().has("writing"));
    EXPECT_EQ(window.session()->path(), disk.path());
    EXPECT_TRUE(window.isWindowModified()) << "it was changed since";
    ASSERT_TRUE(window.session()->undo());
    EXPECT_FALSE(window.isWindowModified());
}

TEST_F(WindowTest, ASecondSaveFollowsTheFirst)
{
    SlowDisk disk(path("slow.zrk.json"));
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    window.startSaving(disk.path());
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.75));
    window.startSaving(path("b.zrk.json"));
    window.startSaving(path("c.zrk.json")); // in its place
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.875));
    EXPECT_EQ(radiusIn(disk.take(window)), 0.5);
    EXPECT_EQ(radiusIn(content("c.zrk.json")), 0.875) << "all that there is when it begins";
    EXPECT_FALSE(std::filesystem::exists(path("b.zrk.json")));
    EXPECT_EQ(window.session()->path(), path("c.zrk.json"));
    EXPECT_FALSE(window.isWindowModified());
}

TEST_F(WindowTest, ClosingWaitsForTheDiskAndSaysSo)
{
    for (const bool waits : {true, false}) {
        SCOPED_TRACE(waits);
        std::filesystem::remove(path("slow.zrk.json"));
        SlowDisk disk(path("slow.zrk.json"));
        Window window;
        window.show();
        ASSERT_TRUE(window.open(path("a.zrk.json")));
        window.startSaving(disk.path());
        std::string text;
        QString told;
        std::future<std::string> taken;
        QTimer presser;
        QObject::connect(&presser, &QTimer::timeout, [&] {
            auto* dialog = qobject_cast<QProgressDialog*>(QApplication::activeModalWidget());
            if (!dialog || !told.isEmpty()) {
                return;
            }
            told = dialog->labelText();
            if (waits) {
                taken = std::async(std::launch::async, [&] {
                    std::ifstream file(disk.path(), std::ios::binary);
                    return std::string(std::istreambuf_iterator<char>(file),
                                       std::istreambuf_iterator<char>());
                });
            } else {
                dialog->findChild<QPushButton*>()->click();
            }
        });
        presser.start(20);
        EXPECT_EQ(window.close(), waits);
        presser.stop();
        EXPECT_THAT(told.toStdString(), HasSubstr("slow.zrk.json"));
        EXPECT_EQ(window.isVisible(), !waits);
        EXPECT_EQ(radiusIn(waits ? taken.get() : disk.take(window)), 0.5);
    }
}

TEST_F(WindowTest, AFolderThatVanishedLosesNothing)
{
    std::filesystem::create_directory(path("usb"));
    std::filesystem::copy(path("a.zrk.json"), path("usb/a.zrk.json"));
    WindowSettings settings;
    settings.edit.recoverySeconds = 0.1;
    Window window(settings);
    window.show();
    ASSERT_TRUE(window.open(path("usb/a.zrk.json")));
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.75));
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return std::filesystem::exists(path("usb/.a.zrk.json.recovery")); }, 5000));
    std::filesystem::remove_all(path("usb"));
    window.startSaving();
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("saving"); }, 5000));
    EXPECT_TRUE(window.isWindowModified());
    EXPECT_FALSE(std::filesystem::exists(path("usb")));
    std::filesystem::create_directory(path("usb"));
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.875));
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return std::filesystem::exists(path("usb/.a.zrk.json.recovery")); }, 5000))
        << "recovery goes on where it was refused";
    ASSERT_TRUE(press(window, "Try again"));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window.isWindowModified(); }, 5000));
    EXPECT_EQ(radiusIn(content("usb/a.zrk.json")), 0.875);
    EXPECT_FALSE(std::filesystem::exists(path("usb/.a.zrk.json.recovery")));
    EXPECT_FALSE(window.notices().has("saving"));
}

WindowSettings keepingUnsaved(const std::string& folder)
{
    WindowSettings settings;
    settings.unsavedFolder = QString::fromStdString(folder);
    settings.edit.recoverySeconds = 0.1;
    return settings;
}

// The window of the next test, in a program of its own, with a document that has no file.
TEST_F(WindowTest, EditsANewDocumentUntilItIsKilled)
{
    const QByteArray folder = qgetenv("ZRK_KILLED_UNSAVED");
    if (folder.isEmpty()) {
        GTEST_SKIP() << "a part of RecoversDocumentsWithoutAFile";
    }
    Window window(keepingUnsaved(folder.toStdString()));
    window.show();
    window.newDocument();
    ASSERT_TRUE(window.session()->addNode({"SphereSDF"}));
    QTest::qWait(60000);
}

TEST_F(WindowTest, RecoversDocumentsWithoutAFile)
{
    const std::string folder = path("unsaved");
    std::vector<std::unique_ptr<QProcess>> programs;
    const auto documents = [&] {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            count += entry.path().extension() == ".json" ? 1 : 0;
        }
        return count;
    };
    std::filesystem::create_directory(folder);
    for (int i = 0; i < 2; ++i) {
        programs.push_back(std::make_unique<QProcess>());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("ZRK_KILLED_UNSAVED", QString::fromStdString(folder));
        programs.back()->setProcessEnvironment(environment);
        programs.back()->start(QCoreApplication::applicationFilePath(),
                               {"--gtest_filter=WindowTest.EditsANewDocumentUntilItIsKilled"});
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return documents() == 2; }, 30000));
    {
        Window beside(keepingUnsaved(folder));
        EXPECT_FALSE(beside.notices().has("left")) << "they are the running programs' own";
    }
    EXPECT_EQ(documents(), 2u);
    for (const auto& program : programs) {
        program->kill(); // SIGKILL
        ASSERT_TRUE(program->waitForFinished());
    }

    Window window(keepingUnsaved(folder));
    window.show();
    window.newDocument();
    ASSERT_TRUE(window.notices().has("left"));
    EXPECT_THAT(window.notices().textOf("left").toStdString(), HasSubstr("untitled.zrk.json"));
    {
        Window second(keepingUnsaved(folder));
        EXPECT_FALSE(second.notices().has("left")) << "they are offered once";
    }
    ASSERT_TRUE(press(window, "Recover it"));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return window.document()->graph()->nodes().size() == 1 && window.isWindowModified(); }, 5000));
    EXPECT_EQ(window.session()->path(), "");
    EXPECT_EQ(documents(), 2u) << "it stays until the document is saved";
    ASSERT_TRUE(window.notices().has("left")) << "the other one";
    ASSERT_TRUE(press(window, "Discard it"));
    EXPECT_EQ(documents(), 1u);
    EXPECT_FALSE(window.notices().has("left"));
    ASSERT_TRUE(window.save(path("mine.zrk.json")));
    EXPECT_TRUE(QTest::qWaitFor([&] { return fileCount(folder) == 0; }, 5000)) << "nor do locks stay";
    EXPECT_EQ(ZRKJson::parse(content("mine.zrk.json"))["nodes"].size(), 1u);

    // What nobody wants to keep isn't offered again.
    window.newDocument();
    ASSERT_TRUE(window.session()->addNode({"SphereSDF"}));
    ASSERT_TRUE(QTest::qWaitFor([&] { return documents() == 1; }, 5000));
    QTimer presser;
    QObject::connect(&presser, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            box->button(QMessageBox::Discard)->click();
        }
    });
    presser.start(20);
    EXPECT_TRUE(window.close());
    EXPECT_EQ(fileCount(folder), 0u);
}

} // namespace
} // namespace zrkworkbench

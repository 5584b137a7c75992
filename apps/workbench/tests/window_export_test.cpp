#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/tests/window_fixture.h"
#include "core/mesh/beams/beam_lattice.h"
#include "formats/zip_reader.h"

#include <QAction>
#include <QLabel>
#include <QMessageBox>
#include <QTimer>
#include <QToolButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

/// Exports as one asks for them: by the menu and the dialog.
class WindowExport : public WindowTest {
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        keepSettings();
    }

    /// The dialog of a command, with this file.
    static ExportDialog* ask(Window& window, const char* command, const std::string& file)
    {
        window.command(command)->trigger();
        ExportDialog* dialog = nullptr;
        for (auto* each : window.findChildren<QDialog*>()) {
            dialog = each->isVisible() && dynamic_cast<ExportDialog*>(each)
                         ? dynamic_cast<ExportDialog*>(each)
                         : dialog;
        }
        if (dialog) {
            dialog->findChild<QLineEdit*>()->setText(QString::fromStdString(file));
        }
        return dialog;
    }
    static void setResolution(ExportDialog& dialog, double nodes)
    {
        dialog.findChild<zrkui::NumberField*>("resolution")->display(nodes);
    }
    static void waitForExport(Window& window)
    {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !window.exports().isRunning(); }, 60000));
    }
    /// Presses a button of the question that comes next.
    static void answer(const QString& text)
    {
        QTimer::singleShot(50, [text] {
            for (QWidget* widget : QApplication::topLevelWidgets()) {
                if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible()) {
                    for (QAbstractButton* button : box->buttons()) {
                        if (button->text() == text) {
                            button->click();
                        }
                    }
                }
            }
        });
    }
    std::vector<std::string> files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
            if (entry.is_regular_file()) {
                names.push_back(entry.path().filename().string());
            }
        }
        return names;
    }
};

// What is exported is what the view shows: here a pinned node, not the document's output.
TEST_F(WindowExport, WritesWhatTheViewShows)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.session()->setValue(2, "multiplier", 10));
    ASSERT_TRUE(window.select(1));
    window.canvas().action("view")->trigger();
    settle(window);
    ExportDialog* dialog = ask(window, "Volume", path("ball.npy"));
    ASSERT_NE(dialog, nullptr);
    setResolution(*dialog, 3);
    dialog->accept();
    waitForExport(window);
    EXPECT_THAT(window.message(), HasSubstr("values from -0.5 to 1.232"))
        << "those of the sphere, not tenfold";
    EXPECT_TRUE(window.problems().all().empty());
}

// Programs for printing take a lattice as beams, which need no fine mesh.
TEST_F(WindowExport, ALatticeIsWrittenAsBeams)
{
    put("beams.zrk.json",
        R"({"zrkGraph": 1, "context": {"modelBounds": [[-1.6, -1.6, -1.6], [1.6, 1.6, 1.6]]},
        "nodes": [{"id": 1, "type": "BeamSDF", "values": {"min": [-1, -1, -1], "max": [1, 1, 1], "resolution": 2}},
                  {"id": 2, "type": "SphereSDF"}],
        "output": [1, 0]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("beams.zrk.json")));
    const auto beamsIn = [&](const char* file) {
        ExportDialog* dialog = ask(window, "Surface", path(file));
        EXPECT_NE(dialog, nullptr);
        setResolution(*dialog, 24);
        dialog->accept();
        waitForExport(window);
        EXPECT_TRUE(std::filesystem::exists(path(file))) << window.message();
        const std::string bytes = content(file);
        const auto zip = zrk::valueOrThrow(
            zrk::ZipReader::open({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, file));
        const zrk::ZipEntry* model = zip.find("3D/3dmodel.model");
        std::string text(model ? model->size : 0, ' ');
        if (model) {
            zip.stream(*model).read(text.data(), text.size());
        }
        std::size_t count = 0;
        for (std::size_t at = text.find("beam v1="); at != std::string::npos;
             at = text.find("beam v1=", at + 1)) {
            ++count;
        }
        return count;
    };
    const auto beams = window.document()->beamsOf({1, 0});
    ASSERT_TRUE(beams);
    EXPECT_EQ(beamsIn("lattice.3mf"), beams->beamCount());
    EXPECT_GT(beams->beamCount(), 6u);
    ASSERT_TRUE(window.session()->setOutput(PinAddress{2, 0}));
    settle(window);
    EXPECT_EQ(beamsIn("ball.3mf"), 0u);
}

TEST_F(WindowExport, FailuresAreToldAndListedUntilAnExportSucceeds)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    settle(window);
    std::filesystem::create_directory(path("folder"));
    put("folder/full.npy", "former");
    ExportDialog* dialog = ask(window, "Volume", path("folder/full.npy"));
    ASSERT_NE(dialog, nullptr);
    setResolution(*dialog, 33);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    rlimit full = former;
    full.rlim_cur = 4096;
    setrlimit(RLIMIT_FSIZE, &full);
    dialog->accept();
    waitForExport(window);
    setrlimit(RLIMIT_FSIZE, &former);
    ASSERT_EQ(window.problems().of(ProblemList::Source::Export).size(), 1u);
    EXPECT_EQ(window.problems().of(ProblemList::Source::Export)[0].place, "full.npy");
    EXPECT_THAT(window.problems().of(ProblemList::Source::Export)[0].finding.toStdString(),
                HasSubstr("full.npy"));
    EXPECT_EQ(content("folder/full.npy"), "former");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path("folder")), {}), 1) << "no half a file";

    dialog = ask(window, "Volume", path("folder/gone.npy"));
    ASSERT_NE(dialog, nullptr);
    std::filesystem::remove_all(path("folder")); // while the dialog is open
    dialog->accept();
    waitForExport(window);
    EXPECT_THAT(window.message(), HasSubstr("gone.npy"));
    EXPECT_EQ(window.problems().of(ProblemList::Source::Export)[0].place, "gone.npy");
    EXPECT_FALSE(std::filesystem::exists(path("folder"))) << "nor is the folder made again";

    dialog = ask(window, "Volume", path("b.npy"));
    ASSERT_NE(dialog, nullptr);
    dialog->accept();
    waitForExport(window);
    EXPECT_TRUE(window.problems().all().empty()) << window.message();
    EXPECT_TRUE(std::filesystem::exists(path("b.npy")));
}

TEST_F(WindowExport, OneAtATimeAndCancelled)
{
    put("slow.zrk.json", slowText());
    put("slow.npy", "former");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("slow.zrk.json")));
    ASSERT_TRUE(window.session()->setOutput(PinAddress{1, 0}));
    QTest::qWait(50);
    ExportDialog* dialog = ask(window, "Volume", path("slow.npy"));
    ASSERT_NE(dialog, nullptr);
    setResolution(*dialog, 200);
    dialog->accept();
    ASSERT_TRUE(window.exports().isRunning());
    EXPECT_TRUE(window.exports().isVisible());
    EXPECT_EQ(window.exports().findChild<QLabel*>()->text(), "Exporting slow.npy");
    dialog = ask(window, "Volume", path("b.npy"));
    ASSERT_NE(dialog, nullptr);
    dialog->accept();
    EXPECT_TRUE(dialog->isVisible()) << "what was chosen isn't lost";
    EXPECT_THAT(dialog->problem().toStdString(), HasSubstr("slow.npy is still being exported"));
    dialog->reject();
    EXPECT_EQ(window.exports().file(), path("slow.npy"));

    answer("Stay here");
    EXPECT_FALSE(window.close());
    EXPECT_TRUE(window.isVisible());
    EXPECT_TRUE(window.exports().isRunning()) << "it goes on";

    window.exports().findChild<QToolButton*>()->click();
    waitForExport(window);
    EXPECT_FALSE(window.exports().isVisible());
    EXPECT_TRUE(window.problems().all().empty()) << "what one cancels is no problem";
    EXPECT_EQ(content("slow.npy"), "former");
    EXPECT_FALSE(std::filesystem::exists(path("b.npy")));
}

TEST_F(WindowExport, ClosingStopsItWhenOneAgrees)
{
    put("slow.zrk.json", slowText());
    put("slow.npy", "former");
    const auto before = files();
    {
        Window window;
        window.show();
        ASSERT_TRUE(window.open(path("slow.zrk.json")));
        ExportDialog* dialog = ask(window, "Volume", path("slow.npy"));
        ASSERT_NE(dialog, nullptr);
        setResolution(*dialog, 200);
        dialog->accept();
        ASSERT_TRUE(window.exports().isRunning());
        answer("Stop it and close");
        EXPECT_TRUE(window.close());
    }
    EXPECT_EQ(content("slow.npy"), "former");
    EXPECT_THAT(files(), ::testing::UnorderedElementsAreArray(before)) << "no half a file";
}

} // namespace
} // namespace zrkworkbench

#include "apps/workbench/window.h"
#include "components/primitives/sphere_sdf.h"
#include "components/registration.h"
#include "inspectors/app.h"
#include "inspectors/css_style.h"
#include "inspectors/number_field.h"
#include "inspectors/panels.h"
#include "inspectors/property_view.h"
#include "model/registry.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QtTest/QtTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

const char* const kDocument = R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
    "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 0.5}},
              {"id": 2, "type": "Multiply"}, {"id": 7, "type": "NormVec3"}],
    "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})";

class Workbench : public zrktest::TemporaryFolder {
protected:
    std::unique_ptr<QApplication> application;

    void SetUp() override
    {
        TemporaryFolder::SetUp();
        qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "workbench_tests";
        static char* argv[] = {name, nullptr};
        application = std::make_unique<QApplication>(argc, argv);
        ZRKGraphComponentsInit::initializeModule();
        zrkui::ZRKGraphInspectorsInit::initializeModule();
        zrkui::ZRKCSSStyle::light().apply(*application);
        put("a.zrk.json", kDocument);
        put("broken.zrk.json", "{");
    }
    void TearDown() override
    {
        application.reset();
        TemporaryFolder::TearDown();
    }

    static void settle(const Window& window)
    {
        ASSERT_TRUE(QTest::qWaitFor([&] { return window.isSettled(); }, 20000));
    }
};

/// The share of a picture's pixels on the inside, which is drawn blue.
double shareInside(const QImage& image)
{
    int inside = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            inside += qBlue(pixel) > qRed(pixel) + 20 ? 1 : 0;
        }
    }
    return static_cast<double>(inside) / (image.width() * image.height());
}

TEST_F(Workbench, FollowsEditsAndSavesThem)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json"))) << window.message();
    ASSERT_TRUE(window.select(1));
    EXPECT_FALSE(window.select(3));
    settle(window);
    const double before = shareInside(window.grab().toImage());
    ASSERT_GT(before, 0.01);

    auto* radius = window.panel()->findChild<QDoubleSpinBox*>();
    auto* line = radius->findChild<QLineEdit*>();
    line->selectAll();
    QTest::keyClicks(line, "0.9");
    QTest::keyClick(line, Qt::Key_Return);
    EXPECT_TRUE(window.isWindowModified());
    EXPECT_FALSE(window.isSettled());
    settle(window);
    EXPECT_GT(shareInside(window.grab().toImage()), 2 * before) << "the slice shows the edit";

    ASSERT_TRUE(window.save(path("b.zrk.json"))) << window.message();
    EXPECT_FALSE(window.isWindowModified());
    EXPECT_EQ(ZRKJson::parse(content("b.zrk.json"))["nodes"][0]["values"]["radius"], 0.9);
    EXPECT_FALSE(window.save(path("gone/b.zrk.json")));
    EXPECT_THAT(window.message(), HasSubstr("gone"));
}

TEST_F(Workbench, KeepsTheDocumentWhenAnotherCantBeRead)
{
    Window window;
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    for (const char* name : {"broken.zrk.json", "gone.zrk.json"}) {
        EXPECT_FALSE(window.open(path(name)));
        EXPECT_THAT(window.message(), HasSubstr(name));
        EXPECT_EQ(window.document()->graph()->nodes().size(), 3u);
    }
    ASSERT_TRUE(window.select(7)); // nothing arrives there, and it has no panel
    settle(window);
    ASSERT_TRUE(window.open((zrktest::sourceFolder() / "examples/sphere.zrk.json").string()));
    settle(window);
}

TEST_F(Workbench, ShowsAllOfEveryPanel)
{
    ZRKJson all{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}};
    const auto& entries = ZRKGraphObject::registry().entries();
    for (const auto& entry : entries) {
        all["nodes"].push_back({{"id", all["nodes"].size()}, {"type", entry.className}});
    }
    put("all.zrk.json", all.dump());
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("all.zrk.json"))) << window.message();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        SCOPED_TRACE(entries[i].className);
        ASSERT_TRUE(window.select(static_cast<std::uint16_t>(i)));
        QCoreApplication::processEvents();
        const QWidget& panel = *window.panel();
        EXPECT_GE(panel.width(), panel.minimumSizeHint().width());
        EXPECT_LE(panel.mapTo(&window, QPoint(panel.width(), 0)).x(), window.width()) << "cut at its right";
    }
}

/// The widget of a class with this accessible name.
template <class Widget>
Widget* named(const QWidget& parent, const QString& name)
{
    for (auto* widget : parent.findChildren<Widget*>()) {
        if (widget->accessibleName() == name) {
            return widget;
        }
    }
    return nullptr;
}

bool hasLabel(const QWidget& parent, const QString& text)
{
    const auto labels = parent.findChildren<QLabel*>();
    return std::any_of(labels.begin(), labels.end(),
                       [&](const QLabel* label) { return label->text() == text; });
}

TEST_F(Workbench, CutsWhereItIsTold)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(1));
    settle(window);
    EXPECT_TRUE(hasLabel(window, "y = 0"));
    const double middle = shareInside(window.grab().toImage());
    named<QPushButton>(window, "cut across x")->click();
    EXPECT_FALSE(window.isSettled());
    settle(window);
    EXPECT_TRUE(hasLabel(window, "x = 0"));
    auto* place = named<QDoubleSpinBox>(window, "place of the slice");
    place->setFocus();
    auto* line = place->findChild<QLineEdit*>();
    line->selectAll();
    QTest::keyClicks(line, "0.7");
    QTest::keyClick(line, Qt::Key_Return);
    EXPECT_FALSE(window.isSettled());
    settle(window);
    EXPECT_TRUE(hasLabel(window, "x = 0.4"));
    EXPECT_LT(shareInside(window.grab().toImage()), 0.6 * middle) << "a circle of 0.3 instead of 0.5";
}

// An import tells of no change; the slice is drawn anew all the same.
TEST_F(Workbench, FollowsAnImport)
{
    put("mesh.zrk.json", R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
                             "nodes": [{"id": 1, "type": "MeshSDF"}], "output": [1, 0]})");
    put("triangle.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    zrkui::ZRKApp::ui().setFileDialog([this](const zrkui::FileRequest&, QWidget*) {
        return std::vector<std::string>{path("triangle.obj")};
    });
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("mesh.zrk.json"))) << window.message();
    settle(window);
    window.panel()->findChild<QPushButton*>()->click();
    EXPECT_FALSE(window.isSettled());
    settle(window);
    zrkui::ZRKApp::ui().setFileDialog(nullptr);
}

/// Presses a button of each message box that comes up; returns how many came.
template <class Action>
int answering(QMessageBox::StandardButton answer, const Action& action)
{
    int count = 0;
    QTimer presser;
    QObject::connect(&presser, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            ++count;
            box->button(answer)->click();
        }
    });
    presser.start(20);
    action();
    return count;
}

TEST_F(Workbench, AsksAboutUnsavedChanges)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    QApplication::setQuitOnLastWindowClosed(false);
    EXPECT_EQ(answering(QMessageBox::Cancel, [&] { EXPECT_TRUE(window.close()); }), 0)
        << "nothing is changed";
    window.show();
    ASSERT_TRUE(window.select(1));
    const auto node = window.document()->graph()->getNodePtr(1);
    std::dynamic_pointer_cast<ZRKSphereSDF>(node->object)->radius.set(0.75);
    EXPECT_TRUE(window.isWindowModified());
    EXPECT_EQ(answering(QMessageBox::Cancel, [&] { EXPECT_FALSE(window.close()); }), 1);
    EXPECT_EQ(answering(QMessageBox::Save, [&] { EXPECT_TRUE(window.close()); }), 1);
    EXPECT_EQ(ZRKJson::parse(content("a.zrk.json"))["nodes"][0]["values"]["radius"], 0.75);
}

/// A document with a field of 4000 waves behind a raster of 96 nodes along each edge: ten seconds and more to
/// freeze.
std::string slowText()
{
    std::string waves;
    for (int i = 0; i < 4000; ++i) {
        waves += std::string(i == 0 ? "" : ",") + R"({"fx": 1})";
    }
    return R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]}, "nodes": [
               {"id": 1, "type": "PatternDesigner", "values": {"waves": [)" +
           waves + R"(]}},
               {"id": 2, "type": "RasterFX", "values": {"auto-update": true, "resolution": 96}}],
               "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})";
}

TEST_F(Workbench, ClosesDuringALongEvaluation)
{
    put("slow.zrk.json", slowText());
    auto window = std::make_unique<Window>();
    window->show();
    ASSERT_TRUE(window->open(path("slow.zrk.json"))) << window->message();
    ASSERT_TRUE(window->select(2));
    QTest::qWait(100);
    EXPECT_FALSE(window->isSettled());
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(window->close());
    window.reset();
    EXPECT_LT(clock.elapsed(), 500); // 200 ms where nothing else runs
}

} // namespace
} // namespace zrkworkbench

#include "apps/workbench/export/export_bar.h"
#include "apps/workbench/tests/window_fixture.h"
#include "apps/workbench/window/library.h"
#include "apps/workbench/window/quick_search.h"
#include "apps/workbench/window/top_bar.h"
#include "apps/workbench/window/watchdog.h"
#include "components/primitives/sphere_sdf.h"
#include "inspectors/app.h"
#include "inspectors/field.h"
#include "model/registry.h"
#include "testing/from_environment.h"
#include "testing/source_folder.h"

#include <QAction>
#include <QClipboard>
#include <QElapsedTimer>
#include <QLabel>
#include <QListView>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <random>
#include <thread>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

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

double shareInside(Window& window) { return shareInside(window.view().grab().toImage()); }

TEST_F(WindowTest, FollowsEditsAndSavesThem)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json"))) << window.message();
    ASSERT_TRUE(window.select(1));
    EXPECT_FALSE(window.select(3));
    settle(window);
    const double before = shareInside(window);
    ASSERT_GT(before, 0.01);

    type(window, "radius", "1.8/2");
    EXPECT_TRUE(window.isWindowModified());
    EXPECT_FALSE(window.isSettled());
    settle(window);
    EXPECT_GT(shareInside(window), 2 * before) << "the slice shows the edit";

    ASSERT_TRUE(window.save(path("b.zrk.json"))) << window.message();
    EXPECT_FALSE(window.isWindowModified());
    EXPECT_EQ(ZRKJson::parse(content("b.zrk.json"))["nodes"][0]["values"]["radius"], 0.9);
    EXPECT_THAT(window.windowTitle().toStdString(), HasSubstr("b.zrk.json"));
    EXPECT_FALSE(window.save(path("gone/b.zrk.json")));
    EXPECT_THAT(window.message(), HasSubstr("gone"));
}

TEST_F(WindowTest, UndoesAndRedoesByTheNamesOfSteps)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(1));
    EXPECT_FALSE(window.command("Undo")->isEnabled());
    type(window, "radius", "0.9");
    ASSERT_NE(window.command("Undo Change radius"), nullptr);
    window.canvas().addNodeAtCentre("ZRKBoxSDF");
    ASSERT_EQ(window.document()->graph()->nodes().size(), 4u);
    for (int i = 0; window.session()->canUndo(); ++i) {
        ASSERT_LT(i, 4);
        window
            .command(
                "Undo " +
                QString::fromStdString(
                    window.session()->history().steps()[window.session()->history().doneCount() - 1].name))
            ->trigger();
    }
    EXPECT_EQ(window.document()->graph()->nodes().size(), 3u);
    EXPECT_EQ(radiusOf(window), 0.5);
    EXPECT_FALSE(window.isWindowModified()) << "back where it was opened";
    ASSERT_TRUE(window.select(1));
    EXPECT_EQ(fieldOf(window, "radius")->exact(), 0.5) << "the panel follows";
    ASSERT_NE(window.command("Redo Change radius"), nullptr);
    window.command("Redo Change radius")->trigger();
    EXPECT_EQ(radiusOf(window), 0.9);
    EXPECT_EQ(fieldOf(window, "radius")->exact(), 0.9);
    EXPECT_TRUE(window.isWindowModified());
}

TEST_F(WindowTest, ADragIsOneStep)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(1));
    zrkui::NumberField* field = fieldOf(window, "radius");
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    auto* line = field->findChild<QLineEdit*>();
    field->clearFocus();
    const auto drag = [&](std::initializer_list<double> places) {
        QTest::mousePress(line, Qt::LeftButton, {}, QPoint(4, 8));
        for (const double x : places) {
            const QPointF place(x, 8);
            QMouseEvent move(QEvent::MouseMove, place, place, Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(line, &move);
            QTest::qWait(600); // longer than what joins steps by itself
        }
        QTest::mouseRelease(line, Qt::LeftButton, {}, QPoint(60, 8));
        QCoreApplication::processEvents();
    };
    drag({20, 40, 60});
    EXPECT_EQ(window.session()->history().doneCount(), 1u);
    EXPECT_NEAR(radiusOf(window), 0.5 + 14 * 0.01, 1e-9);
    drag({40, 24});
    EXPECT_EQ(window.session()->history().doneCount(), 2u);
    window.command("Undo Change radius")->trigger();
    window.command("Undo Change radius")->trigger();
    EXPECT_EQ(radiusOf(window), 0.5);
}

TEST_F(WindowTest, KeepsTheDocumentWhenAnotherCantBeRead)
{
    put("broken.zrk.json", "{");
    put("newer.zrk.json", R"({"zrkGraph": 7, "nodes": []})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    for (const char* name : {"broken.zrk.json", "gone.zrk.json", "newer.zrk.json"}) {
        EXPECT_FALSE(window.open(path(name)));
        EXPECT_THAT(window.message(), HasSubstr(name));
        EXPECT_TRUE(window.notices().has("refused"));
        EXPECT_EQ(window.problems().count(Problem::Kind::Error), 1);
        EXPECT_EQ(window.document()->graph()->nodes().size(), 3u);
    }
    EXPECT_THAT(window.message(), ::testing::AllOf(HasSubstr("7"), HasSubstr("1"))) << "both versions";
    ASSERT_TRUE(window.open((zrktest::sourceFolder() / "examples/sphere.zrk.json").string()));
    EXPECT_FALSE(window.notices().has("refused"));
    settle(window);
}

TEST_F(WindowTest, ShowsAllOfEveryPanel)
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
        EXPECT_EQ(window.session()->history().doneCount(), 0u) << "to be looked at is no edit";
    }
}

TEST_F(WindowTest, TellsWhatWasEnteredWronglyInTheListToo)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(1));
    type(window, "radius", "0.18*");
    EXPECT_EQ(radiusOf(window), 0.5);
    const auto problems = window.problems().all();
    ASSERT_EQ(problems.size(), 1u);
    EXPECT_EQ(problems[0].kind, Problem::Kind::Error);
    EXPECT_EQ(problems[0].node, 1);
    EXPECT_EQ(problems[0].place, QString::fromUtf8("Sphere · radius"));
    EXPECT_EQ(problems[0].finding, "\"0.18*\" doesn't end; 0.5 stays");
    EXPECT_EQ(zrkui::UIField::of(fieldOf(window, "radius"))->message(), problems[0].finding.toStdString());
    type(window, "radius", "0.18");
    EXPECT_TRUE(window.problems().all().empty());
    type(window, "radius", "x");
    EXPECT_EQ(window.problems().all().size(), 1u);
    ASSERT_TRUE(window.select(2));
    EXPECT_TRUE(window.problems().all().empty()) << "the field is gone, and its value is as it was";
}

QToolButton* linkTo(Window& window, const QString& text)
{
    QCoreApplication::processEvents(); // what was added is shown by an event
    for (auto* button : window.inspector().findChildren<QToolButton*>()) {
        if (button->text().trimmed() == text && button->isVisible()) {
            return button;
        }
    }
    return nullptr;
}

TEST_F(WindowTest, InspectorTellsWhereInputsComeFrom)
{
    put("linked.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF", "label": "Ball"},
        {"id": 2, "type": "Gyroid"}, {"id": 3, "type": "Multiply"}],
        "links": [{"from": [1, 0], "to": [3, 1]}], "output": [3, 0]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("linked.zrk.json")));
    ASSERT_TRUE(window.select(3));
    QToolButton* link = linkTo(window, QString::fromUtf8("set by Ball · sdf"));
    ASSERT_NE(link, nullptr);
    EXPECT_NE(window.inspector().findChild<QLabel*>("OverriddenValue"), nullptr) << "the default is greyed";
    link->click();
    EXPECT_EQ(window.session()->selection(), std::vector<std::uint16_t>{1});
    ASSERT_TRUE(window.session()->unlink(Pin_handle::input(3, 1)));
    ASSERT_TRUE(window.select(3));
    QTest::qWait(1);
    EXPECT_EQ(window.inspector().findChild<QLabel*>("OverriddenValue"), nullptr);
    EXPECT_NE(window.inspector().findChild<QLabel*>("UnlinkedInput"), nullptr);
}

TEST_F(WindowTest, FollowsTheSystemsColoursAndFontWhileItRuns)
{
    using zrkui::ZRKCSSStyle;
    bool isSystemDark = false;
    ZRKCSSStyle::setSystemPalette(
        [&] { return QPalette(isSystemDark ? QColor("#202020") : QColor("#EEEEEE")); });
    Window window;
    window.show();
    const auto become = [&](bool isDark) {
        isSystemDark = isDark;
        QEvent change(QEvent::ThemeChange);
        QApplication::sendEvent(&window, &change);
    };
    const auto ground = [&] {
        return window.grab().toImage().pixelColor(2, window.height() - 2).lightness();
    };
    for (const bool isDark : {true, false, true}) {
        become(isDark);
        EXPECT_EQ(ZRKCSSStyle::current().isDark(), isDark);
        EXPECT_EQ(ground() < 128, isDark) << ground();
    }
    window.command("Light")->trigger();
    become(true);
    EXPECT_FALSE(ZRKCSSStyle::current().isDark()) << "what was chosen stays";
    window.command("System")->trigger();
    EXPECT_TRUE(ZRKCSSStyle::current().isDark());
    become(false);
    EXPECT_FALSE(ZRKCSSStyle::current().isDark());

    const auto heights = [&] {
        return std::array{window.topBar().findChild<QLineEdit*>()->height(),
                          window.canvas().nodeRect(1).height()};
    };
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    window.canvas().setZoom(1);
    settle(window);
    const auto before = heights();
    QFont font = QApplication::font();
    font.setPixelSize(26);
    QApplication::setFont(font);
    QCoreApplication::processEvents(); // Qt 6 tells of it later
    settle(window);
    window.canvas().setZoom(1);
    for (std::size_t i = 0; i < before.size(); ++i) {
        EXPECT_GT(heights()[i], 1.6 * before[i]) << i;
    }
    ZRKCSSStyle::setSystemPalette({});
}

TEST_F(WindowTest, ChangesItsColours)
{
    using zrkui::ZRKCSSStyle;
    Window window;
    window.show();
    const auto choose = [&](const QString& name) {
        for (QAction* action : window.findChildren<QAction*>()) {
            if (action->text() == name) {
                action->trigger();
                return;
            }
        }
        ADD_FAILURE() << name.toStdString();
    };
    EXPECT_TRUE(window.command("System")->isChecked()) << "what it was made with";
    EXPECT_TRUE(Window({.palette = "dark", .edit = {}}).command("Dark")->isChecked());
    choose("Dark");
    EXPECT_FALSE(window.command("System")->isChecked());
    EXPECT_EQ(&ZRKCSSStyle::current(), &ZRKCSSStyle::dark());
    choose("System");
    EXPECT_EQ(&ZRKCSSStyle::current(), &ZRKCSSStyle::light()) << "what is applied isn't the system's";
    const QColor edge = ZRKCSSStyle::current().color(ZRKCSSStyle::Role::edge);
    const QColor strong = ZRKCSSStyle::current().color(ZRKCSSStyle::Role::edgeHovered);
    choose("&High contrast");
    EXPECT_EQ(ZRKCSSStyle::current().color(ZRKCSSStyle::Role::edge), strong);
    for (const ZRKCSSStyle* style : {&ZRKCSSStyle::light(), &ZRKCSSStyle::dark()}) {
        using Role = ZRKCSSStyle::Role;
        for (const Role ground : {Role::field, Role::panel, Role::popup, Role::canvas, Role::bar}) {
            EXPECT_GE(zrkui::contrast(style->color(Role::edge), style->color(ground)), 3) << style->isDark();
        }
    }
    choose("&High contrast");
    EXPECT_EQ(ZRKCSSStyle::current().color(ZRKCSSStyle::Role::edge), edge);
}

TEST_F(WindowTest, InspectorNamesAndResetsANode)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(1));
    auto* name = window.inspector().findChild<QLineEdit*>("NodeName");
    EXPECT_EQ(name->text(), "Sphere");
    name->setFocus();
    name->selectAll();
    QTest::keyClicks(name, "Ball");
    QTest::keyClick(name, Qt::Key_Return);
    EXPECT_EQ((*window.session()->entry(1))["label"], "Ball");
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(name->text(), "Sphere") << "follows";

    const std::string tip = fieldOf(window, "radius")->toolTip().toStdString();
    EXPECT_THAT(tip, ::testing::HasSubstr("1.0 in a new node")) << "what the manual page says of the value";

    QCoreApplication::processEvents();
    QToolButton* reset = nullptr;
    for (auto* button : window.inspector().findChildren<QToolButton*>()) {
        reset = button->accessibleName() == "reset radius to 1.0" ? button : reset;
    }
    ASSERT_NE(reset, nullptr) << "0.5 isn't what a new sphere has";
    reset->click();
    EXPECT_EQ(radiusOf(window), 1.0);
    ASSERT_TRUE(window.session()->setValue(1, "center", {1, 2, 3}));
    ASSERT_TRUE(window.session()->setValue(1, "radius", 7));
    const std::size_t steps = window.session()->history().doneCount();
    window.inspector().resetAll();
    EXPECT_EQ(radiusOf(window), 1.0);
    EXPECT_EQ(window.session()->history().doneCount(), steps + 1) << "one step for all values";
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(radiusOf(window), 7.0);
}

TEST_F(WindowTest, LibraryFiltersAndAdds)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    Library& library = window.library();
    library.focusFilter();
    QTest::keyClicks(library.filter(), "torus dist");
    const auto* model = library.tree()->model();
    ASSERT_EQ(model->rowCount(), 1) << "families without a match are hidden";
    ASSERT_EQ(model->rowCount(model->index(0, 0)), 1);
    EXPECT_EQ(model->index(0, 0, model->index(0, 0)).data().toString(), "Torus");
    const std::unique_ptr<QMimeData> dragged(model->mimeData({model->index(0, 0, model->index(0, 0))}));
    EXPECT_EQ(dragged->data(kTypeMime), QByteArray("ZRKTorusSDF"));
    QTest::keyClick(library.filter(), Qt::Key_Return);
    const auto& nodes = window.document()->graph()->nodes();
    ASSERT_EQ(nodes.size(), 4u);
    EXPECT_EQ(nodes.back()->object->typeInfo().name, "TorusSDF");
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(nodes.size(), 3u) << "one step";
}

TEST_F(WindowTest, SearchBoxFindsNodesTypesCommandsAndPages)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(7));
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QuickSearch& search = *window.topBar().search();
    const auto kinds = [&](const char* text) {
        search.setFocus(Qt::ShortcutFocusReason);
        search.clear();
        QTest::keyClicks(&search, text);
        QStringList found;
        for (int i = 0; i < search.list()->model()->rowCount(); ++i) {
            found << search.list()->model()->index(i, 0).data(Qt::AccessibleTextRole).toString();
        }
        return found;
    };
    const QStringList spheres = kinds("sphere");
    EXPECT_EQ(spheres.value(0), "node: Sphere");
    EXPECT_TRUE(spheres.contains("add: Sphere"));
    EXPECT_TRUE(spheres.contains("page: Manual: Sphere"));
    QTest::keyClick(&search, Qt::Key_Return);
    EXPECT_EQ(window.session()->selection(), std::vector<std::uint16_t>{1});
    EXPECT_FALSE(search.hasFocus());
    EXPECT_TRUE(kinds("save as").contains("command: Save as"));
    EXPECT_EQ(kinds("qqq"), QStringList("Nothing is called that"));
    QTest::keyClick(&search, Qt::Key_Escape);
    EXPECT_FALSE(search.list()->isVisible());
}

// An import tells of no change; the slice is drawn anew all the same.
TEST_F(WindowTest, FollowsAnImport)
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
    EXPECT_EQ(window.session()->history().doneCount(), 1u);
    zrkui::ZRKApp::ui().setFileDialog(nullptr);
}

TEST_F(WindowTest, APasteThatIsNoFragmentSaysSo)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    for (const char* text :
         {"milk, bread", "{\"nodes\": 3}", R"({"zrkGraph": 9, "nodes": [{"id": 1, "type": "SphereSDF"}]})"}) {
        SCOPED_TRACE(text);
        QGuiApplication::clipboard()->setText(text);
        window.canvas().action("paste")->trigger();
        EXPECT_EQ(window.document()->graph()->nodes().size(), 3u);
        EXPECT_EQ(window.problems().of(ProblemList::Source::Edit).size(), 1u);
        EXPECT_FALSE(window.session()->canUndo());
    }
    const std::string newer = window.problems().of(ProblemList::Source::Edit).front().finding.toStdString();
    EXPECT_THAT(newer, ::testing::AllOf(::testing::HasSubstr("version 9"), ::testing::HasSubstr("at most 1")))
        << "both versions";
    ASSERT_TRUE(window.session()->setLabel(1, "Ball"));
    EXPECT_TRUE(window.problems().of(ProblemList::Source::Edit).empty()) << "the next edit makes it stale";
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

TEST_F(WindowTest, AsksAboutUnsavedChanges)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    EXPECT_EQ(answering(QMessageBox::Cancel, [&] { EXPECT_TRUE(window.close()); }), 0)
        << "nothing is changed";
    window.show();
    const auto node = window.document()->graph()->getNodePtr(1);
    std::dynamic_pointer_cast<ZRKSphereSDF>(node->object)->radius.set(0.75);
    EXPECT_TRUE(window.isWindowModified()) << "an edit past the window counts too";
    EXPECT_EQ(answering(QMessageBox::Cancel, [&] { EXPECT_FALSE(window.close()); }), 1);
    EXPECT_EQ(answering(QMessageBox::Save, [&] { EXPECT_TRUE(window.close()); }), 1);
    EXPECT_EQ(ZRKJson::parse(content("a.zrk.json"))["nodes"][0]["values"]["radius"], 0.75);
}

TEST_F(WindowTest, ClosesDuringALongEvaluation)
{
    put("slow.zrk.json", slowText());
    auto window = std::make_unique<Window>();
    window->show();
    ASSERT_TRUE(window->open(path("slow.zrk.json"))) << window->message();
    QTest::qWait(100);
    EXPECT_FALSE(window->isSettled());
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(window->close());
    window.reset();
    EXPECT_LT(clock.elapsed(), 500); // 200 ms where nothing else runs
}

TEST_F(WindowTest, IsntHeldByALongEvaluation)
{
    put("slow.zrk.json", slowText());
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("slow.zrk.json"))) << window.message();
    QTest::qWait(100);
    Watchdog watchdog(100);
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(window.session()->setLabel(1, "step " + std::to_string(i)));
        ASSERT_TRUE(window.session()->setValue(2, "resolution", 90 + i));
        QTest::qWait(50);
    }
    for (const Watchdog::Hold& hold : watchdog.holds()) {
        ADD_FAILURE() << hold.milliseconds << " ms held: " << hold.what;
    }
}

TEST_F(WindowTest, ExportsTheStateThatItWasAskedFor)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    VolumeExport volume;
    volume.resolution = 97;
    auto task = exportTask(path("ball.npy"), *window.document(), {1, 0}, volume);
    ASSERT_TRUE(task) << zrk::messageOf(task.error());
    ASSERT_TRUE(window.exports().start(std::move(*task)));
    int edits = 0;
    while (window.exports().isRunning() || edits < 3) { // the window works on meanwhile
        ASSERT_TRUE(window.session()->setValue(1, "radius", 0.6 + 0.01 * edits));
        QTest::qWait(5);
        ASSERT_LT(++edits, 4000);
    }
    const std::string saved = content("ball.npy");
    const std::size_t header =
        10 + static_cast<unsigned char>(saved[8]) + 256 * static_cast<unsigned char>(saved[9]);
    ASSERT_EQ(saved.size(), header + 8 * 97 * 97 * 97);
    double least = 0;
    for (std::size_t at = header; at < saved.size(); at += 8) {
        double value = 0;
        std::memcpy(&value, saved.data() + at, 8);
        least = std::min(least, value);
    }
    EXPECT_EQ(least, -0.5) << "the radius when it was asked for";
}

/// All that a user does at random; what it is must not matter. As many events as ZRK_SESSION_EVENTS says,
/// from the seed in ZRK_SESSION_SEED.
TEST_F(WindowTest, SurvivesARandomSession)
{
    const unsigned seed = zrktest::fromEnvironment("ZRK_SESSION_SEED", 20240917);
    const unsigned events = zrktest::fromEnvironment("ZRK_SESSION_EVENTS", 300);
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto upTo = [&](int end) { return static_cast<int>(random() % static_cast<unsigned>(end)); };
    Window window;
    window.show();
    const std::string document = path("session.zrk.json"); // a copy, as what is recovered is kept beside it
    std::filesystem::copy_file(zrktest::sourceFolder() / "examples/sphere_and_twisted_gyroid.zrk.json",
                               document);
    ASSERT_TRUE(window.open(document));
    const auto& types = ZRKGraphObject::registry().entries();
    constexpr double kMostWork = isSanitized() ? 2000 : 100;
    Watchdog watchdog(kMostWork);
    for (unsigned i = 0; i < events; ++i) {
        const auto& nodes = window.document()->graph()->nodes();
        const auto any = [&] {
            return nodes[static_cast<std::size_t>(upTo(static_cast<int>(nodes.size())))]->id;
        };
        static const char* const kinds[] = {"add",  "select", "link",   "delete", "undo",
                                            "undo", "redo",   "bypass", "type"};
        const int kind = upTo(nodes.size() > 1 ? 9 : 1);
        const Doing doing(kinds[kind]);
        switch (kind) {
        case 0: {
            const auto& type = types[static_cast<std::size_t>(upTo(static_cast<int>(types.size())))];
            const Doing adding(type.className.c_str());
            window.canvas().addNodeAtCentre(type.className);
            break;
        }
        case 1:
            EXPECT_TRUE(window.select(any()));
            break;
        case 2:
            (void)window.session()->link(Pin_handle::output(any(), 0), Pin_handle::input(any(), 0),
                                         upTo(2) == 0);
            break;
        case 3:
            window.command("Delete")->trigger();
            break;
        case 4:
        case 5:
            if (window.session()->canUndo()) {
                (void)window.session()->undo();
            }
            break;
        case 6:
            if (window.session()->canRedo()) {
                (void)window.session()->redo();
            }
            break;
        case 7:
            window.canvas().action("bypass")->trigger();
            break;
        case 8:
            if (window.panel()) {
                const auto fields = window.panel()->findChildren<zrkui::NumberField*>();
                if (!fields.isEmpty()) {
                    auto* line = fields[upTo(fields.size())]->findChild<QLineEdit*>();
                    line->setFocus();
                    line->selectAll();
                    QTest::keyClicks(line, upTo(4) == 0 ? "1/0" : QString::number(upTo(30) / 10.0));
                    QTest::keyClick(line, Qt::Key_Return);
                }
            }
            break;
        }
        QCoreApplication::processEvents();
    }
    for (const Watchdog::Hold& hold : watchdog.holds()) {
        EXPECT_LT(hold.processor, kMostWork) << hold.what;
    }
    while (window.session()->canUndo()) {
        ASSERT_TRUE(window.session()->undo());
    }
    EXPECT_EQ(window.document()->graph()->nodes().size(), 4u);
    settle(window);
}

TEST_F(WindowTest, TheWatchdogTellsWhoHeldTheWindow)
{
    Watchdog watchdog(100);
    QTest::qWait(50);
    EXPECT_TRUE(watchdog.holds().empty());
    {
        const Doing outer("reading");
        const Doing doing("sleeping");
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    QTest::qWait(50);
    ASSERT_EQ(watchdog.holds().size(), 1u);
    EXPECT_EQ(watchdog.holds()[0].what, "reading: sleeping");
    EXPECT_NEAR(watchdog.holds()[0].milliseconds, 250, 60);
}

} // namespace
} // namespace zrkworkbench

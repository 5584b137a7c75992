// Draws the window in the states that come with its use, for the documentation:
//     window_pictures FOLDER [dark] [all]
// "all" draws further states, to look at: menus, tips, dialogs, a narrow window, many nodes, long names.
// QT_SCALE_FACTOR gives the pixel ratio.

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/notice_bar.h"
#include "apps/workbench/window/quick_search.h"
#include "apps/workbench/window/top_bar.h"
#include "apps/workbench/window/window.h"
#include "components/registration.h"
#include "inspectors/css_style.h"
#include "inspectors/number_field.h"
#include "inspectors/panels.h"
#include "inspectors/property_view.h"
#include "testing/source_folder.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QDockWidget>
#include <QHelpEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPainter>
#include <QTemporaryDir>
#include <QtTest/QtTest>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <tuple>
#include <utility>

using namespace zrkworkbench;
using zrkmodel::Pin_handle;

namespace {

// A sphere in twisted space is no distance any more.
const char* const kTwisted =
    R"({"zrkGraph": 1, "context": {"modelBounds": [[-1.5, -1.5, -1.5], [1.5, 1.5, 1.5]]},
    "nodes": [
        {"id": 1, "type": "TwistTransform", "values": {"angle": 120}, "position": [0, 0]},
        {"id": 2, "type": "BoxSDF", "position": [208, 0]},
        {"id": 3, "type": "SphereSDF", "values": {"radius": 0.9}, "position": [208, 208]},
        {"id": 4, "type": "BinaryOperator", "values": {"op_name": "maximum"}, "position": [416, 96]}],
    "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [4, 0]}, {"from": [3, 0], "to": [4, 1]}],
    "output": [4, 0]})";

class Pictures {
public:
    Pictures(QString folder, const QString& palette) : _folder(std::move(folder)), _palette(palette) {}

    /// Opens a document, brings the window into a state, and draws it.
    template <class Step>
    void draw(const char* name, const std::string& document, Step&& step)
    {
        Window window({.palette = _palette, .edit = {}});
        window.resize(1440, 900);
        window.show();
        window.activateWindow();
        if (!window.open(document)) {
            std::fprintf(stderr, "%s: %s\n", name, window.message().c_str());
            _isWell = false;
            return;
        }
        settle(window);
        step(window);
        settle(window);
        save(name, window);
    }
    /// The same with a window that the step itself fills.
    template <class Step>
    void drawNew(const char* name, QSize size, Step&& step)
    {
        Window window({.palette = _palette, .edit = {}});
        window.resize(size);
        window.show();
        window.activateWindow();
        step(window);
        settle(window);
        save(name, window);
    }
    bool isWell() const { return _isWell; }

    static void settle(const Window& window)
    {
        if (QTest::qWaitFor([&] { return window.isSettled(); }, 60000)) {
            QTest::qWait(30);
        }
    }

private:
    /// The window with the menus, tips and dialogs that stand over it.
    void save(const char* name, Window& window)
    {
        QPixmap picture = window.grab();
        QPainter painter(&picture);
        for (QWidget* over : QApplication::topLevelWidgets()) {
            if (over == &window || !over->isVisible()) {
                continue;
            }
            const bool isDialog = over->windowType() == Qt::Dialog || over->windowType() == Qt::Window;
            const QPoint place = isDialog ? QPoint(300, 200) : over->pos() - window.pos();
            if (isDialog) { // a frame, which the window system draws else
                painter.fillRect(QRect(place, over->size()).adjusted(-1, -1, 1, 1), Qt::darkGray);
            }
            painter.drawPixmap(place, over->grab());
        }
        painter.end();
        _isWell = picture.save(QString("%1/%2_%3.png").arg(_folder, name, _palette)) && _isWell;
        for (QWidget* over : QApplication::topLevelWidgets()) {
            if (over != &window && over->isVisible()) {
                over->close();
            }
        }
    }

    QString _folder;
    QString _palette;
    bool _isWell = true;
};

/// Drags from a pin without letting go.
void dragWire(Canvas& canvas, const QPoint& from, const QPoint& to)
{
    QTest::mousePress(canvas.viewport(), Qt::LeftButton, {}, from);
    for (int i = 1; i <= 4; ++i) {
        const QPoint at = from + (to - from) * i / 4;
        QMouseEvent move(QEvent::MouseMove, at, canvas.viewport()->mapToGlobal(at), Qt::NoButton,
                         Qt::LeftButton, {});
        QApplication::sendEvent(canvas.viewport(), &move);
    }
}

void drawAll(Pictures& pictures, const std::string& folder)
{
    const std::string gyroid =
        (zrktest::sourceFolder() / "examples/sphere_and_twisted_gyroid.zrk.json").string();
    const std::string twisted = folder + "/twisted_box.zrk.json";
    std::ofstream(twisted) << kTwisted;

    pictures.draw("search", gyroid, [](Window& window) {
        Canvas& canvas = window.canvas();
        const QPoint from = canvas.pinPoint(Pin_handle::output(2, 0));
        dragWire(canvas, from, from + QPoint(40, -140));
        QTest::mouseRelease(canvas.viewport(), Qt::LeftButton, {}, from + QPoint(40, -140));
        QTest::keyClicks(QApplication::focusWidget(), "sh");
    });
    pictures.draw("refused_wire", gyroid, [](Window& window) {
        Canvas& canvas = window.canvas();
        const QPoint to = canvas.pinPoint(Pin_handle::input(2, 0));
        dragWire(canvas, canvas.pinPoint(Pin_handle::output(3, 0)), to);
        QTest::mouseRelease(canvas.viewport(), Qt::LeftButton, {}, to);
        QTest::qWait(300); // the wire has sprung back
    });
    pictures.draw("problems", twisted, [](Window& window) {
        window.select(2);
        window.canvas().action("view")->trigger();
        Pictures::settle(window);
        window.select(3);
        for (auto* field : window.panel()->findChildren<zrkui::NumberField*>()) {
            if (zrkui::shownProperty(*field) == "radius") {
                auto* line = field->findChild<QLineEdit*>();
                line->setFocus();
                line->selectAll();
                QTest::keyClicks(line, "0.9*");
                QTest::keyClick(line, Qt::Key_Return);
            }
        }
        window.findChild<QDockWidget*>("Problems")->show();
    });

    zrkmodel::DocumentWarnings warnings;
    std::string recovered;
    if (auto session = zrkmodel::EditSession::open(twisted, warnings, {.recoverySeconds = 0})) {
        (void)(*session)->setValue(1, "angle", 60);
        (void)(*session)->tick();
        std::ifstream file((*session)->recoveryPath(), std::ios::binary);
        recovered.assign(std::istreambuf_iterator<char>(file), {});
        const std::filesystem::path path = (*session)->recoveryPath();
        session->reset();
        std::ofstream(path, std::ios::binary) << recovered; // as a crash leaves it
    }
    pictures.draw("recovery", twisted, [](Window&) {});
}

std::string manyNodes(int rows)
{
    using zrkmodel::ZRKJson;
    ZRKJson document{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}, {"links", ZRKJson::array()}};
    document["context"]["modelBounds"] = {{-1, -1, -1}, {1, 1, 1}};
    const char* const types[] = {"SphereSDF", "BoxSDF", "TorusSDF"};
    for (int i = 0; i < rows; ++i) {
        const double x = 520.0 * (i % 20), y = 200.0 * (i / 20);
        document["nodes"].push_back({{"id", 2 * i}, {"type", types[i % 3]}, {"position", {x, y}}});
        document["nodes"].push_back({{"id", 2 * i + 1}, {"type", "Shell"}, {"position", {x + 240, y}}});
        document["links"].push_back({{"from", {2 * i, 0}}, {"to", {2 * i + 1, 0}}});
    }
    document["output"] = {1, 0};
    return document.dump();
}

/// States that the documentation doesn't show and that are looked at all the same.
void drawMore(Pictures& pictures, const std::string& folder)
{
    const std::string gyroid =
        (zrktest::sourceFolder() / "examples/sphere_and_twisted_gyroid.zrk.json").string();
    const auto menuOf = [](Window& window, const QString& title) -> QMenu* {
        for (QAction* action : window.topBar().menus()->actions()) {
            if (action->text() == title) {
                return action->menu();
            }
        }
        return nullptr;
    };
    for (const auto& [name, title] : {std::pair{"menu_file", "&File"}, std::pair{"menu_edit", "&Edit"},
                                      std::pair{"menu_view", "&View"}}) {
        pictures.draw(name, gyroid, [&, title = title](Window& window) {
            menuOf(window, title)->popup(window.mapToGlobal(QPoint(40, 40)));
            QTest::qWait(20);
        });
    }
    pictures.draw("menu_node", gyroid, [](Window& window) {
        const QPoint at = window.canvas().nodeRect(3).topLeft() + QPoint(60, 12);
        QContextMenuEvent event(QContextMenuEvent::Mouse, at, window.canvas().viewport()->mapToGlobal(at));
        QApplication::sendEvent(window.canvas().viewport(), &event);
        QTest::qWait(20);
    });
    pictures.draw("tip", gyroid, [](Window& window) {
        const QPoint at = window.canvas().nodeRect(2).topLeft() + QPoint(60, 12);
        QHelpEvent event(QEvent::ToolTip, at, window.canvas().viewport()->mapToGlobal(at));
        QApplication::sendEvent(window.canvas().viewport(), &event);
    });
    pictures.draw("quick_search", gyroid, [](Window& window) {
        window.topBar().search()->setFocus();
        QTest::keyClicks(window.topBar().search(), "sp");
        QTest::qWait(50);
    });
    pictures.draw("search_all", gyroid, [](Window& window) {
        window.canvas().openSearch();
        QTest::keyClicks(QApplication::focusWidget(), "in");
        QTest::qWait(20);
    });
    for (const char* command : {"Surface", "Picture of the slice", "Picture of the solid", "Volume"}) {
        const std::string name = "export_" + QString(command).section(' ', -1).toLower().toStdString();
        pictures.draw(name.c_str(), gyroid, [&](Window& window) {
            window.command(command)->trigger();
            QTest::qWait(20);
        });
    }
    pictures.draw("wire", gyroid, [](Window& window) {
        const QPoint at = *window.canvas().wirePoint(Pin_handle::input(4, 1));
        QMouseEvent move(QEvent::MouseMove, at, window.canvas().viewport()->mapToGlobal(at), Qt::NoButton,
                         Qt::NoButton, {});
        QApplication::sendEvent(window.canvas().viewport(), &move);
        QTest::qWait(800);
    });
    const auto showNotice = [](Window& window) {
        window.notices().show(
            "changed", "bracket.zrk.json was changed by another program, and here too.",
            {{"Read it, drop my changes"}, {"Keep mine, write over it"}, {"Save mine as..."}});
    };
    pictures.draw("notices", gyroid, [&](Window& window) {
        showNotice(window);
        window.notices().showProgress("reading", "Reading bracket.obj; you can go on meanwhile.", 0.4, [] {});
    });
    pictures.drawNew("first_start", {1440, 900}, [](Window& window) {
        window.showFirstStart();
        QTest::qWait(1500);
    });
    pictures.drawNew("empty", {1440, 900}, [](Window& window) { window.newDocument(); });
    pictures.drawNew("narrow", {900, 600}, [&](Window& window) {
        window.open(gyroid);
        showNotice(window);
    });
    const std::string many = folder + "/many.zrk.json";
    std::ofstream(many) << manyNodes(1000);
    pictures.draw("many", many, [](Window&) {});
    const std::string names =
        folder + "/a_document_with_a_name_that_is_longer_than_anyone_would_like_it_to_be.zrk.json";
    std::ofstream(names) << R"({"zrkGraph": 1, "nodes": [
        {"id": 1, "type": "SphereSDF", "label": "The outer wall of the pressure vessel, second revision",
         "position": [0, 0]},
        {"id": 2, "type": "Shell", "label": "Wall", "position": [500, 0]},
        {"id": 3, "type": "Multiply", "label": "Ω with ünïcode 中文 and so on", "position": [800, 0]}],
        "links": [{"from": [1, 0], "to": [2, 0]}, {"from": [2, 0], "to": [3, 0]}], "output": [3, 0]})";
    pictures.draw("names", names, [](Window& window) { window.select(2); });
    for (const auto& [name, type, values] :
         {std::tuple{"list", "PatternDesigner", R"({"waves": [{"fx": 1}, {"fy": 2, "fx": 0}]})"},
          std::tuple{"poles", "Multipole UVW", R"({"poles": [{"point": [0, 0, 0]}, {"is_ref": true}]})"},
          std::tuple{"raster", "RasterFX", "{}"}, std::tuple{"sweep", "ZRKImageSweep", "{}"}}) {
        const std::string file = folder + "/" + name + ".zrk.json";
        std::ofstream(file) << R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": ")" << type
                            << R"(", "values": )" << values << R"(}], "output": [1, 0]})";
        pictures.draw(name, file, [](Window&) {});
    }
    pictures.draw("document", gyroid, [](Window& window) { window.session()->select({}); });
    pictures.draw("manual", gyroid, [](Window& window) {
        window.select(2);
        window.command("Manual page")->trigger();
        QTest::qWait(100);
    });
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 2) {
        std::fputs("usage: window_pictures FOLDER [dark] [all]\n", stderr);
        return 2;
    }
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    zrkui::ZRKGraphInspectorsInit::initializeModule();
    QFont font = QApplication::font();
    font.setPixelSize(13);
    QApplication::setFont(font);
    const bool isDark = arguments.contains("dark");
    (isDark ? zrkui::ZRKCSSStyle::dark() : zrkui::ZRKCSSStyle::light()).apply(application);
    const QTemporaryDir folder;
    Pictures pictures(arguments[1], isDark ? "dark" : "light");
    drawAll(pictures, folder.path().toStdString());
    if (arguments.contains("all")) {
        drawMore(pictures, folder.path().toStdString());
    }
    return pictures.isWell() ? 0 : 1;
}

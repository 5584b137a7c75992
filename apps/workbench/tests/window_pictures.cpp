// Draws the window in the states that come with its use, for the documentation:
//     window_pictures FOLDER [dark]
// QT_SCALE_FACTOR gives the pixel ratio.

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/window.h"
#include "components/registration.h"
#include "inspectors/css_style.h"
#include "inspectors/number_field.h"
#include "inspectors/panels.h"
#include "inspectors/property_view.h"
#include "testing/source_folder.h"

#include <QApplication>
#include <QDockWidget>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QtTest/QtTest>

#include <cstdio>
#include <filesystem>
#include <fstream>

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
        Window window;
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
        const QString path = QString("%1/%2_%3.png").arg(_folder, name, _palette);
        _isWell = window.grab().save(path) && _isWell;
    }
    bool isWell() const { return _isWell; }

    static void settle(const Window& window)
    {
        if (QTest::qWaitFor([&] { return window.isSettled(); }, 60000)) {
            QTest::qWait(30);
        }
    }

private:
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
        std::fputs("usage: window_pictures FOLDER [dark]\n", stderr);
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
    return pictures.isWell() ? 0 : 1;
}

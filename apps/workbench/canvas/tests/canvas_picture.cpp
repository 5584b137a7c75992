// Draws a document's canvas to a picture, for the eye:
//     canvas_picture DOCUMENT FILE [dark] [zoom=Z] [size=WxH] [do=STEP]...
// A step is "hover", "states", "search", "drag", "refuse" or "thumbnails"; QT_SCALE_FACTOR gives the pixel
// ratio.

#include "apps/workbench/canvas/canvas.h"
#include "components/registration.h"

#include <QApplication>
#include <QLineEdit>
#include <QtTest/QtTest>

#include <cmath>
#include <cstdio>

using namespace zrkworkbench;
using zrkmodel::Pin_handle;

namespace {

void press(Canvas& canvas, const QPoint& from, const QPoint& to, bool releases)
{
    QTest::mousePress(canvas.viewport(), Qt::LeftButton, {}, from);
    for (int i = 1; i <= 4; ++i) {
        const QPoint at = from + (to - from) * i / 4;
        QMouseEvent move(QEvent::MouseMove, at, canvas.viewport()->mapToGlobal(at), Qt::NoButton,
                         Qt::LeftButton, {});
        QApplication::sendEvent(canvas.viewport(), &move);
    }
    if (releases) {
        QTest::mouseRelease(canvas.viewport(), Qt::LeftButton, {}, to);
    }
}

void doStep(Canvas& canvas, zrkmodel::EditSession& session, const QString& step)
{
    const auto& nodes = session.document().graph()->nodes();
    const auto& last = *nodes.back();
    if (step == "states" && nodes.size() > 3) {
        using Kind = NodeBadge::Kind;
        canvas.setBadge(nodes[0]->id, {Kind::error, -1, "0.18* does not end", "0.18 stays"});
        canvas.setBadge(nodes[1]->id, {Kind::computing, 0.62});
        canvas.setBadge(nodes[2]->id, {Kind::warning, -1, "a level set", ""});
        canvas.setBadge(nodes[3]->id, {Kind::frozen, -1, "", ""});
        canvas.setViewed(zrkmodel::PinAddress{last.id, 0});
        session.select({last.id});
    } else if (step == "bypass") {
        session.select({nodes[1]->id});
        canvas.action("bypass")->trigger();
    } else if (step.startsWith("frame")) {
        std::vector<std::uint16_t> ids;
        for (const QString& id : step.mid(5).split('+')) {
            ids.push_back(static_cast<std::uint16_t>(id.toInt()));
        }
        session.select(ids);
        canvas.action("frame")->trigger();
        QTest::keyClicks(canvas.findChild<QLineEdit*>({}, Qt::FindDirectChildrenOnly), "Tools");
        QTest::keyClick(canvas.findChild<QLineEdit*>({}, Qt::FindDirectChildrenOnly), Qt::Key_Return);
    } else if (step == "layout") {
        session.select({});
        canvas.action("layout")->trigger();
    } else if (step == "hover") {
        for (const auto& node : nodes) {
            for (const auto& input : node->inputs) {
                if (!input.connections.empty()) {
                    QTest::mouseMove(canvas.viewport(), *canvas.wirePoint(input.handle));
                    QTest::qWait(300);
                    canvas.showWireInfo({{"value at the probe", "0.322"},
                                         {"weight", "1"},
                                         {"range in the slice", "0.000 … 1.000"}});
                }
            }
        }
    } else if (step == "search" || step == "drag") {
        const QPoint from = canvas.pinPoint(Pin_handle::output(nodes[nodes.size() / 2]->id, 0));
        press(canvas, from, from + QPoint(110, 60), step == "search");
        if (step == "search") {
            QTest::keyClicks(canvas.findChild<QLineEdit*>(), "in");
        }
    } else if (step == "refuse") {
        press(canvas, canvas.pinPoint(Pin_handle::output(last.id, 0)),
              canvas.pinPoint(Pin_handle::input(nodes[0]->id, 0)), true);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 3) {
        std::fputs("usage: canvas_picture DOCUMENT FILE [dark] [zoom=Z] [size=WxH] [do=STEP]...\n", stderr);
        return 2;
    }
    (arguments.contains("dark") ? zrkui::ZRKCSSStyle::dark() : zrkui::ZRKCSSStyle::light())
        .apply(application);
    zrkmodel::DocumentWarnings warnings;
    auto session = zrkmodel::EditSession::open(arguments[1].toStdString(), warnings);
    if (!session) {
        std::fputs(zrk::messageOf(session.error()).c_str(), stderr);
        return 1;
    }
    Canvas canvas;
    canvas.setThumbnailsShown(arguments.contains("do=thumbnails"));
    canvas.resize(784, 760);
    for (const QString& argument : arguments) {
        if (argument.startsWith("size=")) {
            const QStringList sides = argument.mid(5).split('x');
            canvas.resize(sides[0].toInt(), sides[1].toInt());
        }
    }
    canvas.onThumbnailsWanted([&](const std::vector<std::uint16_t>& nodes, QSize size) {
        for (const std::uint16_t id : nodes) {
            QImage image(size, QImage::Format_RGB32);
            for (int y = 0; y < size.height(); ++y) {
                for (int x = 0; x < size.width(); ++x) {
                    const double d =
                        std::hypot(x - size.width() / 2.0, y - size.height() / 2.0) / size.height();
                    const double t = 0.5 + 0.5 * std::sin(d * (8 + id * 3));
                    image.setPixelColor(x, y, QColor::fromRgbF(0.3 + 0.6 * t, 0.5 + 0.1 * t, 0.8 - 0.5 * t));
                }
            }
            canvas.setThumbnail(id, image);
        }
    });
    canvas.setSession(session->get());
    canvas.show();
    QTest::qWait(50);
    for (const QString& argument : arguments) {
        if (argument.startsWith("zoom=")) {
            canvas.setZoom(argument.mid(5).toDouble());
        }
    }
    for (const QString& argument : arguments) {
        if (argument.startsWith("do=")) {
            doStep(canvas, **session, argument.mid(3));
        }
    }
    QTest::qWait(400);
    return canvas.grab().save(arguments[2]) ? 0 : 1;
}

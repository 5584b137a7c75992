// Draws the view of a document's output to a picture: view_sheet DOCUMENT FILE [slice|solid] [light|dark]
// [WIDTHxHEIGHT] [NODE:OUT] [shade] [cut] [export]. The scale is QT_SCALE_FACTOR.

#include "apps/workbench/export/export_dialog.h"
#include "apps/workbench/views/slice_canvas.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/solid_view.h"
#include "apps/workbench/views/view_pane.h"
#include "components/registration.h"
#include "inspectors/css_style.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMouseEvent>

#include <cstdio>

namespace {

/// Lets events pass until the view stands.
void settle(const zrkworkbench::ViewPane& pane)
{
    QElapsedTimer clock;
    clock.start();
    do {
        QApplication::processEvents(QEventLoop::AllEvents, 10);
    } while ((!pane.isSettled() || clock.elapsed() < 100) && clock.elapsed() < 60000);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
    QApplication app(argc, argv);
    QApplication::setStyle("fusion");
    QFont font = QApplication::font();
    font.setPixelSize(13);
    QApplication::setFont(font);
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 3) {
        std::fputs(
            "view_sheet DOCUMENT FILE [slice|solid] [light|dark] [WIDTHxHEIGHT] [NODE:OUT] [shade] [cut]\n",
            stderr);
        return 2;
    }
    QSize size(416, 448);
    std::optional<zrkmodel::PinAddress> pin;
    for (const QString& argument : arguments.mid(3)) {
        unsigned a = 0, b = 0;
        if (std::sscanf(argument.toLatin1().constData(), "%ux%u", &a, &b) == 2) {
            size = QSize(static_cast<int>(a), static_cast<int>(b));
        } else if (std::sscanf(argument.toLatin1().constData(), "%u:%u", &a, &b) == 2) {
            pin = {static_cast<std::uint16_t>(a), static_cast<std::uint8_t>(b)};
        }
    }
    const bool isDark = arguments.contains("dark");
    (isDark ? zrkui::ZRKCSSStyle::dark() : zrkui::ZRKCSSStyle::light()).apply(app);
    zrkmodel::DocumentWarnings warnings;
    const auto document =
        zrk::valueOrThrow(zrkmodel::GraphDocument::load(arguments[1].toStdString(), warnings));
    const auto address = pin.value_or(document.output().value_or(zrkmodel::PinAddress{}));
    const auto source = zrk::valueOrThrow(
        zrkworkbench::viewSourceOf(document, address, QString("Binary operator %1 a<>b").arg(QChar(0xB7))));
    if (arguments.contains("export")) {
        zrkworkbench::ExportDialog dialog(
            zrkworkbench::ExportKind::Surface, {"/home/ada", "bracket"},
            [&](const std::string& file, const zrkworkbench::ExportOptions& options) {
                return zrkworkbench::exportTask(file, document, address, options);
            });
        dialog.show();
        dialog.findChild<QLineEdit*>()->setText("/home/ada/bracket.gif");
        dialog.accept();
        QApplication::processEvents();
        return dialog.grab().save(arguments[2]) ? 0 : 1;
    }
    zrkworkbench::ViewPane pane;
    pane.setAttribute(Qt::WA_DontShowOnScreen);
    pane.resize(size);
    pane.onTimed([](const zrkworkbench::ViewTiming& t) {
        std::printf("%d x %d of %d x %d: first %.1f ms, this %.1f ms, %.1f ns/sample, %zu workers\n",
                    t.pixels.width(), t.pixels.height(), t.wanted.width(), t.wanted.height(),
                    t.firstMilliseconds, t.milliseconds, t.nanosecondsPerSample, t.workers);
    });
    pane.onFieldNote([](const zrkworkbench::FieldNote& note) {
        std::printf("%s (%.2f %%)\n", note.text().toUtf8().constData(), 100 * note.slopes.share);
    });
    if (arguments.contains("solid")) {
        pane.setTab(zrkworkbench::ViewPane::Tab::Solid);
        pane.solid().setCut(arguments.contains("cut"));
    }
    pane.QWidget::show();
    pane.show(source);
    settle(pane);
    if (arguments.contains("shade")) {
        for (auto* button : pane.findChildren<QAbstractButton*>()) {
            if (button->accessibleName().endsWith(", shade")) {
                button->click();
            }
        }
        settle(pane);
    }
    auto& canvas = pane.slice().canvas();
    const QPointF at(canvas.width() * 0.55, canvas.height() * 0.4);
    QMouseEvent move(QEvent::MouseMove, at, canvas.mapToGlobal(at.toPoint()), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&canvas, &move);
    settle(pane);
    return pane.grab().save(arguments[2]) ? 0 : 1;
}

// Measures how fast the views answer: view_clock DOCUMENT NODE KEY VALUE VALUE. Between the two values the
// node is edited again and again. Prints medians in milliseconds, from the edit to the picture in the
// window's thread.

#include "apps/workbench/views/slice_canvas.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/view_pane.h"
#include "components/registration.h"
#include "inspectors/css_style.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMouseEvent>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace {

using namespace zrkworkbench;

double medianOf(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void turnUntil(const std::function<bool()>& isDone)
{
    QElapsedTimer clock;
    clock.start();
    while (!isDone() && clock.elapsed() < 30000) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 1);
    }
}

double passed(const QElapsedTimer& clock) { return static_cast<double>(clock.nsecsElapsed()) * 1e-6; }

/// The pane with a slice of 512 x 512.
void sizeTo(ViewPane& pane, int side)
{
    pane.resize(side + 120, side + 120);
    QCoreApplication::processEvents();
    const QSize now = pane.slice().canvas().devicePixels();
    pane.resize(pane.width() + side - now.width(), pane.height() + side - now.height());
    QCoreApplication::processEvents();
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    zrkmodel::ZRKGraphComponentsInit::initializeModule();
    zrkui::ZRKCSSStyle::light().apply(app);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 6) {
        std::fputs("view_clock DOCUMENT NODE KEY VALUE VALUE [solid] [close]\n", stderr);
        return 2;
    }
    zrkmodel::DocumentWarnings warnings;
    auto document = zrk::valueOrThrow(zrkmodel::GraphDocument::load(arguments[1].toStdString(), warnings));
    const auto node = static_cast<std::uint16_t>(arguments[2].toUInt());
    int edits = 0;
    auto owned = std::make_unique<ViewPane>();
    ViewPane& pane = *owned;
    if (arguments.contains("solid")) {
        pane.setTab(ViewPane::Tab::Solid);
    }
    pane.QWidget::show();
    sizeTo(pane, 512);
    QElapsedTimer clock;
    std::vector<double> firsts, wholes, builds, paints;
    bool isFirst = false, isWhole = false;
    QSize size;
    pane.onTimed([&](const ViewTiming& timing) {
        if (!isFirst) {
            firsts.push_back(passed(clock));
            isFirst = true;
        }
        if (timing.isDone) {
            wholes.push_back(passed(clock));
            isWhole = true;
            size = timing.pixels;
        }
    });
    const auto edit = [&] {
        isFirst = isWhole = false;
        const auto value = zrkmodel::ZRKJson::parse(arguments[4 + edits++ % 2].toStdString());
        zrk::valueOrThrow(document.setValue(node, arguments[3].toStdString(), value));
        clock.start();
        pane.show(zrk::valueOrThrow(viewSourceOf(document, *document.output(), "output")));
        builds.push_back(passed(clock));
    };
    const auto closeDuringWork = [&] {
        edit();
        QElapsedTimer pause;
        pause.start();
        turnUntil([&] { return pause.elapsed() >= 50; });
        const bool isBusy = !pane.isSettled();
        clock.start();
        owned.reset();
        std::printf("closed in %.1f%s\n", passed(clock), isBusy ? ", at work" : "");
        return 0;
    };
    if (arguments.contains("close")) {
        return closeDuringWork();
    }
    for (int i = 0; i < 41; ++i) {
        edit();
        turnUntil([&] { return isWhole && pane.isSettled(); });
        if (i == 0) {
            std::printf("first of all: coarse %.1f, whole %.1f\n", firsts.back(), wholes.back());
            firsts.clear();
            wholes.clear();
        }
        QElapsedTimer painting;
        painting.start();
        pane.grab();
        paints.push_back(passed(painting));
    }
    std::printf("%d x %d after an edit: coarse %.1f, whole %.1f (build %.2f, paint %.2f)\n", size.width(),
                size.height(), medianOf(firsts), medianOf(wholes), medianOf(builds), medianOf(paints));

    // Edits every 8 ms, as a slider sends them.
    firsts.clear();
    wholes.clear();
    QElapsedTimer slide;
    slide.start();
    const int before = edits;
    int pictures = 0;
    pane.onTimed([&](const ViewTiming&) { ++pictures; });
    while (slide.elapsed() < 2000) {
        edit();
        QElapsedTimer pause;
        pause.start();
        turnUntil([&] { return pause.elapsed() >= 8; });
    }
    clock.start();
    turnUntil([&] { return pane.isSettled(); });
    std::printf("%d edits in 2 s: %d pictures, the last one %.1f after the last edit\n", edits - before,
                pictures, passed(clock));

    std::vector<double> readouts;
    bool isRead = false;
    pane.onReadout([&](const Readout&) { isRead = true; });
    for (int i = 0; i < 51 && !arguments.contains("solid"); ++i) {
        isRead = false;
        clock.start();
        QMouseEvent move(QEvent::MouseMove, QPointF(100 + i, 200), QPointF(100 + i, 200), Qt::NoButton,
                         Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&pane.slice().canvas(), &move);
        turnUntil([&] { return isRead; });
        readouts.push_back(passed(clock));
    }
    std::printf("readout under the pointer %.2f\n", medianOf(readouts));
    return 0;
}

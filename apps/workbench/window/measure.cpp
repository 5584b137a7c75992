#include "apps/workbench/window/measure.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/data_folder.h"
#include "apps/workbench/window/watchdog.h"
#include "apps/workbench/window/window.h"
#include "inspectors/number_field.h"
#include "inspectors/property_view.h"
#include "model/graph_object.h"
#include "model/property.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMouseEvent>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <thread>
#include <vector>

namespace zrkworkbench {

using zrkmodel::ZRKJson;

namespace {

constexpr double kPatience = 60000;
constexpr double kHoldLimit = 16;

/// Lets the window work until something holds; returns the milliseconds that it took.
double waitFor(const std::function<bool()>& holds)
{
    QElapsedTimer clock;
    clock.start();
    while (!holds() && static_cast<double>(clock.elapsed()) < kPatience) {
        QApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 1);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return 1e-6 * static_cast<double>(clock.nsecsElapsed());
}

double medianOf(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

/// 49 spheres that are joined by twos into one solid, and a shell around it.
std::string fiftyNodes()
{
    ZRKJson document{{"zrkGraph", 1},
                     {"context", {{"modelBounds", {{-4, -4, -4}, {4, 4, 4}}}}},
                     {"nodes", ZRKJson::array()},
                     {"links", ZRKJson::array()}};
    for (int i = 0; i < 25; ++i) {
        document["nodes"].push_back({{"id", i},
                                     {"type", "SphereSDF"},
                                     {"values", {{"center", {i % 5 - 2, i / 5 - 2, 0}}, {"radius", 0.4}}},
                                     {"position", {0, 100 * i}}});
    }
    int last = 0;
    for (int i = 1; i < 25; ++i) {
        const int id = 24 + i;
        document["nodes"].push_back({{"id", id},
                                     {"type", "BinaryOperator"},
                                     {"values", {{"op_name", "min"}}},
                                     {"position", {220 * i, 100 * i}}});
        document["links"].push_back({{"from", {last, 0}}, {"to", {id, 0}}});
        document["links"].push_back({{"from", {i, 0}}, {"to", {id, 1}}});
        last = id;
    }
    document["nodes"].push_back({{"id", 49}, {"type", "Shell"}, {"position", {5600, 2400}}});
    document["links"].push_back({{"from", {last, 0}}, {"to", {49, 0}}});
    document["output"] = {49, 0};
    return document.dump();
}

/// A property of type double of the document, and its node.
struct Edited {
    std::uint16_t node;
    std::string key;
    double value;
};

std::optional<Edited> numberOf(const zrkmodel::EditSession& session)
{
    for (const auto& node : session.document().graph()->nodes()) {
        for (const zrkmodel::ZRKPropertyBase* property : node->object->properties()) {
            if (const auto* number = dynamic_cast<const zrkmodel::ZRKProperty<double>*>(property)) {
                return Edited{node->id, number->name(), number->value()};
            }
        }
    }
    return std::nullopt;
}

/// Edits one number again and again; each time the first picture and the whole one are awaited.
void measureEdits(Window& window, ZRKJson& out)
{
    const auto edited = numberOf(*window.session());
    if (!edited) {
        return;
    }
    std::vector<double> coarse;
    std::vector<double> whole;
    for (int i = 0; i < 15; ++i) {
        std::optional<double> first;
        QElapsedTimer clock;
        window.view().onTimed([&](const ViewTiming&) {
            if (!first) {
                first = 1e-6 * static_cast<double>(clock.nsecsElapsed());
            }
        });
        clock.start();
        if (!window.session()->setValue(edited->node, edited->key, edited->value + 0.001 * (i + 1))) {
            return;
        }
        QApplication::processEvents(); // the edit is gathered and asked for
        waitFor([&] { return window.view().isSettled(); });
        whole.push_back(1e-6 * static_cast<double>(clock.nsecsElapsed()));
        coarse.push_back(first.value_or(whole.back()));
        waitFor([&] { return window.isSettled(); });
    }
    out["edit to coarse slice"] = medianOf(coarse);
    out["edit to whole slice"] = medianOf(whole);
}

/// Drags the first slider or number of the panel for some seconds.
void measureDrag(Window& window, ZRKJson& out)
{
    const auto edited = numberOf(*window.session());
    if (!edited || !window.select(edited->node)) {
        return;
    }
    QApplication::processEvents();
    zrkui::NumberField* field = nullptr;
    for (auto* candidate : window.panel()->findChildren<zrkui::NumberField*>()) {
        if (!field && zrkui::shownProperty(*candidate).toStdString() == edited->key) {
            field = candidate;
        }
    }
    if (!field) {
        return;
    }
    auto* line = field->findChild<QLineEdit*>();
    const auto send = [&](QEvent::Type type, double x) {
        const QPointF place(x, line->height() / 2.0);
        const bool isRelease = type == QEvent::MouseButtonRelease;
        QMouseEvent event(type, place, line->mapToGlobal(place.toPoint()),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                          isRelease ? Qt::NoButton : Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(line, &event);
    };
    const std::size_t steps = window.session()->history().doneCount();
    int events = 0;
    int taken = 0;
    double value = field->exact();
    const auto listener = window.session()->addListener([&](const zrkmodel::EditEvent& event) {
        taken += event.kind == zrkmodel::EditEvent::Kind::ValueChanged ? 1 : 0;
    });
    window.activateWindow();
    window.setFocus();
    field->setFocus(Qt::MouseFocusReason);
    send(QEvent::MouseButtonPress, 4);
    QElapsedTimer clock;
    clock.start();
    double x = 4;
    while (clock.elapsed() < 10000) {
        x += 4;
        const double before = field->exact();
        send(QEvent::MouseMove, x);
        events += field->exact() != before ? 1 : 0;
        value = field->exact();
        waitFor([end = clock.elapsed() + 8, &clock] { return clock.elapsed() >= end; });
    }
    send(QEvent::MouseButtonRelease, x);
    waitFor([&] { return window.isSettled(); });
    auto disconnected = listener;
    disconnected.disconnect();
    const auto entry = window.session()->document().graph()->getNodePtr(edited->node);
    const auto* property = entry->object->findProperty(edited->key);
    out["drag for 10 s"] = {{"events", events},
                            {"events lost", events - taken},
                            {"ends on the last value", property->valueJson() == ZRKJson(value)},
                            {"steps of the history", window.session()->history().doneCount() - steps}};
}

std::size_t heapInUse() { return mallinfo2().uordblks; }

/// What ten thousand steps of the history take.
void measureHistory(Window& window, ZRKJson& out)
{
    const auto edited = numberOf(*window.session());
    if (!edited) {
        return;
    }
    zrkmodel::EditSettings settings;
    settings.mergeSeconds = 0;
    zrkmodel::DocumentWarnings warnings;
    auto copy =
        zrkmodel::GraphDocument::parse(window.document()->toText(), window.document()->name(), warnings);
    if (!copy) {
        return;
    }
    zrkmodel::EditSession session(std::move(*copy), settings);
    const std::size_t before = heapInUse();
    for (int i = 0; i < 10000; ++i) {
        // Not from the value that is there, which a drag may have left too large for a step to show.
        if (!session.setValue(edited->node, edited->key, 0.5 + 0.001 * (i + 1))) {
            return;
        }
    }
    out["10000 undo steps, MB"] = 1e-6 * static_cast<double>(heapInUse() - before);
    out["steps kept"] = session.history().doneCount();
}

/// A raster of a field of so many waves that it takes seconds to freeze.
std::string slowText()
{
    ZRKJson waves = ZRKJson::array();
    for (int i = 0; i < 4000; ++i) {
        waves.push_back({{"fx", 1}});
    }
    ZRKJson document{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}, {"links", ZRKJson::array()}};
    document["nodes"].push_back({{"id", 1}, {"type", "PatternDesigner"}, {"values", {{"waves", waves}}}});
    document["nodes"].push_back(
        {{"id", 2}, {"type", "RasterFX"}, {"values", {{"auto-update", true}, {"resolution", 96}}}});
    document["links"].push_back({{"from", {1, 0}}, {"to", {2, 0}}});
    document["output"] = {2, 0};
    return document.dump();
}

} // namespace

zrk::Result<ZRKJson> measureWindow(const std::string& path)
{
    ZRKJson out;
    QTemporaryDir folder;
    const auto put = [&](const char* name, const std::string& text) {
        const std::string file = folder.filePath(name).toStdString();
        std::ofstream(file, std::ios::binary) << text;
        return file;
    };
    const std::string fifty = put("fifty.zrk.json", fiftyNodes());
    const std::string slow = put("slow.zrk.json", slowText());
    QElapsedTimer clock;
    clock.start();
    auto window = std::make_unique<Window>();
    window->resize(1440, 900);
    window->show();
    window->grab();
    out["window up"] = 1e-6 * static_cast<double>(clock.nsecsElapsed());

    clock.restart();
    if (!window->open(fifty)) {
        return zrk::refused({fifty, window->message(), "a document of 50 nodes", "report this fault",
                             zrk::FaultKind::FailedWork});
    }
    window->canvas().sync();
    out["open a document of 50 nodes"] = 1e-6 * static_cast<double>(clock.nsecsElapsed());
    out["open a document of 50 nodes, until all pictures stand"] =
        out["open a document of 50 nodes"].get<double>() + waitFor([&] { return window->isSettled(); });

    const std::string document = path.empty() ? firstExample().toStdString() : path;
    if (!document.empty()) {
        if (!window->open(document)) {
            return zrk::refused(
                {document, window->message(), "a document that can be opened", "name another one"});
        }
        waitFor([&] { return window->isSettled(); });
        Watchdog watchdog(kHoldLimit);
        measureEdits(*window, out);
        measureDrag(*window, out);
        waitFor([&] { return window->isSettled(); });
        out["thread held, longest"] = watchdog.longest();
        ZRKJson holds = ZRKJson::array();
        for (const Watchdog::Hold& hold : watchdog.holds()) {
            holds.push_back({{"milliseconds", hold.milliseconds}, {"doing", hold.what}});
        }
        out["thread held for more than 16 ms"] = holds;
        measureHistory(*window, out);
    }
    window.reset();
    window = std::make_unique<Window>();
    window->show();
    window->open(slow);
    clock.restart();
    waitFor([&] { return clock.elapsed() > 300; });
    const bool isRunning = !window->isSettled();
    clock.restart();
    window->close();
    window.reset();
    const double closing = 1e-6 * static_cast<double>(clock.nsecsElapsed());
    out["closing during a long evaluation"] = isRunning ? ZRKJson(closing) : ZRKJson("nothing ran any more");
    return out;
}

} // namespace zrkworkbench

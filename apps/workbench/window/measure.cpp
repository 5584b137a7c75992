#include "apps/workbench/window/measure.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/canvas/graph_info.h"
#include "apps/workbench/views/slice_canvas.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/data_folder.h"
#include "apps/workbench/window/held_actions.h"
#include "apps/workbench/window/measured_documents.h"
#include "apps/workbench/window/window.h"
#include "inspectors/number_field.h"
#include "inspectors/property_view.h"
#include "model/graph_object.h"
#include "model/property.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTemporaryDir>

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <optional>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace zrkworkbench {

using zrkmodel::ZRKJson;

namespace {

constexpr int kSlice = 512;
constexpr int kEdits = 15;
constexpr int kDragMilliseconds = 10000;
constexpr double kHoldGoal = 16;

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// A property of type double of the document, and its node.
struct Edited {
    std::uint16_t node;
    std::string key;
    double value;
};

/// The first that the output depends on, so that its edits are seen.
std::optional<Edited> numberOf(const zrkmodel::EditSession& session)
{
    const auto& output = session.document().output();
    const auto upstream = output ? withUpstream(session, {output->node}) : std::vector<std::uint16_t>();
    for (const std::uint16_t id : upstream) {
        const auto node = session.document().graph()->getNodePtr(id);
        for (const zrkmodel::ZRKPropertyBase* property : node->object->properties()) {
            if (const auto* number = dynamic_cast<const zrkmodel::ZRKProperty<double>*>(property)) {
                return Edited{id, number->name(), number->value()};
            }
        }
    }
    return std::nullopt;
}

/// Milliseconds since the program was started; none where the system doesn't tell.
std::optional<double> sinceStart()
{
    std::ifstream file("/proc/self/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t afterName = text.rfind(')'); // the name may have spaces
    if (!file || afterName == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(text.substr(afterName + 1));
    std::string field;
    constexpr int kStartTime = 20; // counted from after the name
    for (int i = 0; i < kStartTime; ++i) {
        fields >> field;
    }
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const double start =
        1e3 * std::strtod(field.c_str(), nullptr) / static_cast<double>(sysconf(_SC_CLK_TCK));
    return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec) - start;
}

double workOfProcess() { return 1e3 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// The numbers, with the goals that they are held against.
class Measurement {
public:
    Measurement() : _out{{"measured", ZRKJson::array()}, {"not measured", ZRKJson::array()}} {}

    void put(const std::string& what, double value, const char* unit, std::optional<double> goal = {},
             const ZRKJson& detail = nullptr)
    {
        ZRKJson entry{{"what", what}, {"value", std::round(100 * value) / 100}, {"unit", unit}};
        if (goal) {
            entry["goal"] = *goal;
            entry["reached"] = value <= *goal;
        }
        if (!detail.is_null()) {
            entry["detail"] = detail;
        }
        _out["measured"].push_back(std::move(entry));
    }
    void leaveOut(const std::string& what, const std::string& why)
    {
        _out["not measured"].push_back({{"what", what}, {"why", why}});
    }
    std::string file(const char* name, const ZRKJson& document)
    {
        const std::string path = _folder.filePath(name).toStdString();
        std::ofstream(path, std::ios::binary) << document.dump();
        return path;
    }
    std::string folder() const { return _folder.path().toStdString(); }
    ZRKJson take() { return std::move(_out); }

private:
    QTemporaryDir _folder;
    ZRKJson _out;
};

void settle(const Window& window)
{
    waitFor([&] { return window.isSettled(); });
}

void measureOpening(Window& window, Measurement& out)
{
    const std::string fifty = out.file("fifty.zrk.json", chainOfNodes(50));
    QElapsedTimer clock;
    clock.start();
    if (!window.open(fifty)) {
        out.leaveOut("open a document of 50 nodes", window.message());
        return;
    }
    window.canvas().sync();
    const double shown = 1e-6 * static_cast<double>(clock.nsecsElapsed());
    out.put("open a document of 50 nodes", shown, "ms", 200);
    settle(window);
    out.put("open a document of 50 nodes, until all pictures stand",
            1e-6 * static_cast<double>(clock.nsecsElapsed()), "ms");
}

/// Edits one number again and again; each time the first picture and the whole one are awaited.
void measureEdits(Window& window, Measurement& out, const std::string& of, bool hasGoals)
{
    const std::string first = "edit to coarse slice" + of;
    const std::string last = "edit to whole slice" + of;
    const auto edited = numberOf(*window.session());
    if (!edited) {
        out.leaveOut(first, "the document's output depends on no number");
        return;
    }
    struct Seen {
        std::optional<double> firstAt{};
        double lastAt = 0;
        QSize firstPixels{};
        QSize pixels{};
        QElapsedTimer clock{};
    };
    const auto seen = std::make_shared<Seen>(); // the view tells of later pictures too
    window.view().onTimed([seen](const ViewTiming& timing) {
        seen->lastAt = 1e-6 * static_cast<double>(seen->clock.nsecsElapsed());
        if (!seen->firstAt) {
            seen->firstAt = seen->lastAt;
            seen->firstPixels = timing.pixels;
        }
        seen->pixels = timing.pixels;
    });
    std::vector<double> coarse;
    std::vector<double> whole;
    for (int i = 0; i < kEdits; ++i) {
        seen->firstAt.reset();
        seen->clock.start();
        if (!window.session()->setValue(edited->node, edited->key, edited->value + 0.001 * (i + 1))) {
            out.leaveOut(first, edited->key + " takes no other value");
            return;
        }
        waitFor([&] { return seen->firstAt && window.isSettled(); });
        coarse.push_back(seen->firstAt.value_or(0));
        whole.push_back(seen->lastAt);
    }
    const auto goal = [&](double milliseconds) {
        return hasGoals ? std::optional(milliseconds) : std::nullopt;
    };
    const auto detail = [&](QSize size) {
        return fmt::format("{} x {} pixels, median of {} edits of \"{}\" of node {}", size.width(),
                           size.height(), kEdits, edited->key, edited->node);
    };
    out.put(first, medianOf(coarse), "ms", goal(16), detail(seen->firstPixels));
    out.put(last, medianOf(whole), "ms", goal(33), detail(seen->pixels));
}

/// The slice at the size that the goals are for.
void measureSlice(Window& window, Measurement& out)
{
    const std::string file = out.file("sphere_and_gyroid.zrk.json", sphereAndGyroid());
    SliceCanvas& canvas = window.view().slice().canvas();
    bool isSized = false;
    if (window.open(file)) {
        settle(window);
        for (int width = kSlice; width < 2 * kSlice && !isSized; width += 4) {
            canvas.setFixedSize(width, kSlice);
            isSized = canvas.devicePixels() == QSize(kSlice, kSlice);
        }
    }
    if (isSized) {
        settle(window);
        measureEdits(window, out, ", minimum of a sphere and a twisted gyroid", true);
    } else {
        out.leaveOut("edit to whole slice of 512 x 512", "the view can't be made as large");
    }
    canvas.setMinimumSize(0, 0);
    canvas.setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    settle(window);
}

/// Drags a number of the panel of a node for some seconds.
void measureDrag(Window& window, Measurement& out)
{
    const std::string what = "drag a number for 10 s, events lost";
    const auto edited = numberOf(*window.session());
    if (!edited || !window.select(edited->node)) {
        out.leaveOut(what, "the document's output depends on no number");
        return;
    }
    settle(window);
    zrkui::NumberField* field = nullptr;
    for (auto* candidate : window.panel()->findChildren<zrkui::NumberField*>()) {
        if (!field && zrkui::shownProperty(*candidate).toStdString() == edited->key) {
            field = candidate;
        }
    }
    if (!field) {
        out.leaveOut(what, "the panel has no field for \"" + edited->key + "\"");
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
    int events = 0;
    int taken = 0;
    double value = field->exact();
    nod::scoped_connection listener = window.session()->addListener([&](const zrkmodel::EditEvent& event) {
        taken += event.kind == zrkmodel::EditEvent::Kind::ValueChanged ? 1 : 0;
    });
    const std::size_t steps = window.session()->history().doneCount();
    window.activateWindow();
    window.setFocus();
    field->setFocus(Qt::MouseFocusReason);
    Watchdog watchdog(kHoldGoal);
    send(QEvent::MouseButtonPress, 4);
    QElapsedTimer clock;
    clock.start();
    for (double x = 8; clock.elapsed() < kDragMilliseconds; x += 4) {
        const double before = field->exact();
        send(QEvent::MouseMove, x);
        events += field->exact() != before ? 1 : 0;
        value = field->exact();
        waitFor([end = clock.elapsed() + 8, &clock] { return clock.elapsed() >= end; });
    }
    send(QEvent::MouseButtonRelease, 4);
    settle(window);
    const auto entry = window.session()->document().graph()->getNodePtr(edited->node);
    const bool endsOnLast = entry->object->findProperty(edited->key)->valueJson() == ZRKJson(value);
    out.put(what, events - taken, "events", 0, fmt::format("of {}", events));
    out.put("drag a number for 10 s, ends on another value than the last", endsOnLast ? 0 : 1, "times", 0);
    out.put("drag a number for 10 s, steps of the history",
            static_cast<double>(window.session()->history().doneCount() - steps), "steps", 1);
    const Watchdog::Hold hold = watchdog.longest();
    out.put("thread held: drag a number for 10 s", hold.milliseconds, "ms", kHoldGoal, hold.what);
}

/// What ten thousand steps of the history take.
void measureHistory(const Window& window, Measurement& out)
{
    const std::string what = "10,000 undo steps";
    const auto edited = numberOf(*window.session());
    zrkmodel::DocumentWarnings warnings;
    auto copy =
        zrkmodel::GraphDocument::parse(window.document()->toText(), window.document()->name(), warnings);
    if (!edited || !copy) {
        out.leaveOut(what, edited ? "the document can't be copied" : "the output depends on no number");
        return;
    }
    zrkmodel::EditSettings settings;
    settings.mergeSeconds = 0;
    zrkmodel::EditSession session(std::move(*copy), settings);
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 10000; ++i) {
        // Not from the value that is there, which a drag may have left too large for a step to show.
        if (!session.setValue(edited->node, edited->key, 0.5 + 0.001 * (i + 1))) {
            out.leaveOut(what, edited->key + " takes no other value");
            return;
        }
    }
    out.put(what, 1e-6 * static_cast<double>(mallinfo2().uordblks - before), "MB", 50,
            fmt::format("{} steps are kept", session.history().doneCount()));
}

void measureFrames(Window& window, Measurement& out, int nodes, std::optional<double> goal)
{
    const std::string what = fmt::format("a frame while {} nodes are panned", nodes);
    if (!window.open(out.file("frames.zrk.json", chainOfNodes(nodes)))) {
        out.leaveOut(what, window.message());
        return;
    }
    settle(window);
    window.canvas().fitAll(false);
    settle(window);
    std::vector<double> frames;
    QScrollBar* bar = window.canvas().horizontalScrollBar();
    for (int i = 0; i < 60; ++i) {
        QElapsedTimer clock;
        clock.start();
        bar->setValue(bar->value() + 4);
        QApplication::processEvents();
        frames.push_back(1e-6 * static_cast<double>(clock.nsecsElapsed()));
    }
    out.put(what, medianOf(frames), "ms", goal, "median of 60, all nodes in sight");
}

/// Closes a window in which a document's evaluation has run for a while and goes on.
void measureClosing(Measurement& out, const char* name, const ZRKJson& document)
{
    const std::string what = std::string("close during a long evaluation, ") + name;
    const std::string file = out.file("slow.zrk.json", document);
    auto window = std::make_unique<Window>();
    window->resize(1440, 900);
    window->show();
    if (!window->open(file)) {
        out.leaveOut(what, window->message());
        return;
    }
    QElapsedTimer clock;
    clock.start();
    waitFor([&] { return clock.elapsed() > 400; });
    const double worked = workOfProcess();
    clock.restart();
    waitFor([&] { return clock.elapsed() > 200; });
    const double work = workOfProcess() - worked;
    if (window->isSettled() || work < 50) {
        out.leaveOut(what, fmt::format("the evaluation didn't run any more: {:.0f} ms of work in 200", work));
        return;
    }
    clock.restart();
    window->close();
    window.reset();
    out.put(what, 1e-6 * static_cast<double>(clock.nsecsElapsed()), "ms", 200,
            fmt::format("{:.0f} ms of work in the 200 ms before", work));
}

} // namespace

zrk::Result<ZRKJson> measureWindow(const std::string& path)
{
    Measurement out;
    QElapsedTimer clock;
    clock.start();
    auto window = std::make_unique<Window>();
    window->resize(1440, 900);
    window->show();
    window->grab();
    const double made = 1e-6 * static_cast<double>(clock.nsecsElapsed());
    if (const auto up = sinceStart()) {
        out.put("window up", *up, "ms", 1000,
                fmt::format("since the start of the program; {:.0f} ms of them are the window's own", made));
    } else {
        out.put("window up", made, "ms", 1000, "since the window began to be made");
    }
    measureOpening(*window, out);
    measureSlice(*window, out);
    const std::string document = path.empty() ? firstExample().toStdString() : path;
    if (!document.empty()) {
        clock.restart();
        if (!window->open(document)) {
            zrkmodel::DocumentWarnings none;
            const auto read = zrkmodel::GraphDocument::load(document, none);
            return zrk::refused(!read
                                    ? read.error()
                                    : zrk::Fault{document, "no way to show it",
                                                 "a document that the window can open", "name another one"});
        }
        window->canvas().sync();
        out.put("open the document", 1e-6 * static_cast<double>(clock.nsecsElapsed()), "ms");
        settle(*window);
        measureEdits(*window, out, " of the document", false);
        measureDrag(*window, out);
        measureHistory(*window, out);
    }
    measureFrames(*window, out, 100, 1000.0 / 60);
    measureFrames(*window, out, 2000, std::nullopt);
    for (const auto& hold : {holdWindow, holdByFiles}) {
        for (const HeldAction& held : hold(*window, out.folder())) {
            out.put("thread held: " + held.action, held.hold.milliseconds, "ms", kHoldGoal,
                    held.hold.what.empty() ? ZRKJson() : ZRKJson(held.hold.what));
        }
    }
    window.reset();
    measureClosing(out, "a raster being frozen", slowRaster());
    measureClosing(out, "a slice of nested gradients", nestedGradients());
    return out.take();
}

} // namespace zrkworkbench

#include "apps/workbench/window/window.h"

#include "apps/workbench/canvas/canvas.h"
#include "apps/workbench/views/figures.h"
#include "apps/workbench/views/view_pane.h"
#include "apps/workbench/window/file_reader.h"
#include "apps/workbench/window/names.h"
#include "apps/workbench/window/status_line.h"
#include "apps/workbench/window/watchdog.h"
#include "model/graph_object.h"
#include "model/held_data.h"

#include <QTimer>

#include <algorithm>
#include <cmath>
#include <utility>

namespace zrkworkbench {

using zrkmodel::PinAddress;
using zrkmodel::Tag;

namespace {

constexpr int kViewPatience = 10;       ///< milliseconds
constexpr int kThumbnailPatience = 120; ///< milliseconds after an edit
constexpr int kRangePatience = 200;

bool isSame(const std::optional<PinAddress>& a, const std::optional<PinAddress>& b)
{
    return a.has_value() == b.has_value() && (!a || (a->node == b->node && a->output == b->output));
}

/// With so many decimals, also where they are 0, and a true minus.
QString fixedFigure(double value, int decimals)
{
    if (!std::isfinite(value) || std::abs(value) >= 1e6) {
        return figure(value, decimals);
    }
    const QString text = QString::number(std::abs(value), 'f', decimals);
    const bool isNegative = value < 0 && text.toDouble() != 0;
    return (isNegative ? QString(QChar(0x2212)) : QString()) + text;
}

QString rangeText(const zrkmodel::ValueRange& range)
{
    return figure(range.low, 2) + QString::fromUtf8(" … ") + figure(range.high, 2);
}

} // namespace

std::optional<PinAddress> Window::wantedPin() const
{
    const auto firstOf = [&](std::uint16_t node) -> std::optional<PinAddress> {
        const auto record = _session->document().graph()->getNodePtr(node);
        return record && !record->outputs.empty() ? std::optional(PinAddress{node, 0}) : std::nullopt;
    };
    if (_follow == Follow::Pinned && _pinned && firstOf(_pinned->node)) {
        return _pinned;
    }
    if (_follow == Follow::Output && _session->document().output()) {
        return _session->document().output();
    }
    if (!_session->selection().empty()) {
        if (const auto pin = firstOf(_session->selection().back())) {
            return pin;
        }
    }
    return _session->document().output();
}

void Window::setFollow(Follow follow, std::optional<PinAddress> pin)
{
    _follow = follow;
    _pinned = pin;
    wantView();
}

void Window::wantView()
{
    if (_session) {
        _viewRefresh->start(0);
        _rangeRefresh->start(kRangePatience);
    }
}

void Window::requestView()
{
    if (!_session) {
        return;
    }
    if (!_canvas->isWhole()) {
        _viewRefresh->start(kViewPatience); // one after the other
        return;
    }
    const Doing doing("building the view's evaluators");
    const std::optional<PinAddress> pin = wantedPin();
    if (!isSame(pin, _viewed)) {
        _viewed = pin;
        _problems.clear(ProblemList::Source::Field);
    }
    _canvas->setViewed(pin);
    if (!pin) {
        _view->say(_session->document().graph()->nodes().empty()
                       ? "Add a node: Tab, or a double click on the canvas."
                       : "Select a node to see its output.");
        _status->showView({});
        return;
    }
    const auto source = viewSourceOf(_session->document(), *pin, nameOf(*_session, *pin));
    if (!source) {
        _view->say(
            QString::fromStdString(zrk::printable(source.error().found + "; " + source.error().remedy)),
            nameOf(*_session, *pin));
        _status->showView({});
        return;
    }
    _view->show(*source);
}

bool Window::isSettled() const
{
    return !_paintsAgain->isActive() && !_opener->isBusy() && !_reader->isBusy() && _canvas->isSettled() &&
           !_viewRefresh->isActive() && !_thumbnailRefresh->isActive() && _view->isSettled() &&
           _thumbnailsPending.empty() && !_rangeRefresh->isActive() && _ranges.empty() && !_asked;
}

/// A node and all that reads from it have old pictures.
void Window::staleThumbnails(std::uint16_t node)
{
    _thumbnailsStale.push_back(node);
    _thumbnailRefresh->start(kThumbnailPatience);
}

/// Follows the links from all nodes with old pictures at once, since a paste has hundreds.
void Window::dropThumbnails()
{
    const auto& graph = *_session->document().graph();
    std::vector<std::uint16_t> open = std::exchange(_thumbnailsStale, {});
    std::set<std::uint16_t> seen(open.begin(), open.end());
    while (!open.empty()) {
        const std::uint16_t at = open.back();
        open.pop_back();
        _thumbnailsFresh.erase(at);
        if (const auto record = graph.getNodePtr(at)) {
            for (const auto& output : record->outputs) {
                for (const zrkmodel::Pin_handle to : output.connections) {
                    if (seen.insert(to.node()).second) {
                        open.push_back(to.node());
                    }
                }
            }
        }
    }
}

void Window::requestThumbnails()
{
    if (!_session) {
        return;
    }
    const Doing doing("building the thumbnails' evaluators");
    dropThumbnails();
    if (_thumbnailSize.isEmpty()) {
        return;
    }
    for (const std::uint16_t node : _thumbnailsWanted) {
        if (_thumbnailsFresh.contains(node)) {
            continue;
        }
        const auto record = _session->document().graph()->getNodePtr(node);
        if (!record || record->outputs.empty()) {
            continue;
        }
        _thumbnailsFresh.insert(node);
        const auto output = _session->document().outputField({node, 0});
        if (!output) {
            _view->previews().cancelThumbnail(node);
            _thumbnailsPending.erase(node);
            _canvas->setThumbnail(node, {});
            continue;
        }
        _thumbnailsPending.insert(node);
        _view->previews().requestThumbnail(node, *output, _session->document().samplingBounds(),
                                           _thumbnailSize, _session->document().view(), devicePixelRatioF());
    }
}

/// One badge a node: what is wrong with it, or else what it computes, or what it has computed and holds.
void Window::showBadges()
{
    std::map<std::uint16_t, NodeBadge> badges;
    for (const Problem& problem : _problems.all()) { // errors come first
        if (problem.node) {
            const bool isError = problem.kind == Problem::Kind::Error;
            badges.try_emplace(*problem.node,
                               NodeBadge{isError ? NodeBadge::Kind::error : NodeBadge::Kind::warning, -1,
                                         problem.finding, problem.remedy});
        }
    }
    if (_work) {
        badges.try_emplace(_work->first, _work->second);
    }
    const auto graph = _session ? _session->document().graph() : zrkmodel::ZRKGraph::create();
    for (const auto& node : graph->nodes()) {
        const auto* holder = dynamic_cast<const zrkmodel::ZRKDataHolder*>(node->object.get());
        const zrkmodel::ZRKComputation computation =
            holder ? holder->computation() : zrkmodel::ZRKComputation();
        if (computation.fraction) {
            badges.try_emplace(node->id, NodeBadge{NodeBadge::Kind::computing, *computation.fraction});
        } else if (computation.isKept) {
            badges.try_emplace(node->id,
                               NodeBadge{NodeBadge::Kind::frozen, -1,
                                         computation.isStale ? "frozen, before what arrives here was changed"
                                                             : "frozen: it shows what was computed once",
                                         "the button in its panel computes it anew"});
        }
    }
    for (const auto& [node, badge] : _badges) {
        if (!badges.contains(node)) {
            _canvas->setBadge(node, {});
        }
    }
    for (const auto& [node, badge] : badges) {
        const auto former = _badges.find(node);
        if (former == _badges.end() || former->second != badge) {
            _canvas->setBadge(node, badge);
        }
    }
    _badges = std::move(badges);
}

/// The ranges of the inspector's outputs, one after the other.
void Window::wantRanges()
{
    _ranges.clear();
    if (!_session || !_inspector->shownNode()) {
        return;
    }
    const auto record = _session->document().graph()->getNodePtr(*_inspector->shownNode());
    for (std::size_t i = 0; record && i < record->outputs.size() && i < 8; ++i) {
        _ranges.push_back({record->id, static_cast<std::uint8_t>(i)});
    }
    if (!_hovered) {
        _asked.reset();
        askFlow();
    }
}

void Window::askFlow()
{
    while (_session && !_asked && (_hovered || !_ranges.empty())) {
        const Doing doing("building evaluators to probe a wire");
        const PinAddress pin = _hovered ? *_hovered : _ranges.front();
        const auto output = _session->document().outputField(pin);
        if (output) {
            _asked = pin;
            _view->previews().requestFlow(*output, _view->probe(), _session->document().samplingBounds(),
                                          _view->axis());
            return;
        }
        if (_hovered) {
            _hovered.reset();
        } else {
            _ranges.pop_front();
        }
    }
}

void Window::takeFlow(const Flow& flow)
{
    if (!isSame(_asked, flow.pin)) {
        return;
    }
    _asked.reset();
    const QString range = flow.problem.empty() ? rangeText(flow.range) : QString();
    if (isSame(_hovered, flow.pin)) {
        _hovered.reset();
        QString values;
        for (const double value : flow.probe.values) {
            values += (values.isEmpty() ? "" : "  ") + figure(value, 3);
        }
        std::vector<std::pair<QString, QString>> rows;
        if (flow.problem.empty()) {
            rows = {{"value at the probe", values},
                    {"weight", figure(flow.probe.weight, 3)},
                    {"range in the slice", range}};
        } else {
            rows = {{"nothing", QString::fromStdString(flow.problem)}};
        }
        _canvas->showWireInfo(rows);
    }
    if (!_ranges.empty() && isSame(_ranges.front(), flow.pin)) {
        _ranges.pop_front();
        if (_inspector->shownNode() == flow.pin.node) {
            _inspector->showOutput(flow.pin.output, range);
        }
    }
    askFlow();
}

void Window::takeTiming(const ViewTiming& timing)
{
    const QString what = timing.isSolid ? "Solid" : "Slice";
    const auto sizeText = [](QSize size) {
        return QString::fromUtf8("%1 × %2").arg(size.width()).arg(size.height());
    };
    QStringList parts;
    if (timing.isDone) {
        parts << QString("%1 %2 in %3 ms")
                     .arg(what, sizeText(timing.pixels))
                     .arg(timing.milliseconds, 0, 'f', 0);
        parts << QString("first %1 ms").arg(timing.firstMilliseconds, 0, 'f', 0);
    } else {
        parts << QString("%1 %2 of %3").arg(what, sizeText(timing.pixels), sizeText(timing.wanted));
        parts << QString("%1 ms").arg(timing.milliseconds, 0, 'f', 0);
    }
    QString speed;
    if (timing.nanosecondsPerSample > 0) {
        speed = QString("%1 ns / sample").arg(timing.nanosecondsPerSample, 0, 'f', 1);
        parts << speed;
    }
    parts << QString("%1 worker%2").arg(timing.workers).arg(timing.workers == 1 ? "" : "s");
    _status->showView(parts);
    if (timing.isDone && _viewed && _inspector->shownNode() == _viewed->node) {
        _inspector->showSpeed(speed);
    }
}

void Window::takeReadout(const Readout& readout)
{
    std::vector<std::pair<QString, QString>> values;
    if (readout.isKnown) {
        const char* const axes[] = {"x", "y", "z"};
        for (std::uint32_t axis = 0; axis < 3; ++axis) {
            values.emplace_back(axes[axis], fixedFigure(readout.position[axis], 3));
        }
        const char* const colours[] = {"r", "g", "b", "a"};
        for (std::size_t i = 0; i < readout.values.size(); ++i) {
            values.emplace_back(readout.values.size() == 1   ? "value"
                                : readout.values.size() == 4 ? colours[i]
                                                             : QString("v%1").arg(i),
                                fixedFigure(readout.values[i], readout.values.size() == 1 ? 4 : 3));
        }
        if (readout.slope) {
            values.emplace_back(QString::fromUtf8("|∇|"), fixedFigure(*readout.slope, 3));
        }
    }
    _status->showReadout(values);
}

void Window::takeFieldNote(const FieldNote& note)
{
    std::vector<Problem> problems;
    if (note.isRemarkable()) {
        Problem problem;
        problem.node = note.pin.node;
        problem.place = note.name;
        problem.finding = note.text();
        problem.remedy = note.remedy();
        problem.actionText = "Show the slice";
        problem.action = [this] { _view->setTab(ViewPane::Tab::Slice); };
        problems.push_back(std::move(problem));
    }
    _problems.set(ProblemList::Source::Field, std::move(problems));
}

} // namespace zrkworkbench

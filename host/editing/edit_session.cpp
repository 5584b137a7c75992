#include "host/editing/edit_session.h"

#include "host/document_values.h"
#include "model/graph_object.h"

#include <fmt/core.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace zrkmodel {

namespace {

double runningTime()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

bool isStructural(const EditChange& change)
{
    return !std::holds_alternative<MemberChange>(change) && !std::holds_alternative<ValueChange>(change);
}

bool isSameMember(const MemberChange& a, const MemberChange& b)
{
    return a.place == b.place && a.node == b.node && a.key == b.key;
}

bool isSame(const std::optional<ZRKJson>& a, const std::optional<ZRKJson>& b)
{
    return a.has_value() == b.has_value() && (!a || isSameValue(*a, *b));
}

/// The last change of the same thing, from `first` on and behind all that is structural; the end without one.
template <class IsSame>
auto earlierChange(std::vector<EditChange>& changes, std::size_t first, IsSame isSame)
{
    auto change = changes.end();
    while (change != changes.begin() + static_cast<std::ptrdiff_t>(std::min(first, changes.size()))) {
        --change;
        if (isStructural(*change)) {
            break;
        }
        if (isSame(*change)) {
            return change;
        }
    }
    return changes.end();
}

/// Adds a change, or makes it a part of an earlier one of the same thing.
///
/// @param first   changes before this one stay as they are.
/// @param values  of the node of a ValueChange, after it.
void addChange(std::vector<EditChange>& changes, std::size_t first, EditChange change, const ZRKJson& values)
{
    if (auto* member = std::get_if<MemberChange>(&change)) {
        const auto earlier = earlierChange(changes, first, [&](const EditChange& other) {
            const auto* twin = std::get_if<MemberChange>(&other);
            return twin && isSameMember(*twin, *member);
        });
        if (earlier != changes.end()) {
            auto& joined = std::get<MemberChange>(*earlier);
            joined.after = std::move(member->after);
            if (isSame(joined.before, joined.after)) {
                changes.erase(earlier);
            }
            return;
        }
    } else if (auto* value = std::get_if<ValueChange>(&change)) {
        const auto earlier = earlierChange(changes, first, [&](const EditChange& other) {
            const auto* twin = std::get_if<ValueChange>(&other);
            return twin && twin->node == value->node;
        });
        if (earlier != changes.end()) {
            auto& joined = std::get<ValueChange>(*earlier);
            ZRKJson before = values;
            for (const std::vector<ValueDelta>* deltas : {&value->deltas, &joined.deltas}) {
                for (const ValueDelta& delta : *deltas) {
                    zrkmodel::apply(delta, false, before);
                }
            }
            joined.deltas = difference(before, values);
            if (joined.deltas.empty()) {
                changes.erase(earlier);
            }
            return;
        }
    }
    changes.push_back(std::move(change));
}

bool holdsOf(const EditStep& step, std::uint16_t node)
{
    return std::any_of(step.held.begin(), step.held.end(),
                       [node](const HeldChange& held) { return held.node == node; });
}

} // namespace

EditSession::EditSession(GraphDocument document, EditSettings settings)
    : _settings(std::move(settings)),
      _document(std::move(document)),
      _parts(_document),
      _history(_settings.limits)
{
    if (!_settings.clock) {
        _settings.clock = runningTime;
    }
    watchAll();
}

EditSession::~EditSession() { close(); }

const ZRKJson* EditSession::view(const std::string& key) const
{
    const auto view = _parts.root().find("view");
    if (view == _parts.root().end() || !view->is_object()) {
        return nullptr;
    }
    const auto member = view->find(key);
    return member == view->end() ? nullptr : &*member;
}

zrk::Fault EditSession::fault(const std::string& place, const std::string& found, const std::string& expected,
                              const std::string& remedy) const
{
    return {_document.name() + ", " + place, found, expected, remedy};
}

zrk::Fault EditSession::busy() const
{
    return {_document.name(), _isApplying ? "a call within an undo or redo" : "a call within another edit",
            "one after it", "wait until the session has told its listeners", zrk::FaultKind::FailedWork};
}

zrk::Result<void> EditSession::checkFree() const
{
    if (isBusy()) {
        return zrk::refused(busy());
    }
    if (_isSaving) {
        return zrk::refused({_document.name(), "a file that is still being written", "one that is done",
                             "wait until it is written", zrk::FaultKind::FailedWork});
    }
    return {};
}

// What nodes tell

void EditSession::watchAll()
{
    _watched.clear();
    for (const auto& node : _parts.graph().nodes()) {
        watch(node->id);
        _watched[node->id].values = valuesOf(*node->object);
    }
}

void EditSession::watch(std::uint16_t node)
{
    Watched& watched = _watched[node];
    watched.object = _parts.graph().getNodePtr(node)->object;
    watched.change = watched.object->addListener([this, node](const ZRKEvent& event) {
        _touched.insert(node);
        if (_marks.empty() && !_isApplying) {
            perform("Change " + event.name, fmt::format("value {} {}", node, event.name), [] {});
        }
    });
    if (auto* holder = dynamic_cast<ZRKDataHolder*>(watched.object.get())) {
        watched.edit = holder->addEditListener([this, node, holder] {
            (_isApplying ? _applyLog : _heldLog).emplace_back(node, holder->held());
        });
        watched.import =
            holder->addImportListener([this, node](const auto& paths) { onImport(node, paths); });
    }
}

/// An import by the component's panel: a document names what it was taken from.
void EditSession::onImport(std::uint16_t node, const std::vector<std::filesystem::path>& paths)
{
    if (_isImporting || _isApplying) {
        return;
    }
    _touched.insert(node);
    perform("Import", "", [&]() -> zrk::Result<void> {
        ZRKJson stored = ZRKJson::array();
        for (const auto& path : paths) {
            stored.push_back(storedPath(path));
        }
        _parts.graph().notifyDownstream(node, {"import", _watched.at(node).object.get()});
        return setMember(MemberChange::Place::Node, node, "import",
                         stored.empty()       ? std::nullopt
                         : stored.size() == 1 ? std::optional(stored[0])
                                              : std::optional(stored));
    });
}

std::optional<ZRKHeldData> EditSession::heldBy(std::uint16_t node) const
{
    const auto watched = _watched.find(node);
    const auto* holder = watched == _watched.end()
                             ? nullptr
                             : dynamic_cast<const ZRKDataHolder*>(watched->second.object.get());
    return holder ? std::optional(holder->held()) : std::nullopt;
}

void EditSession::hold(std::uint16_t node, const std::optional<ZRKHeldData>& data)
{
    const auto watched = _watched.find(node);
    auto* holder =
        watched == _watched.end() ? nullptr : dynamic_cast<ZRKDataHolder*>(watched->second.object.get());
    if (holder && data) {
        holder->hold(*data);
    }
}

// Steps

void EditSession::begin(const std::string& name, const std::string& mergeKey)
{
    if (_marks.empty()) {
        _open = {};
        _open.name = name;
        _open.mergeKey = mergeKey;
        _open.selectionBefore = _selection;
        if (_touched.empty()) {
            _heldLog.clear(); // of edits that have come to nothing
        }
    } else {
        flush();
    }
    // What was held before an edit that a component announces is logged before the edit tells of itself.
    const std::size_t held = _marks.empty() ? 0 : _heldLog.size();
    _marks.push_back({_open.changes.size(), held, _selection});
}

void EditSession::end(bool isDone)
{
    flush();
    const Mark mark = _marks.back();
    if (!isDone) {
        rollBack(mark);
        flush(); // what listeners of components have made of it
    }
    _marks.pop_back();
    if (_marks.empty()) {
        commit();
    }
}

void EditSession::rollBack(const Mark& mark)
{
    std::vector<Restored> restored;
    _isApplying = true;
    while (_open.changes.size() > mark.changes) {
        apply(_open.changes.back(), false, restored);
        _open.changes.pop_back();
    }
    const auto holdAgain = [&] {
        for (std::size_t i = _heldLog.size(); i > mark.held; --i) {
            hold(_heldLog[i - 1].first, _heldLog[i - 1].second);
        }
    };
    holdAgain();
    announce(restored);
    holdAgain();
    _heldLog.resize(mark.held);
    _applyLog.clear();
    _selection = mark.selection;
    _isApplying = false;
}

void EditSession::record(EditChange change)
{
    static const ZRKJson none;
    const auto* value = std::get_if<ValueChange>(&change);
    const ZRKJson& values = value ? _watched.at(value->node).values : none;
    addChange(_open.changes, _marks.back().changes, std::move(change), values);
}

void EditSession::takeAddedResources()
{
    if (_parts.resources().addedEntries().empty()) {
        return;
    }
    const ZRKJson added = _parts.resources().takeAddedEntries();
    for (const ZRKJson& entry : added) {
        const ZRKuuid uuid(entry["uuid"].get<std::string>());
        const std::size_t index = *_parts.resources().indexOf(uuid);
        const auto object = _parts.resources().objects()[index];
        _parts.resources().erase(index); // it comes again with its entry
        insertResource(entry, _parts.resourceCount(), object);
    }
}

/// Records what the nodes have told of since the last time.
void EditSession::flush()
{
    takeAddedResources();
    const std::set<std::uint16_t> touched = std::exchange(_touched, {});
    _told.insert(touched.begin(), touched.end());
    for (const std::uint16_t node : touched) {
        const auto watched = _watched.find(node);
        if (watched == _watched.end()) {
            continue;
        }
        ZRKJson now = valuesOf(*watched->second.object);
        std::vector<ValueDelta> deltas = difference(watched->second.values, now);
        if (!deltas.empty()) {
            watched->second.values = std::move(now);
            record(ValueChange{node, std::move(deltas)});
        }
    }
}

/// Makes one change of several of one node's values, as the operations of a macro leave them.
void EditSession::joinValues(std::vector<EditChange>& changes) const
{
    for (std::size_t i = 0; i < changes.size(); ++i) {
        auto* first = std::get_if<ValueChange>(&changes[i]);
        const auto isOfNode = [&](const EditChange& change) {
            const auto* value = std::get_if<ValueChange>(&change);
            return value && value->node == first->node;
        };
        if (!first || std::count_if(changes.begin(), changes.end(), isOfNode) == 1) {
            continue;
        }
        const ZRKJson& after = _watched.at(first->node).values;
        ZRKJson before = after;
        for (std::size_t j = changes.size(); j-- > i;) {
            const auto* other = std::get_if<ValueChange>(&changes[j]);
            if (other && other->node == first->node) {
                std::for_each(other->deltas.rbegin(), other->deltas.rend(),
                              [&](const ValueDelta& delta) { zrkmodel::apply(delta, false, before); });
                if (j > i) {
                    changes.erase(changes.begin() + static_cast<std::ptrdiff_t>(j));
                    first = std::get_if<ValueChange>(&changes[i]);
                }
            }
        }
        first->deltas = difference(before, after);
    }
    std::erase_if(changes, [](const EditChange& change) {
        const auto* value = std::get_if<ValueChange>(&change);
        return value && value->deltas.empty();
    });
}

/// Moves what nodes held before the step into it. Returns whether some hold other data now: of nodes that
/// told of something, and not for what was told upstream of them.
bool EditSession::takeHeld(EditStep& step)
{
    const auto log = std::exchange(_heldLog, {});
    const std::set<std::uint16_t> told = std::exchange(_told, {});
    bool isChanged = false;
    for (const auto& [node, data] : log) {
        if (!holdsOf(step, node)) {
            step.held.push_back({node, data, std::nullopt});
            const auto now = heldBy(node);
            isChanged = isChanged || (told.contains(node) && now && !(*now == data));
        }
    }
    return isChanged;
}

/// Adds a step to the last one, which it goes on with.
/// @param isPlain  the step changes values alone.
void EditSession::joinLast(EditStep& last, EditStep step, bool isPlain)
{
    const bool hadChanges = !last.changes.empty();
    for (EditChange& change : step.changes) {
        const auto* value = std::get_if<ValueChange>(&change);
        const auto watched = value ? _watched.find(value->node) : _watched.end();
        // Behind something structural the values that are known now may not be those after the change.
        const std::size_t first = isPlain ? 0 : last.changes.size();
        addChange(last.changes, first, std::move(change),
                  watched == _watched.end() ? ZRKJson() : watched->second.values);
    }
    for (HeldChange& held : step.held) {
        if (!holdsOf(last, held.node)) {
            last.held.push_back(std::move(held));
        }
    }
    last.selectionAfter = _selection;
    last.time = step.time;
    if (hadChanges && last.changes.empty()) { // all values are what they were, and so is what they made
        for (const HeldChange& held : last.held) {
            hold(held.node, held.before);
        }
        _history.dropLast();
    }
}

void EditSession::commit()
{
    EditStep step = std::exchange(_open, {});
    const bool isHeldChanged = takeHeld(step);
    const bool isPlain = std::none_of(step.changes.begin(), step.changes.end(), isStructural);
    if (isPlain) {
        joinValues(step.changes);
    }
    const bool isSelected = *step.selectionBefore != *_selection;
    if (step.changes.empty() && !isHeldChanged) {
        for (const HeldChange& held : step.held) {
            hold(held.node, held.before); // nothing has changed, so that nothing is stale
        }
        if (isSelected) {
            tell({EditEvent::Kind::Selection});
        }
        deliver();
        return;
    }
    step.selectionAfter = _selection;
    step.gesture = _gesture;
    step.time = now();
    const bool wasModified = isModified();
    tellOf(step.changes, step.held, true);
    if (isSelected) {
        tell({EditEvent::Kind::Selection});
    }
    EditStep* last = _history.openStep(step.mergeKey, step.gesture, step.time, _settings.mergeSeconds);
    if (last) {
        joinLast(*last, std::move(step), isPlain);
    } else {
        _history.push(std::move(step));
    }
    _changedAt = _changedAt.value_or(now());
    tell({EditEvent::Kind::History});
    if (isModified() != wasModified) {
        tell({EditEvent::Kind::Modified});
    }
    deliver();
}

zrk::Result<void> EditSession::macro(const std::string& name, const std::function<zrk::Result<void>()>& work)
{
    return perform(name, "", work);
}

void EditSession::beginGesture()
{
    endGesture();
    _gesture = ++_lastGesture;
}

void EditSession::endGesture()
{
    if (_gesture != 0) {
        _gesture = 0;
        _history.seal();
    }
}

// Telling of changes

void EditSession::tell(EditEvent event) { _outbox.push_back(std::move(event)); }

void EditSession::tellOf(const std::vector<EditChange>& changes, const std::vector<HeldChange>& held,
                         bool forward)
{
    using Kind = EditEvent::Kind;
    const auto tellOne = [&](const EditChange& change) {
        if (const auto* node = std::get_if<NodeChange>(&change)) {
            tell({node->isAdded == forward ? Kind::NodeAdded : Kind::NodeRemoved, node->node});
        } else if (const auto* link = std::get_if<LinkChange>(&change)) {
            const Pin_handle to = DocumentParts::to(link->link);
            tell({link->isAdded == forward ? Kind::LinkAdded : Kind::LinkRemoved, to.node(), to.index()});
        } else if (const auto* resource = std::get_if<ResourceChange>(&change)) {
            tell({Kind::Resources, 0, 0, resource->entry["uuid"].get<std::string>()});
        } else if (const auto* member = std::get_if<MemberChange>(&change)) {
            tell({member->place == MemberChange::Place::Node       ? Kind::MemberChanged
                  : member->place == MemberChange::Place::Document ? Kind::Document
                                                                   : Kind::View,
                  member->node, 0, member->key});
        } else if (const auto* value = std::get_if<ValueChange>(&change)) {
            for (const ValueDelta& delta : value->deltas) {
                tell({Kind::ValueChanged, value->node, 0, delta.key});
            }
        }
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        tellOne(changes[forward ? i : changes.size() - 1 - i]);
    }
    for (const HeldChange& each : held) {
        if (const auto now = heldBy(each.node); now && now != (forward ? each.before : each.after)) {
            tell({Kind::HeldChanged, each.node});
        }
    }
}

void EditSession::deliver()
{
    if (_isTelling || !_marks.empty() || _isApplying) {
        return; // whoever is at it goes on with these
    }
    _isTelling = true;
    while (!_outbox.empty()) {
        const EditEvent event = std::move(_outbox.front());
        _outbox.pop_front();
        _listeners(event);
    }
    _isTelling = false;
}

void EditSession::select(std::vector<std::uint16_t> nodes)
{
    std::erase_if(nodes, [&](std::uint16_t node) { return !_watched.contains(node); });
    if (nodes != *_selection) {
        _selection = std::make_shared<const std::vector<std::uint16_t>>(std::move(nodes));
        if (_marks.empty()) {
            tell({EditEvent::Kind::Selection});
            deliver();
        }
    }
}

} // namespace zrkmodel

#include "host/document_values.h"
#include "host/editing/edit_session.h"
#include "model/graph_object.h"
#include "model/property.h"
#include "model/type_info.h"

#include <utility>

namespace zrkmodel {

zrk::Result<void> EditSession::undo() { return step(false); }
zrk::Result<void> EditSession::redo() { return step(true); }

zrk::Result<void> EditSession::step(bool forward)
{
    if (_isApplying || !_marks.empty()) {
        return zrk::refused(busy());
    }
    endGesture();
    if (forward ? !canRedo() : !canUndo()) {
        return zrk::refused({_document.name(), "nothing to " + std::string(forward ? "redo" : "undo"),
                             "an edit", "edit the document first", zrk::FaultKind::FailedWork});
    }
    const bool wasModified = isModified();
    EditStep& step = _history.next(forward);
    std::vector<Restored> restored;
    _isApplying = true;
    _applyLog.clear();
    for (HeldChange& held : step.held) {
        auto& left = forward ? held.before : held.after;
        if (auto now = heldBy(held.node)) {
            left = std::move(now);
        }
    }
    for (std::size_t i = 0; i < step.changes.size(); ++i) {
        apply(step.changes[forward ? i : step.changes.size() - 1 - i], forward, restored);
    }
    // Again after the values are announced, since what is downstream of them takes itself for stale then.
    const auto holdAgain = [&] {
        for (std::size_t i = _applyLog.size(); i > 0; --i) {
            hold(_applyLog[i - 1].first, _applyLog[i - 1].second); // no part of the step: as it was
        }
        for (const HeldChange& held : step.held) {
            hold(held.node, forward ? held.after : held.before);
        }
    };
    holdAgain();
    announce(restored);
    for (const HeldChange& held : step.held) {
        if (const auto watched = _watched.find(held.node); watched != _watched.end()) {
            watched->second.object->emitPropertyChange("raster");
        }
    }
    holdAgain();
    _applyLog.clear();
    const Selection selected = forward ? step.selectionAfter : step.selectionBefore;
    const bool isSelected = *selected != *_selection;
    _selection = selected;
    _isApplying = false;
    tellOf(step.changes, step.held, forward);
    if (isSelected) {
        tell({EditEvent::Kind::Selection});
    }
    _history.advance(forward);
    _changedAt = _changedAt.value_or(now());
    tell({EditEvent::Kind::History});
    if (isModified() != wasModified) {
        tell({EditEvent::Kind::Modified});
    }
    if (!_touched.empty()) {
        perform("Change", "", [] {}); // what listeners of components have made of it
    }
    deliver();
    return {};
}

// Making changes, and taking them back

void EditSession::applyNode(NodeChange& change, bool forward)
{
    if (change.isAdded != forward) {
        change.values = std::move(_watched.at(change.node).values);
        change.entry = *_parts.entry(change.node);
        _watched.erase(change.node);
        _parts.eraseNode(change.node);
        return;
    }
    _parts.insertNode(change);
    watch(change.node);
    _watched[change.node].values = std::move(change.values);
}

void EditSession::apply(EditChange& change, bool forward, std::vector<Restored>& restored)
{
    if (auto* node = std::get_if<NodeChange>(&change)) {
        applyNode(*node, forward);
        if (node->isAdded == forward) {
            // Someone may have changed the object while it was away.
            std::vector<std::string> keys;
            const ZRKJson& values = _watched.at(node->node).values;
            for (const ValueDelta& delta : difference(valuesOf(*node->object), values)) {
                keys.push_back(delta.key);
            }
            if (!keys.empty()) {
                restored.push_back(restore(node->node, keys));
            }
        }
    } else if (const auto* link = std::get_if<LinkChange>(&change)) {
        if (link->isAdded == forward) {
            _parts.insertLink(link->index, link->link);
        } else {
            _parts.eraseLink(link->index);
        }
    } else if (const auto* resource = std::get_if<ResourceChange>(&change)) {
        if (resource->isAdded == forward) {
            _parts.insertResource(*resource);
        } else {
            _parts.eraseResource(resource->index);
        }
        rebind(resource->entry["uuid"].get<std::string>(), false, restored);
    } else if (const auto* member = std::get_if<MemberChange>(&change)) {
        (void)_parts.setMember(*member, forward); // it was there before
    } else if (const auto* value = std::get_if<ValueChange>(&change)) {
        std::vector<std::string> keys;
        for (const ValueDelta& delta : value->deltas) {
            zrkmodel::apply(delta, forward, _watched.at(value->node).values);
            keys.push_back(delta.key);
        }
        restored.push_back(restore(value->node, keys));
    }
}

/// Gives a component the values that are known of it, and tells no one yet. Properties are assigned one by
/// one, as reading the whole would have some components compute.
EditSession::Restored EditSession::restore(std::uint16_t node, const std::vector<std::string>& keys)
{
    const Watched& watched = _watched.at(node);
    Restored restored{node, watched.object, freshTwin(*watched.object), keys};
    const ZRKDeserialization stored(watched.values, _document.resources());
    bool isWhole = false;
    for (const std::string& key : keys) {
        if (ZRKPropertyBase* property = watched.object->findProperty(key)) {
            ZRKPropertyBase* twin = restored.twin->findProperty(key);
            twin->read(stored, key);
            property->assignFrom(twin, false);
        } else {
            isWhole = true;
        }
    }
    if (isWhole) {
        watched.object->deserialize(stored);
    }
    return restored;
}

void EditSession::announce(const std::vector<Restored>& restored)
{
    for (const Restored& each : restored) {
        if (!_watched.contains(each.node)) {
            continue; // it went again in the same step
        }
        for (const std::string& key : each.keys) {
            if (ZRKPropertyBase* property = each.object->findProperty(key)) {
                ZRKPropertyBase* twin = each.twin->findProperty(key);
                twin->assignFrom(property, false); // there may have been a later value
                property->assignFrom(twin, true);
            } else {
                emitValueChange(*each.object, key);
            }
        }
    }
}

/// Has all who refer to a resource look for it again.
/// @param isNew  it was never there before, so that what components make of it is made anew.
void EditSession::rebind(const std::string& uuid, bool isNew, std::vector<Restored>& restored)
{
    for (const auto& [node, watched] : _watched) {
        std::vector<std::string> keys;
        for (const auto& [key, value] : watched.values.items()) {
            if (mentions(value, uuid)) {
                keys.push_back(key);
            }
        }
        if (!keys.empty()) {
            restored.push_back(restore(node, keys));
            if (isNew) {
                watched.object->deserialize(
                    ZRKDeserialization(storedForm(*watched.object), _document.resources()));
            }
        }
    }
}

} // namespace zrkmodel

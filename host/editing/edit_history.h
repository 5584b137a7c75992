#pragma once

#include "host/editing/edit_change.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zrkmodel {

using Selection = std::shared_ptr<const std::vector<std::uint16_t>>;

/// What undo takes back at once.
struct EditStep {
    std::string name; ///< such as "Set radius"
    std::vector<EditChange> changes;
    std::vector<HeldChange> held;
    Selection selectionBefore;
    Selection selectionAfter;
    std::string mergeKey; ///< steps of one key may become one; empty for none
    std::uint64_t gesture = 0;
    double time = 0; ///< of the last change in it
};

struct HistoryLimits {
    std::size_t steps = 10000;
    /// What steps may hold of meshes, rasters and the like, in bytes; each is counted once.
    std::size_t heldBytes = std::size_t{1} << 30;
};

/// The steps of a session in order, those that are done and those that were undone. Beyond the limits the
/// oldest ones are forgotten, but never the last.
class EditHistory {
public:
    explicit EditHistory(const HistoryLimits& limits = {}) : _limits(limits) {}

    bool canUndo() const { return _done > 0; }
    bool canRedo() const { return _done < _steps.size(); }
    /// Steps that are done.
    std::size_t doneCount() const { return _done; }
    /// All of them, the oldest first.
    const std::deque<EditStep>& steps() const { return _steps; }
    bool isModified() const { return _clean != _done; }

    /// The step that undo takes back, or that redo does again.
    EditStep& next(bool forward) { return _steps[forward ? _done : _done - 1]; }
    void advance(bool forward);

    /// The last step, where another one with this key may become a part of it; else null.
    EditStep* openStep(const std::string& mergeKey, std::uint64_t gesture, double time, double mergeSeconds);
    /// Adds a step and forgets those that were undone. `joins`: later ones may become a part of it.
    void push(EditStep step);
    /// Takes the last step away, which no longer changes anything.
    void dropLast();
    /// Nothing becomes a part of the last step any more.
    void seal() { _isSealed = true; }

    /// @{ The state of now is being saved; once it is saved, it is the saved state wherever editing has got
    /// to.
    void beginSaving();
    void endSaving(bool isSaved);
    /// @}
    /// No state that can be reached is the saved one.
    void forgetClean() { _clean.reset(); }
    void clear();

    template <class Visit>
    void forEachChange(const Visit& visit)
    {
        for (EditStep& step : _steps) {
            for (EditChange& change : step.changes) {
                visit(change);
            }
        }
    }

private:
    HistoryLimits _limits;
    std::deque<EditStep> _steps;
    std::size_t _done = 0;
    std::optional<std::size_t> _clean = 0; ///< count of steps done in the saved state
    std::optional<std::size_t> _saving;    ///< the same of the state that is being saved
    bool _isSealed = true;

    void keepLimits();
};

} // namespace zrkmodel

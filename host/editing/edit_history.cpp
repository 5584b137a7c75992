#include "host/editing/edit_history.h"

#include <unordered_set>
#include <utility>

namespace zrkmodel {

void EditHistory::advance(bool forward)
{
    _done += forward ? 1 : std::size_t(-1);
    _isSealed = true;
}

EditStep* EditHistory::openStep(const std::string& mergeKey, std::uint64_t gesture, double time,
                                double mergeSeconds)
{
    if (_isSealed) {
        return nullptr;
    }
    EditStep& last = _steps.back();
    const bool isSame = gesture != 0 ? last.gesture == gesture
                                     : last.gesture == 0 && !mergeKey.empty() && last.mergeKey == mergeKey &&
                                           time - last.time <= mergeSeconds;
    return isSame ? &last : nullptr;
}

void EditHistory::push(EditStep step)
{
    for (auto* state : {&_clean, &_saving}) {
        if (*state && **state > _done) {
            state->reset(); // no undo or redo leads there any more
        }
    }
    _steps.resize(_done);
    _steps.push_back(std::move(step));
    ++_done;
    _isSealed = false;
    keepLimits();
}

void EditHistory::dropLast()
{
    _steps.pop_back();
    --_done;
    _isSealed = true;
}

void EditHistory::beginSaving()
{
    _saving = _done;
    _isSealed = true;
}

void EditHistory::endSaving(bool isSaved)
{
    _clean = isSaved ? _saving : _clean;
    _saving.reset();
}

void EditHistory::clear()
{
    _steps.clear();
    _done = 0;
    _clean = 0;
    _saving.reset();
    _isSealed = true;
}

void EditHistory::keepLimits()
{
    std::size_t kept = 0;
    std::size_t bytes = 0;
    std::unordered_set<const void*> counted;
    const auto count = [&](const std::optional<ZRKHeldData>& data) {
        for (const ZRKHeldData::Part& part : data ? data->parts : std::vector<ZRKHeldData::Part>()) {
            bytes += counted.insert(part.data.get()).second ? part.bytes : 0;
        }
    };
    for (auto step = _steps.rbegin(); step != _steps.rend() && kept < _limits.steps; ++step, ++kept) {
        for (const HeldChange& held : step->held) {
            count(held.before);
            count(held.after);
        }
        if (bytes > _limits.heldBytes && kept > 0) {
            break;
        }
    }
    while (_steps.size() > kept && _steps.size() > 1) {
        _steps.pop_front();
        --_done;
        for (auto* state : {&_clean, &_saving}) {
            *state = *state && **state > 0 ? std::optional(**state - 1) : std::nullopt;
        }
    }
}

} // namespace zrkmodel

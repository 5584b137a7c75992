#include "core/engine/evaluation_context.h"

#include "core/engine/block_runner.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/progress.h"

#include <cmath>
#include <memory>
#include <thread>
#include <utility>

namespace zrk {

template <class T>
EvaluationContextT<T>::EvaluationContextT(std::vector<EvaluationSlot> chain) : slots(std::move(chain))
{
    slotStack.reserve(slots.size());
}

template <class T>
void EvaluationContextT<T>::pushSlot(std::int32_t index)
{
    slotStack.push_back(index);
    slotIndex = index;
    slot = &slots[static_cast<std::size_t>(index)];
    node = slot->node;
}

template <class T>
void EvaluationContextT<T>::popSlot()
{
    slotStack.pop_back();
    if (slotStack.empty()) {
        slotIndex = -1;
        slot = nullptr;
        node = nullptr;
        return;
    }
    slotIndex = slotStack.back();
    slot = &slots[static_cast<std::size_t>(slotIndex)];
    node = slot->node;
}

template <class T>
const T* EvaluationContextT<T>::readSlot(std::int32_t index)
{
    EvaluationSlot& s = slots[static_cast<std::size_t>(index)];
    if (s.buffer) {
        // Trusted to be full.
        return s.buffer->record(static_cast<std::uint64_t>(sampleIndex));
    }
    if (s.lastSample == sampleIndex || s.node->constant) {
        return s.value;
    }
    if (_source) {
        return _source->readRecord(static_cast<std::size_t>(index));
    }
    if (s.positions) {
        const Tensor<4, double> p = s.positions->position(sampleIndex);
        std::copy(p.begin(), p.end(), s.value);
        s.lastSample = sampleIndex;
        return s.value;
    }
    pushSlot(index);
    s.evaluator(*this);
    popSlot();
    return s.value;
}

template <class T>
void EvaluationContextT<T>::_finishOutput(std::size_t recordLength)
{
    slot->lastSample = sampleIndex;
    if (slot->buffer) {
        std::copy_n(slot->value, recordLength, slot->buffer->record(static_cast<std::uint64_t>(sampleIndex)));
    }
}

template <class T>
void EvaluationContextT<T>::run(std::int32_t first, std::int32_t last)
{
    _runSilently(first, last, nullptr);
}

template <class T>
bool EvaluationContextT<T>::runUntilInterrupted(std::int32_t first, std::int32_t last,
                                                ProgressManager& manager)
{
    return _runSilently(first, last, &manager);
}

template <class T>
bool EvaluationContextT<T>::_runSilently(std::int32_t first, std::int32_t last, ProgressManager* manager)
{
    slotStack.clear();
    pushSlot(0);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (!slots[i].buffer || !slots[i].pending) {
            continue;
        }
        pushSlot(static_cast<std::int32_t>(i));
        BlockRunner runner(std::make_shared<BlockPlan>(slots, i), *this);
        BufferSink sink(*slots[i].buffer);
        if (!runner.sweep(first, last, sink, manager, SlotsAfter::Settled)) {
            return false;
        }
        slots[i].pending = false;
        popSlot();
    }
    return true;
}

template <class T>
bool EvaluationContextT<T>::run(std::int32_t first, std::int32_t last, ProgressManager& manager)
{
    const std::int64_t count = std::int64_t{last} - first + 1;
    const auto chunk = static_cast<std::int64_t>(std::ceil(static_cast<double>(count) * 0.01));
    bool isComplete = true;
    slotStack.clear();
    pushSlot(0);
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (!slots[i].buffer || !slots[i].pending) {
            continue;
        }
        pushSlot(static_cast<std::int32_t>(i));
        BlockRunner runner(std::make_shared<BlockPlan>(slots, i), *this);
        BufferSink sink(*slots[i].buffer);
        std::int64_t next = first;
        const auto fill = [&](std::int64_t samples) {
            runner.sweep(static_cast<std::int32_t>(next), static_cast<std::int32_t>(next + samples - 1), sink,
                         nullptr, SlotsAfter::Settled);
            next += samples;
            manager.notifyProgressUpdate(std::this_thread::get_id(), static_cast<std::size_t>(samples));
        };
        std::int64_t rounds = count / chunk;
        while (rounds > 0 && !manager.shouldInterrupt()) {
            fill(chunk);
            --rounds;
        }
        // Asked once more: a request that was withdrawn meanwhile has cost the samples of the rounds left.
        if (manager.shouldInterrupt()) {
            return false;
        }
        isComplete = isComplete && rounds == 0;
        fill(count % chunk);
        slots[i].pending = false;
        popSlot();
    }
    return isComplete;
}

template class EvaluationContextT<double>;

} // namespace zrk

#include "core/engine/evaluation_context.h"

#include "core/engine/block_engine.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/progress.h"

#include <cmath>
#include <thread>
#include <utility>

namespace zrk {

template <class T>
EvaluationContextT<T>::EvaluationContextT(std::vector<EvaluationSlot> chain) : slots(std::move(chain))
{
    slotStack.reserve(slots.size());
}

template <class T>
EvaluationContextT<T>::~EvaluationContextT() = default;

template <class T>
BlockEngine& EvaluationContextT<T>::_engine()
{
    if (!_blocks) {
        _blocks = std::make_unique<BlockEngine>(*this);
    }
    return *_blocks;
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
    if (_blocks && _blocks->isRunning()) {
        return _blocks->readRecord(static_cast<std::size_t>(index));
    }
    if (s.node->positions) {
        const Tensor<4, double> p = s.node->positions->position(sampleIndex);
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
bool EvaluationContextT<T>::_fill(std::size_t target, std::int32_t first, std::int32_t last,
                                  ProgressManager* manager)
{
    BufferSink sink(*slots[target].buffer);
    return _engine().sweep(target, first, last, sink, manager, true);
}

/// The slots are open to everyone and may have changed since the last run.
template <class T>
void EvaluationContextT<T>::beginRun()
{
    _blocks.reset();
    slotStack.clear();
    pushSlot(0);
}

template <class T>
void EvaluationContextT<T>::run(std::int32_t first, std::int32_t last)
{
    beginRun();
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (slots[i].buffer && slots[i].pending) {
            pushSlot(static_cast<std::int32_t>(i));
            _fill(i, first, last, nullptr);
            slots[i].pending = false;
            popSlot();
        }
    }
}

template <class T>
void EvaluationContextT<T>::run(std::int32_t first, std::int32_t last, ProgressManager& manager)
{
    const std::int64_t count = std::int64_t{last} - first + 1;
    const auto chunk = static_cast<std::int64_t>(std::ceil(static_cast<double>(count) * 0.01));
    const std::thread::id thread = std::this_thread::get_id();
    beginRun();
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (!slots[i].buffer || !slots[i].pending) {
            continue;
        }
        pushSlot(static_cast<std::int32_t>(i));
        std::int64_t next = first;
        const auto fill = [&](std::int64_t samples) {
            const bool finished = _fill(i, static_cast<std::int32_t>(next),
                                        static_cast<std::int32_t>(next + samples - 1), &manager);
            if (finished) {
                next += samples;
                manager.notifyProgressUpdate(thread, static_cast<std::size_t>(samples));
            }
            return finished;
        };
        for (std::int64_t round = 0; round < count / chunk; ++round) {
            if (!fill(chunk)) {
                return;
            }
        }
        if (manager.shouldInterrupt() || !fill(count % chunk)) {
            return;
        }
        slots[i].pending = false;
        popSlot();
    }
}

template <class T>
bool EvaluationContextT<T>::sweep(std::size_t target, std::int32_t first, std::int32_t last, BlockSink& sink,
                                  ProgressManager* manager)
{
    slotStack.clear();
    pushSlot(0);
    return _engine().sweep(target, first, last, sink, manager, false);
}

template class EvaluationContextT<double>;

} // namespace zrk

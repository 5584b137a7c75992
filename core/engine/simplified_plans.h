#pragma once

#include "core/engine/block_plan.h"
#include "core/engine/bounds_runner.h"
#include "core/engine/box_run.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <unordered_map>
#include <vector>

namespace zrk {

/// The plans that the plans of one chain become over boxes, each kept by what is left of it: neighbouring
/// boxes usually leave the same. Safe to use from many threads at once.
class SimplifiedPlans {
public:
    using Plan = std::shared_ptr<const BlockPlan>;

    /// The working memory of one caller.
    class Scratch;

    /// Writes the plan for each box to `out`, `plan` itself where nothing is decided.
    ///
    /// @param plan   of the chain, itself simplified or not; without lanes.
    /// @param slots  of the chain.
    /// @param boxes  at least one and at most kMaxBoxes.
    void over(const Plan& plan, std::span<const EvaluationSlot> slots, std::span<const PositionBox> boxes,
              BoundsRunner& runner, Scratch& scratch, Plan* out) const;

private:
    using Key = std::vector<std::uint64_t>;
    struct Hash {
        std::size_t operator()(const Key& key) const;
    };
    /// More plans than a picture or a surface needs at a time; when there are more, all are made anew.
    static constexpr std::size_t kMostPlans = 4096;

    mutable std::mutex _mutex;
    mutable std::unordered_map<Key, Plan, Hash> _plans; ///< guarded by _mutex

    static bool describe(const BlockPlan& plan, const SlotDecisions& decisions, Scratch& scratch);
    Plan find(const Key& key) const;
    void keep(const Key& key, const Plan& plan) const;
};

class SimplifiedPlans::Scratch {
    std::vector<BoxChoices> choices;    ///< by slot
    std::vector<std::uint64_t> visited; ///< by slot: the walk that came to it last
    std::uint64_t visit = 0;
    std::vector<std::size_t> open;
    std::vector<double> record;
    Key key;
    Key keyBefore;
    friend class SimplifiedPlans;
};

} // namespace zrk

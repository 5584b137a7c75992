#pragma once

#include "core/engine/field_sampler.h"
#include "core/engine/prepared_field.h"
#include "core/values/fault.h"
#include "core/values/memory_budget.h"
#include "core/values/stop.h"
#include "host/graph_document.h"

#include <array>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zrktest {

/// Asks the work of the calling thread to stop once it has lasted too long.
class TimeLimit {
public:
    explicit TimeLimit(std::chrono::milliseconds most)
        : _watch([this, most] {
              std::unique_lock lock(_mutex);
              if (!_isOver.wait_for(lock, most, [this] { return _isDone; })) {
                  _sign.raise();
              }
          })
    {}
    ~TimeLimit()
    {
        {
            const std::lock_guard lock(_mutex);
            _isDone = true;
        }
        _isOver.notify_all();
    }

    bool isReached() const { return _sign.isRaised(); }

private:
    zrk::StopSign _sign;
    zrk::StopScope _scope{_sign};
    std::mutex _mutex;
    std::condition_variable _isOver;
    bool _isDone = false;
    std::jthread _watch; // last: it uses the others
};

/// What one document was good for.
struct DocumentUse {
    bool isRead = false;     ///< not refused
    bool isStopped = false;  ///< it took too long
    std::size_t sampled = 0; ///< outputs that were sampled
    std::string wrong;       ///< what must not be; empty if all was as it must
};

/// Does with a document from memory what commands do with one from a file: reads it, lists its outputs,
/// samples some of them at four positions in two ways, bounds them, saves it and reads that. Whatever the
/// text, it is either refused by a fault in whole parts, or all of this goes together. The work is asked to
/// stop when it takes long; whoever calls this sees to it that it then does.
///
/// @param name  as if the document lay there; paths that lead out of that folder are refused.
class DocumentTrial {
public:
    DocumentTrial(std::string name, std::chrono::milliseconds most, double mostBytes)
        : _name(std::move(name)), _most(most), _mostBytes(mostBytes)
    {}

    DocumentUse operator()(const std::string& text) const
    {
        DocumentUse use;
        zrk::setMemoryBudget(zrk::memoryInUse() + _mostBytes);
        const TimeLimit limit(_most);
        const auto document = read(text);
        use.isRead = document.has_value();
        if (document) {
            const auto outputs = document->outputPins();
            for (std::size_t i = 0; i < outputs.size() && i < kMostOutputs && use.wrong.empty(); ++i) {
                use.sampled +=
                    sample(document->outputField(outputs[outputs.size() - 1 - i].address), limit, use.wrong);
            }
            if (use.wrong.empty()) {
                use.wrong = wrongInSaving(*document, limit);
            }
        } else {
            use.wrong = wrongInFault(document.error(), limit);
        }
        use.isStopped = limit.isReached();
        return use;
    }

private:
    static constexpr std::size_t kMostOutputs = 4;
    static constexpr std::size_t kPositions = 4;

    std::string _name;
    std::chrono::milliseconds _most;
    double _mostBytes;

    zrk::Result<zrkmodel::GraphDocument> read(const std::string& text) const
    {
        zrkmodel::DocumentWarnings warnings;
        zrkmodel::LoadSettings settings;
        settings.isConfined = true;
        return zrkmodel::GraphDocument::parse(text, _name, warnings, settings);
    }

    static std::string wrongInFault(const zrk::Fault& fault, const TimeLimit& limit)
    {
        if (fault.kind == zrk::FaultKind::Interrupted) {
            return limit.isReached() ? "" : "interrupted by nobody: " + zrk::messageOf(fault);
        }
        if (fault.place.empty() || fault.found.empty() || fault.expected.empty() || fault.remedy.empty()) {
            return "a message that lacks a part: " + zrk::messageOf(fault);
        }
        for (const unsigned char c : zrk::messageOf(fault)) {
            if ((c < 0x20 && c != '\n') || c == 0x7f) {
                return "a control character in a message";
            }
        }
        return "";
    }

    static bool isSame(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

    /// How many outputs were sampled, none or one.
    static std::size_t sample(const zrk::Result<zrkmodel::OutputField>& output, const TimeLimit& limit,
                              std::string& wrong)
    {
        if (!output) {
            wrong = wrongInFault(output.error(), limit);
            return 0;
        }
        const auto sampled =
            zrk::attempt("sampling", [&] { wrong = wrongInSamples(output->field, output->tag.components); });
        if (!sampled) {
            wrong = wrongInFault(sampled.error(), limit);
        }
        return sampled ? 1 : 0;
    }

    static std::string wrongInSamples(const zrk::IField& field, std::size_t components)
    {
        const std::array<double, kPositions> x{0.0, 0.25, -1.0, 1e6};
        const std::array<double, kPositions> y{0.0, 0.5, 2.0, -1e-3};
        const std::array<double, kPositions> z{0.0, 0.75, 0.5, 3.0};
        std::array<std::array<double, kPositions>, 4> values{};
        std::array<double, kPositions> weights{};
        const zrk::PreparedField prepared(field);
        zrk::RecordArrays records;
        for (std::size_t c = 0; c < components && c < values.size(); ++c) {
            records.components[c] = values[c].data();
        }
        records.weights = weights.data();
        prepared.evaluate({x.data(), y.data(), z.data(), kPositions}, records);

        std::vector<zrk::Tensor<3, double>> positions;
        for (std::size_t i = 0; i < kPositions; ++i) {
            positions.push_back({x[i], y[i], z[i]});
        }
        zrk::FieldSampler sampler(field.generator(), std::make_shared<zrk::PointListDomain>(positions));
        sampler.run();
        const auto& run = *sampler.targetNode.sampleBuffer;
        for (std::size_t i = 0; i < kPositions; ++i) {
            for (std::size_t c = 0; c < components && c < values.size(); ++c) {
                if (!isSame(values[c][i], run.record(i)[c])) {
                    return "a prepared field gives another value than a run";
                }
            }
            const auto bounds = prepared.bounds(
                {zrk::Interval<double>(x[i]), zrk::Interval<double>(y[i]), zrk::Interval<double>(z[i])});
            for (std::size_t c = 0; c < bounds.components.size() && c < components; ++c) {
                const auto& bound = bounds.components[c];
                const double value = values[c][i];
                if (!(value >= bound.lower && value <= bound.upper) &&
                    !(std::isnan(value) && std::isinf(bound.lower) && std::isinf(bound.upper))) {
                    return "a value beyond its bounds";
                }
            }
        }
        return "";
    }

    std::string wrongInSaving(const zrkmodel::GraphDocument& document, const TimeLimit& limit) const
    {
        const std::string saved = document.toText();
        const auto again = read(saved);
        if (!again) {
            const std::string wrong = wrongInFault(again.error(), limit);
            return wrong.empty() && !limit.isReached()
                       ? "refused what was saved: " + zrk::messageOf(again.error())
                       : wrong;
        }
        return again->toText() == saved ? "" : "saved again, it has other bytes";
    }
};

} // namespace zrktest

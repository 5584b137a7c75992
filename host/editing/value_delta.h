#pragma once

#include "model/json.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zrkmodel {

class ZRKGraphObject;

/// What became of the value under one key. Of an array only the elements that differ are kept.
struct ValueDelta {
    static constexpr std::size_t kWhole = static_cast<std::size_t>(-1);

    std::string key;
    std::size_t at = kWhole; ///< the first element that differs; kWhole where the value is kept whole
    ZRKJson before;          ///< the value, or an array of elements; discarded where there was none
    ZRKJson after;
};

/// All that a component can be given under a name: its stored form, and the properties that aren't stored.
ZRKJson valuesOf(const ZRKGraphObject& object);

/// Whether two values are the same bits: NaN is the same as NaN, and -0 isn't the same as 0.
bool isSameValue(const ZRKJson& a, const ZRKJson& b);

/// What has to change in one object of values to have the other.
std::vector<ValueDelta> difference(const ZRKJson& before, const ZRKJson& after);

/// Makes the values before the change those after it, or the other way round.
void apply(const ValueDelta& delta, bool forward, ZRKJson& values);

/// Whether a text, a uuid, stands anywhere within a value. Case makes no difference.
bool mentions(const ZRKJson& value, const std::string& uuid);

/// Replaces a text wherever it stands within a value.
void replaceText(ZRKJson& value, const std::string& text, const std::string& by);

} // namespace zrkmodel

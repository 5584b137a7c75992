#pragma once

#include "core/curves/point_interpolator.h"
#include "model/property.h"
#include "model/value_serializer.h"

namespace zrkmodel {

/// A curve as an array of points, each an array [key, value, kind].
///
/// Reading replaces the curve, and by an empty one where nothing is stored. It ends with false at the first
/// point that is cut short, holds something other than numbers or is of an unknown kind; the points before it
/// are kept. The fraction of a kind's number is cut off.
template <>
struct ZRKValueSerializer<ScalarCurve> {
    static void write(ZRKSerialization& s, const ScalarCurve& curve, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, ScalarCurve& curve, const ZRKSerializationPos& pos);
};

template <>
struct ZRKValueName<ScalarCurve> {
    static constexpr const char* text = "curve";
};

} // namespace zrkmodel

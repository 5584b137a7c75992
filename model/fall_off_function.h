#pragma once

#include "core/curves/fall_off_curve.h"
#include "model/property.h"
#include "model/value_serializer.h"

namespace zrkmodel {

/// The fall-off that users edit, and a property's value. Called with a double, or inside a formula
/// with the formula's value type.
using ZRKFallOffFunction = zrk::FallOff;

/// An object {"start": -0.5, "end": 0.5, "curve": "linear"}, where curve may also be "smooth"
/// or "gauss". A member that is missing or refused stays as it was; refused ones make the answer false.
template <>
struct ZRKValueSerializer<ZRKFallOffFunction> {
    static void write(ZRKSerialization& s, const ZRKFallOffFunction& value, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, ZRKFallOffFunction& value, const ZRKSerializationPos& pos);
};

template <>
struct ZRKValueName<ZRKFallOffFunction> {
    static constexpr const char* text = "falloff";
};

} // namespace zrkmodel

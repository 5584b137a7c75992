#pragma once

#include "core/curves/fall_off_curve.h"
#include "core/values/export.h"
#include "model/property.h"
#include "model/value_serializer.h"

namespace zrkmodel {

/// The fall-off that users edit, and a property's value. Called with a double, or inside a formula
/// with the formula's value type.
using ZRKFallOffFunction = zrk::FallOff;

/// The stored form of a fall-off is an object. A member that is missing or refused stays as it was; refused
/// ones make the answer false.
///
/// | falloff | kind   | unit | default  | range | meaning                                                   |
/// |---------|--------|------|----------|-------|-----------------------------------------------------------|
/// | start   | double | mu   | -0.5     |       | distance up to which the density is 1                     |
/// | end     | double | mu   | 0.5      |       | distance from which it is 0; where start isn't below end, |
/// |         |        |      |          |       | a step at start                                           |
/// | curve   | string |      | "linear" |       | the form between them                                     |
///
/// | falloff.curve | name | meaning                                     |
/// |---------------|------|---------------------------------------------|
/// | "linear"      |      | a straight line                             |
/// | "smooth"      |      | flat at both ends                           |
/// | "gauss"       |      | flat at the start, and nearly so at the end |
template <>
struct ZRK_API ZRKValueSerializer<ZRKFallOffFunction> {
    static void write(ZRKSerialization& s, const ZRKFallOffFunction& value, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, ZRKFallOffFunction& value, const ZRKSerializationPos& pos);
};

template <>
struct ZRKValueName<ZRKFallOffFunction> {
    static constexpr const char* text = "falloff";
};

} // namespace zrkmodel

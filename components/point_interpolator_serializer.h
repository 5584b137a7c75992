#pragma once

#include "core/curves/point_interpolator.h"
#include "core/values/export.h"
#include "model/property.h"
#include "model/value_serializer.h"

namespace zrkmodel {

/// The stored form of a curve is an array of key points, each an array [key, value, kind].
///
/// | curve[] | kind   | unit | default | range | meaning                                             |
/// |---------|--------|------|---------|-------|-----------------------------------------------------|
/// | 0       | double |      |         |       | the place of the key point                          |
/// | 1       | double |      |         |       | the value there; outside the keys the curve is flat |
/// | 2       | int    |      |         |       | the form from this point to the next                |
///
/// | curve[].2 | name    | meaning                                          |
/// |-----------|---------|--------------------------------------------------|
/// | 0         | linear  | a straight line                                  |
/// | 1         | nearest | the value of the closer point                    |
/// | 2         | cubic   | flat at both points                              |
/// | 3         | smooth  | a curve whose slopes follow the points around it |
///
/// Reading replaces the curve, and by an empty one where nothing is stored. It ends with false at the first
/// point that is cut short, holds something other than numbers or is of an unknown kind; the points before it
/// are kept. The fraction of a kind's number is cut off.
template <>
struct ZRK_API ZRKValueSerializer<ScalarCurve> {
    static void write(ZRKSerialization& s, const ScalarCurve& curve, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, ScalarCurve& curve, const ZRKSerializationPos& pos);
};

template <>
struct ZRKValueName<ScalarCurve> {
    static constexpr const char* text = "curve";
};

} // namespace zrkmodel

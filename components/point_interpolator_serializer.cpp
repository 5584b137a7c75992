#include "components/point_interpolator_serializer.h"

namespace zrkmodel {

namespace {

/// Reads the three entries of the current array.
bool readEntries(const ZRKDeserialization& d, ScalarCurve::Point& point)
{
    int kind = 0;
    if (!ZRKValueSerializer<double>::read(d, point.key, 0) ||
        !ZRKValueSerializer<double>::read(d, point.value, 1) || !ZRKValueSerializer<int>::read(d, kind, 2)) {
        return false;
    }
    const auto& kinds = InterpolationFunction<double>::kinds();
    if (kind < 0 || kind >= static_cast<int>(kinds.size())) {
        d.refuse(2, std::to_string(kind), "kind of curve, 0 to " + std::to_string(kinds.size() - 1),
                 "this point and those after it are left out of account");
        return false;
    }
    point.function = kinds[static_cast<std::size_t>(kind)];
    return true;
}

bool readPoint(const ZRKDeserialization& d, ScalarCurve::Point& point, int index)
{
    if (!d.beginArray(index)) {
        return false;
    }
    const bool isShort = d.currentSize() < 3;
    const bool complete = !isShort && readEntries(d, point);
    d.end();
    if (isShort) {
        d.refuse(index, "array of 3: key, value, kind of curve");
    }
    return complete;
}

} // namespace

void ZRKValueSerializer<ScalarCurve>::write(ZRKSerialization& s, const ScalarCurve& curve,
                                            const ZRKSerializationPos& pos)
{
    s.beginArray(pos);
    for (const ScalarCurve::Point& point : curve.points) {
        s.beginArray({});
        s.write(point.key, {});
        s.write(point.value, {});
        s.write(point.function.kind, {});
        s.end();
    }
    s.end();
}

bool ZRKValueSerializer<ScalarCurve>::read(const ZRKDeserialization& d, ScalarCurve& curve,
                                           const ZRKSerializationPos& pos)
{
    curve.clear();
    if (!d.beginArray(pos)) {
        return false;
    }
    const int count = static_cast<int>(d.currentSize());
    int taken = 0;
    for (ScalarCurve::Point point; taken < count && readPoint(d, point, taken); ++taken) {
        point.ordinal = curve.nextOrdinal++;
        curve.points.push_back(point);
    }
    d.end();
    curve.sort();
    return taken == count;
}

} // namespace zrkmodel

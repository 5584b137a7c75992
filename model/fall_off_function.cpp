#include "model/fall_off_function.h"

#include <algorithm>
#include <iterator>

namespace zrkmodel {

namespace {

/// In the order of zrk::FallOffCurve.
constexpr const char* kCurveNames[] = {"linear", "smooth", "gauss"};

/// Whether the member was taken or isn't there.
bool readNumber(const ZRKDeserialization& d, double& value, const char* key)
{
    return ZRKValueSerializer<double>::read(d, value, key) || !d.at(key);
}

bool readCurve(const ZRKDeserialization& d, zrk::FallOffCurve& curve, const char* key)
{
    const ZRKJson* stored = d.at(key);
    if (!stored) {
        return true;
    }
    const auto* name = std::find(std::begin(kCurveNames), std::end(kCurveNames), *stored);
    if (name == std::end(kCurveNames)) {
        d.refuse(key, stored->is_string() ? stored->dump() : describeKind(*stored),
                 R"(one of "linear" "smooth" "gauss")");
        return false;
    }
    curve = static_cast<zrk::FallOffCurve>(name - kCurveNames);
    return true;
}

} // namespace

void ZRKValueSerializer<ZRKFallOffFunction>::write(ZRKSerialization& s, const ZRKFallOffFunction& value,
                                                   const ZRKSerializationPos& pos)
{
    s.beginObject(pos);
    s.write(value.start, "start");
    s.write(value.end, "end");
    s.write(kCurveNames[static_cast<std::size_t>(value.curve)], "curve");
    s.end();
}

bool ZRKValueSerializer<ZRKFallOffFunction>::read(const ZRKDeserialization& d, ZRKFallOffFunction& value,
                                                  const ZRKSerializationPos& pos)
{
    if (!d.beginObject(pos)) {
        return false;
    }
    const bool start = readNumber(d, value.start, "start");
    const bool end = readNumber(d, value.end, "end");
    const bool curve = readCurve(d, value.curve, "curve");
    d.end();
    return start && end && curve;
}

} // namespace zrkmodel

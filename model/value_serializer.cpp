#include "model/value_serializer.h"

#include <cmath>
#include <limits>

namespace zrkmodel {

namespace {

constexpr int kMin = std::numeric_limits<int>::min();
constexpr int kMax = std::numeric_limits<int>::max();

template <class Number>
int clampToInt(Number number)
{
    return number <= static_cast<Number>(kMin)   ? kMin
           : number >= static_cast<Number>(kMax) ? kMax
                                                 : static_cast<int>(number);
}

int toInt(const ZRKJson& number)
{
    if (number.is_number_unsigned()) {
        const auto value = number.get<std::uint64_t>();
        return value >= static_cast<std::uint64_t>(kMax) ? kMax : static_cast<int>(value);
    }
    return number.is_number_float() ? clampToInt(number.get<double>())
                                    : clampToInt(number.get<std::int64_t>());
}

} // namespace

void ZRKValueSerializer<double>::write(ZRKSerialization& s, double value, const ZRKSerializationPos& pos)
{
    s.write(value, pos);
}

bool ZRKValueSerializer<double>::read(const ZRKDeserialization& d, double& value,
                                      const ZRKSerializationPos& pos)
{
    const ZRKJson* stored = d.at(pos);
    if (!stored) {
        return false;
    }
    if (!stored->is_number()) {
        d.refuse(pos, "number");
        return false;
    }
    value = stored->get<double>();
    return true;
}

void ZRKValueSerializer<int>::write(ZRKSerialization& s, int value, const ZRKSerializationPos& pos)
{
    s.write(value, pos);
}

bool ZRKValueSerializer<int>::read(const ZRKDeserialization& d, int& value, const ZRKSerializationPos& pos)
{
    const ZRKJson* stored = d.at(pos);
    if (!stored) {
        return false;
    }
    if (!stored->is_number() || (stored->is_number_float() && std::isnan(stored->get<double>()))) {
        d.refuse(pos, "number");
        return false;
    }
    value = toInt(*stored);
    if (stored->get<double>() != value) {
        d.refuse(pos, stored->dump(), "whole number that fits 32 bits",
                 "it is read as " + std::to_string(value));
    }
    return true;
}

void ZRKValueSerializer<bool>::write(ZRKSerialization& s, bool value, const ZRKSerializationPos& pos)
{
    s.write(value, pos);
}

bool ZRKValueSerializer<bool>::read(const ZRKDeserialization& d, bool& value, const ZRKSerializationPos& pos)
{
    const ZRKJson* stored = d.at(pos);
    if (!stored) {
        return false;
    }
    if (!stored->is_boolean()) {
        d.refuse(pos, "boolean");
        return false;
    }
    value = stored->get<bool>();
    return true;
}

void ZRKValueSerializer<std::string>::write(ZRKSerialization& s, const std::string& value,
                                            const ZRKSerializationPos& pos)
{
    s.write(value, pos);
}

bool ZRKValueSerializer<std::string>::read(const ZRKDeserialization& d, std::string& value,
                                           const ZRKSerializationPos& pos)
{
    const ZRKJson* stored = d.at(pos);
    if (!stored) {
        return false;
    }
    if (!stored->is_string()) {
        d.refuse(pos, "string");
    }
    value = stored->get<std::string>(); // throws type_error 302 for another kind
    return true;
}

void writeNumbers(ZRKSerialization& s, const double* values, std::size_t count,
                  const ZRKSerializationPos& pos)
{
    ZRKJson array = ZRKJson::array();
    for (std::size_t i = 0; i < count; ++i) {
        array.push_back(values[i]);
    }
    s.write(std::move(array), pos);
}

bool readNumbers(const ZRKDeserialization& d, double* values, std::size_t count,
                 const ZRKSerializationPos& pos)
{
    const ZRKJson* stored = d.at(pos);
    if (!stored) {
        return false;
    }
    const std::string expected = "array of " + std::to_string(count) + " numbers";
    if (!stored->is_array() || stored->size() != count) {
        d.refuse(pos, expected);
        return false;
    }
    bool complete = true;
    for (std::size_t i = 0; i < count; ++i) {
        const ZRKJson& element = (*stored)[i];
        if (element.is_number()) {
            values[i] = element.get<double>();
        } else {
            d.refuse(pos, describeKind(element) + " as element " + std::to_string(i), expected,
                     "the other elements count");
            complete = false;
        }
    }
    return complete;
}

} // namespace zrkmodel

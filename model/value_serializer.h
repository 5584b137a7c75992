#pragma once

#include "core/values/export.h"
#include "core/values/tensor.h"
#include "model/serialization.h"

#include <cstdint>
#include <string>
#include <type_traits>

namespace zrkmodel {

/// The stored form of a T. Specialised for each type that documents hold, with
///
///     static void write(ZRKSerialization&, const T&, const ZRKSerializationPos&);
///     static bool read(const ZRKDeserialization&, T&, const ZRKSerializationPos&);
///
/// read answers whether the value was taken; where it is missing or of the wrong kind the
/// target stays as it was. A value that is present and refused is reported to the
/// deserialization's diagnostics.
template <class T>
struct ZRKValueSerializer;

/// A number. NaN and infinities are held in the JSON value, but print as null.
template <>
struct ZRK_API ZRKValueSerializer<double> {
    static void write(ZRKSerialization& s, double value, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, double& value, const ZRKSerializationPos& pos);
};

/// An integer. Reading cuts a fraction off towards zero and takes a number outside the
/// range of int as the nearest one inside; NaN is refused.
template <>
struct ZRK_API ZRKValueSerializer<int> {
    static void write(ZRKSerialization& s, int value, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, int& value, const ZRKSerializationPos& pos);
};

/// A boolean, nothing else.
template <>
struct ZRK_API ZRKValueSerializer<bool> {
    static void write(ZRKSerialization& s, bool value, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, bool& value, const ZRKSerializationPos& pos);
};

/// A string. Reading a value of another kind throws nlohmann's type_error 302 and leaves the target as it
/// was.
template <>
struct ZRK_API ZRKValueSerializer<std::string> {
    static void write(ZRKSerialization& s, const std::string& value, const ZRKSerializationPos& pos);
    static bool read(const ZRKDeserialization& d, std::string& value, const ZRKSerializationPos& pos);
};

/// An enum as its plain integer. Numbers that name no enumerator are taken as they are.
template <class T>
requires std::is_enum_v<T>
struct ZRKValueSerializer<T> {
    static void write(ZRKSerialization& s, T value, const ZRKSerializationPos& pos)
    {
        ZRKValueSerializer<int>::write(s, static_cast<int>(value), pos);
    }
    static bool read(const ZRKDeserialization& d, T& value, const ZRKSerializationPos& pos)
    {
        int number = 0;
        if (!ZRKValueSerializer<int>::read(d, number, pos)) {
            return false;
        }
        value = static_cast<T>(number);
        return true;
    }
};

/// @{ Doubles as an array of exactly `count` numbers; see the tensor's serializer.
ZRK_API void writeNumbers(ZRKSerialization& s, const double* values, std::size_t count,
                          const ZRKSerializationPos& pos);
ZRK_API bool readNumbers(const ZRKDeserialization& d, double* values, std::size_t count,
                         const ZRKSerializationPos& pos);
/// @}

/// An array of numbers in storage order. An array of another length is refused whole; an
/// element that isn't a number stays as it was and makes the answer false, while the other
/// elements are stored.
template <std::uint32_t N>
struct ZRKValueSerializer<zrk::Tensor<N, double>> {
    using Tensor = zrk::Tensor<N, double>;
    static void write(ZRKSerialization& s, const Tensor& value, const ZRKSerializationPos& pos)
    {
        writeNumbers(s, value.begin(), Tensor::count, pos);
    }
    static bool read(const ZRKDeserialization& d, Tensor& value, const ZRKSerializationPos& pos)
    {
        return readNumbers(d, value.begin(), Tensor::count, pos);
    }
};

} // namespace zrkmodel

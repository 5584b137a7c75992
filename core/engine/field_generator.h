#pragma once

#include "core/engine/field_property.h"
#include "core/engine/kernel.h"
#include "core/values/export.h"
#include "core/values/tensor.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace zrk {

class IFieldGenerator;
template <class T>
class EvaluatorBuilder;

/// What a generator class says of itself.
struct FieldTypeDescriptor {
    std::uint32_t outputShape = 0; ///< tensor code of the value
    std::uint32_t inputShape = 0;  ///< tensor code of the position
    std::string name;
    std::function<std::shared_ptr<IFieldGenerator>()> factory; ///< makes a default instance
};

/// What tells fields apart within one build: two generators of the same identity under the
/// same coordinates give the same values, so they become one node.
struct FieldIdentity {
    const void* object = nullptr;
    std::uint32_t output = 0;
    friend auto operator<=>(const FieldIdentity&, const FieldIdentity&) = default;
};

/// Makes the chain of one field. Asked on the preparing thread only.
class ZRK_API IFieldGenerator {
public:
    virtual ~IFieldGenerator() = default;

    /// Sets the closure of the builder's current node and adds its inputs; the base does nothing.
    virtual void build(EvaluatorBuilder<double>& builder);
    virtual const FieldTypeDescriptor& descriptor() const = 0;
    /// A new instance with the same property values. An empty factory raises std::bad_function_call.
    virtual std::shared_ptr<IFieldGenerator> clone(bool deep) const;
    virtual void forEachProperty(void* argument) { properties.forEachProperty(argument); }
    /// By default every instance is a field of its own.
    virtual FieldIdentity identity() const { return {this, 0}; }

    FieldProperties properties;
};

/// A field of O components over I coordinates.
template <std::uint32_t O, std::uint32_t I>
class FieldGenerator : public IFieldGenerator {};

/// A field as a value: a shared generator, or nothing.
class IField {
public:
    IField() = default;
    explicit IField(std::shared_ptr<IFieldGenerator> generator) : _generator(std::move(generator)) {}

    const std::shared_ptr<IFieldGenerator>& generator() const { return _generator; }
    explicit operator bool() const { return _generator != nullptr; }

private:
    std::shared_ptr<IFieldGenerator> _generator;
};

/// A field of known shape; empty when made from a generator of another shape.
template <std::uint32_t O, std::uint32_t I>
class Field : public IField {
public:
    Field() = default;
    explicit Field(const std::shared_ptr<IFieldGenerator>& generator)
        : IField(std::dynamic_pointer_cast<FieldGenerator<O, I>>(generator))
    {}
    explicit Field(const IField& field) : Field(field.generator()) {}
};

template <std::uint32_t N>
class PassThroughField;
template <std::uint32_t O, std::uint32_t I>
class SolidField;

/// The closure that hands on the positions that its node is asked at, weight included.
ZRK_API const Evaluation& passThrough();

/// The position itself, weight included.
template <>
class ZRK_API PassThroughField<3> final : public FieldGenerator<3, 3> {
public:
    void build(EvaluatorBuilder<double>& builder) override;
    const FieldTypeDescriptor& descriptor() const override;
    FieldIdentity identity() const override { return {&descriptor(), 0}; }
};

/// One number everywhere, with the weight of the position.
template <>
class ZRK_API SolidField<1, 3> final : public FieldGenerator<1, 3> {
public:
    FieldProperty<Tensor<1, double>> fillValue{properties, "fillValue", Tensor<1, double>{0.0}};

    SolidField() = default;
    explicit SolidField(double value) { fillValue.set({value}); }

    void build(EvaluatorBuilder<double>& builder) override;
    const FieldTypeDescriptor& descriptor() const override;
};

} // namespace zrk

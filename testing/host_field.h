#pragma once

#include "core/engine/evaluator_builder.h"
#include "core/engine/field_generator.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace zrk::chains {

/// A generator made of a function, for tests of what only the generator of a host can do.
class HostField final : public IFieldGenerator {
public:
    using Body = std::function<void(EvaluatorBuilder<double>&)>;

    std::vector<IField> keep; ///< fields that live as long as this one

    HostField(std::uint32_t shape, Body body) : _descriptor{shape, 3, "host", {}}, _body(std::move(body)) {}
    void build(EvaluatorBuilder<double>& builder) override { _body(builder); }
    const FieldTypeDescriptor& descriptor() const override { return _descriptor; }

private:
    FieldTypeDescriptor _descriptor;
    Body _body;
};

inline IField host(std::uint32_t shape, HostField::Body body)
{
    return IField(std::make_shared<HostField>(shape, std::move(body)));
}

} // namespace zrk::chains

#pragma once

#include "components/operators/binary_operation_table.h"
#include "model/component.h"
#include "model/property.h"

#include <string>
#include <vector>

namespace zrkmodel {

/// Combines two fields of one data type, component by component: scalars, vectors or colours.
///
/// | property  | unit | default | effect                                                            |
/// |-----------|------|---------|-------------------------------------------------------------------|
/// | strengthA |      | 1.0     | factor of the components of a, not of its weight; 0 drops a       |
/// | strengthB |      | 1.0     | the same for b                                                    |
///
/// | op_name  | symbol | equal weights     | weights wa and wb                              |
/// |----------|--------|-------------------|------------------------------------------------|
/// | add      | +      | a + b             | (wa a + wb b) * 2 / (wa + wb)                  |
/// | subtract | -      | a - b             | (wa a - wb b) * 2 / (wa + wb)                  |
/// | multiply | x      | a * b             | pow(pow(a, wa) * pow(b, wb), 1 / (wa + wb))    |
/// | blend    |        | (1 - t) a + t b   | ((1 - t) wa a + t wb b) * 2 / (wa + wb)        |
/// | minimum  | min    | a > b ? b : a     | the same                                       |
/// | maximum  | max    | a > b ? a : b     | the same                                       |
///
/// The weight is the larger of the two. t is "blend factor", the first of "op_params" (four numbers,
/// 0.5 by default). Inputs of different types, or one that isn't connected, give a field that
/// nothing writes, and so does an unknown or missing "op_name", which is stored as "noop".
///
/// A sphere cut off by a plane:
///
///     {"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF"}, {"id": 2, "type": "PlaneSDF"},
///                {"id": 3, "type": "BinaryOperator", "values": {"op_name": "maximum"}}],
///      "links": [{"from": [1, 0], "to": [3, 0]}, {"from": [2, 0], "to": [3, 1]}],
///      "output": [3, 0]}
class ZRKBinaryOperator final : public ZRKComponent<ZRKBinaryOperator> {
public:
    ZRKProperty<double> strengthA{"strengthA", 1.0, this};
    ZRKProperty<double> strengthB{"strengthB", 1.0, this};

    ZRKBinaryOperator();
    /// The operation comes along; property values start from their defaults.
    ZRKBinaryOperator(const ZRKBinaryOperator& other);
    ZRKBinaryOperator& operator=(const ZRKBinaryOperator&) = default;

    static ComponentIdentity identity();
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override;
    /// The tag of both inputs where they agree, else None.
    Tag queryEffectiveOutputPinTag(const Pin_ref<1>& pin) override;
    void onUpdateGraphItem(zrkui::ZRKExtensionBaseGraphItem* item,
                           const ZRKNodeBase<0, ZRKGraphObject>& node) const override;
    void onSerialize(ZRKSerialization& s) const override;
    /// Throws nlohmann's type_error 302 for an "op_name" that is no string and for one of four
    /// "op_params" that is no number.
    void onDeserialize(const ZRKDeserialization& d) override;
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>& pin, const ZRKContext& context) const override;

    const BinaryOperation& operation() const { return _operation; }
    /// What there is to choose from, in the order of lists.
    static std::vector<std::string> operationNames();
    /// The operation's place in this list; -1 for no operation.
    int operationIndex() const;
    /// Takes the i-th of the list, its parameters at their defaults, and emits "op".
    /// Does nothing for an index out of range.
    void selectOperation(int index);
    /// Sets the operation's i-th parameter and emits "op". Does nothing where it has none.
    void setParameter(int index, double value);

private:
    BinaryOperation _operation;

    void readOperation(const ZRKDeserialization& d);
    void readParameters(const ZRKDeserialization& d);
};

} // namespace zrkmodel

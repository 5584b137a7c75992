#pragma once

#include "components/operators/binary_operation_table.h"
#include "core/values/export.h"
#include "model/component.h"
#include "model/property.h"

#include <string>
#include <vector>

namespace zrkmodel {

/// Combines two fields: sum, difference, product, minimum, maximum or blend. Both have one data type,
/// scalars, vectors or colours, and are combined component by component.
///
/// | property  | kind   | unit | default | range | meaning                                                  |
/// |-----------|--------|------|---------|-------|----------------------------------------------------------|
/// | strengthA | double |      | 1.0     |       | factor of the components of a, not of its weight; 0      |
/// |           |        |      |         |       | drops a                                                  |
/// | strengthB | double |      | 1.0     |       | the same for b                                           |
///
/// | stored key | kind    | unit | default      | range  | meaning                                          |
/// |------------|---------|------|--------------|--------|--------------------------------------------------|
/// | op_name    | string  |      | "add"        |        | the operation; a document that lacks it, or      |
/// |            |         |      |              |        | names another one, has "noop", which writes      |
/// |            |         |      |              |        | nothing                                          |
/// | op_params  | vector4 |      | [0, 0, 0, 0] | 0 to 1 | parameters of the operation; the first one is    |
/// |            |         |      |              |        | the factor t of "blend", 0.5 where the key is    |
/// |            |         |      |              |        | missing                                          |
///
/// | op_name    | name           | meaning                                                                |
/// |------------|----------------|------------------------------------------------------------------------|
/// | "add"      | addition       | a + b                                                                  |
/// | "subtract" | subtraction    | a - b                                                                  |
/// | "multiply" | multiplication | a * b                                                                  |
/// | "blend"    | blend          | (1 - t) a + t b                                                        |
/// | "minimum"  | minimum        | the smaller one: of distances the union, of densities the intersection |
/// | "maximum"  | maximum        | the larger one: of distances the intersection, of densities the union  |
///
/// | input | unit | meaning                  |
/// |-------|------|--------------------------|
/// | a     |      | a field of any type      |
/// | b     |      | a field of the same type |
///
/// | output | unit    | meaning                                                                             |
/// |--------|---------|-------------------------------------------------------------------------------------|
/// | a<>b   | input's | the combination, with the larger of both weights; nothing is written where an input |
/// |        |         | isn't connected or the types differ                                                 |
///
/// Formula: With the weights wa and wb, which are equal as a rule:
///
///     add        (wa a + wb b) * 2 / (wa + wb)
///     subtract   (wa a - wb b) * 2 / (wa + wb)
///     multiply   a * b with equal weights, else pow(pow(a, wa) * pow(b, wb), 1 / (wa + wb))
///     blend      ((1 - t) wa a + t wb b) * 2 / (wa + wb)
///     minimum    a > b ? b : a
///     maximum    a > b ? a : b
///
/// Example: A sphere cut off by a plane.
///
///     {"zrkGraph": 1, "context": {"modelBounds": [[-1.2, -1.2, -1.2], [1.2, 1.2, 1.2]]},
///      "nodes": [{"id": 1, "type": "SphereSDF"}, {"id": 2, "type": "PlaneSDF"},
///                {"id": 3, "type": "BinaryOperator", "values": {"op_name": "maximum"}}],
///      "links": [{"from": [1, 0], "to": [3, 0]}, {"from": [2, 0], "to": [3, 1]}],
///      "output": [3, 0]}
class ZRK_API ZRKBinaryOperator final : public ZRKComponent<ZRKBinaryOperator> {
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

#pragma once

#include "model/extension_base.h"
#include "model/tag.h"
#include "python/src/running.h"

#include <string>
#include <vector>

namespace zrkpython {

/// A function of Python as a component. It is called with the positions of up to 1024 samples, an array of
/// shape (n, 3), and the values of further inputs, each of shape (n,) or (n, components); it returns an array
/// of shape (n,) or (n, components) of the output. Weights are those of `coords`.
class PythonFunction final : public zrkmodel::ZRKExtensionBase {
public:
    PythonFunction(py::object function, zrkmodel::Tag tag, std::size_t inputCount);

    const py::object& function() const { return _function.get(); }

    void onAddedToGraph(const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const zrkmodel::Pin_ref<1>& pin,
                                       const zrkmodel::ZRKContext& context) const override;
    const zrkmodel::ZRKTypeInfo& typeInfo() const override;

private:
    SharedObject _function;
    zrkmodel::Tag _tag;
    std::size_t _inputCount;
};

} // namespace zrkpython

#include "python/src/function_node.h"

#include "core/engine/evaluation_context.h"
#include "core/engine/kernel.h"
#include "core/values/fault.h"
#include "model/pins.h"
#include "model/type_info.h"

#include <fmt/core.h>
#include <pybind11/numpy.h>

#include <algorithm>
#include <array>

namespace zrkpython {

namespace {

/// Copies values of one sample after the other into or out of an array of shape (n,) or (n, components).
py::array_t<double> newArray(std::size_t count, std::size_t components)
{
    const auto n = static_cast<py::ssize_t>(count);
    return components == 1
               ? py::array_t<double>(n)
               : py::array_t<double>(std::vector<py::ssize_t>{n, static_cast<py::ssize_t>(components)});
}

class FunctionKernel final : public zrk::Kernel {
public:
    FunctionKernel(SharedObject function, std::vector<std::size_t> inputs, std::size_t components)
        : _function(std::move(function)), _inputs(std::move(inputs)), _components(components)
    {}

    zrk::KernelReads reads() const override { return {_inputs.size(), false}; }

    void sample(zrk::EvaluationContext& context) const override
    {
        std::vector<std::array<double, zrk::kMaxRecord>> records(_inputs.size());
        for (std::size_t k = 0; k < _inputs.size(); ++k) {
            std::copy_n(context.readInput(k), _inputs[k] + 1, records[k].begin());
        }
        const double weight = records[0][_inputs[0]];
        const py::gil_scoped_acquire gil;
        py::tuple arguments(_inputs.size());
        for (std::size_t k = 0; k < _inputs.size(); ++k) {
            auto values = newArray(1, _inputs[k]);
            std::copy_n(records[k].begin(), _inputs[k], values.mutable_data());
            arguments[k] = values;
        }
        const py::array_t<double> values = call(arguments, 1);
        const double* v = values.data();
        if (_components == 1) {
            context.writeOutput(v[0], weight);
        } else if (_components == 3) {
            context.writeOutput(zrk::Tensor<3, double>{v[0], v[1], v[2]}, weight);
        } else {
            context.writeOutput(zrk::Tensor<4, double>{v[0], v[1], v[2], v[3]}, weight);
        }
    }

    void block(zrk::BlockRun& run) const override
    {
        const std::size_t count = run.sampleCount();
        std::array<double*, 4> rows{};
        for (std::size_t c = 0; c < _components; ++c) {
            rows[c] = run.output(c);
        }
        run.forwardWeights(run.input(0));
        const py::gil_scoped_acquire gil;
        py::tuple arguments(_inputs.size());
        for (std::size_t k = 0; k < _inputs.size(); ++k) {
            auto values = newArray(count, _inputs[k]);
            double* const to = values.mutable_data();
            for (std::size_t c = 0; c < _inputs[k]; ++c) {
                const double* const row = run.input(k).row(c);
                for (std::size_t i = 0; i < count; ++i) {
                    to[i * _inputs[k] + c] = row[i];
                }
            }
            arguments[k] = values;
        }
        const py::array_t<double> values = call(arguments, count);
        const double* const from = values.data();
        for (std::size_t c = 0; c < _components; ++c) {
            for (std::size_t i = 0; i < count; ++i) {
                rows[c][i] = from[i * _components + c];
            }
        }
    }

private:
    SharedObject _function;
    std::vector<std::size_t> _inputs; ///< components of each
    std::size_t _components;

    /// The values that the function returns, `count` times `components`. The GIL is held.
    py::array_t<double> call(const py::tuple& arguments, std::size_t count) const
    {
        try {
            const InsideWork inside;
            const py::object result = _function.get()(*arguments);
            if (PyErr_CheckSignals() != 0) {
                throw py::error_already_set();
            }
            using Values = py::array_t<double, py::array::c_style | py::array::forcecast>;
            const py::array any = py::array::ensure(result);
            const auto n = static_cast<py::ssize_t>(count);
            const auto components = static_cast<py::ssize_t>(_components);
            const char kind = any ? any.dtype().kind() : 'O';
            const bool isNumeric = kind == 'f' || kind == 'i' || kind == 'u' || kind == 'b';
            const bool isFit =
                isNumeric &&
                (components == 1 ? (any.ndim() == 1 && any.shape(0) == n) ||
                                       (any.ndim() == 2 && any.shape(0) == n && any.shape(1) == 1)
                                 : any.ndim() == 2 && any.shape(0) == n && any.shape(1) == components);
            if (!isFit) {
                refuse(result, any, count);
            }
            return Values::ensure(any);
        } catch (py::error_already_set& error) {
            throw PythonFailure(error);
        }
    }

    [[noreturn]] void refuse(const py::object& result, const py::array& any, std::size_t count) const
    {
        const std::string type = py::str(py::type::handle_of(result).attr("__name__")).cast<std::string>();
        const std::string found =
            any && any.dtype().kind() != 'O'
                ? fmt::format("{} of shape {} and type {}", type,
                              py::str(py::object(any.attr("shape"))).cast<std::string>(),
                              py::str(any.dtype()).cast<std::string>())
                : "an object of the type " + type;
        throw zrk::FaultError(
            {"own function " + py::str(py::getattr(_function.get(), "__name__", py::str("without a name")))
                                   .cast<std::string>(),
             found,
             _components == 1 ? fmt::format("an array of shape ({},), a number for each position", count)
                              : fmt::format("an array of shape ({}, {})", count, _components),
             "have the function return one value for each row of its points"});
    }
};

} // namespace

PythonFunction::PythonFunction(py::object function, zrkmodel::Tag tag, std::size_t inputCount)
    : _function(std::move(function)), _tag(tag), _inputCount(inputCount)
{}

void PythonFunction::onAddedToGraph(const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>& node)
{
    addCoordinatesPin(node, zrkmodel::Tag::Vector3d, "coords");
    for (std::size_t i = 0; i < _inputCount; ++i) {
        addInputPin(node, zrkmodel::Tag::Any, fmt::format("values{}", i));
    }
    addOutputPin(node, _tag, "value");
}

zrk::Evaluation PythonFunction::getEvaluatorForPin(const zrkmodel::Pin_ref<1>& pin,
                                                   const zrkmodel::ZRKContext&) const
{
    std::vector<std::size_t> components{3};
    for (std::size_t i = 0; i < _inputCount; ++i) {
        const zrkmodel::Tag tag = effectiveTag(inputPin(pin.node, static_cast<int>(i + 1)));
        components.push_back(std::max<std::size_t>(1, tag.components));
    }
    return zrk::Evaluator(
        std::make_shared<FunctionKernel>(_function, std::move(components), _tag.components));
}

const zrkmodel::ZRKTypeInfo& PythonFunction::typeInfo() const
{
    static const zrkmodel::ZRKTypeInfo info{"", "function", {}};
    return info;
}

} // namespace zrkpython

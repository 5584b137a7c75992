#include "python/src/json_values.h"

#include "core/values/fault.h"

#include <cmath>
#include <string>

namespace zrkpython {

using zrkmodel::ZRKJson;

py::object toPython(const ZRKJson& value)
{
    switch (value.type()) {
    case ZRKJson::value_t::object: {
        py::dict members;
        for (const auto& [key, member] : value.items()) {
            members[py::str(key)] = toPython(member);
        }
        return members;
    }
    case ZRKJson::value_t::array: {
        py::list elements;
        for (const ZRKJson& element : value) {
            elements.append(toPython(element));
        }
        return elements;
    }
    case ZRKJson::value_t::string:
        return py::str(value.get_ref<const std::string&>());
    case ZRKJson::value_t::boolean:
        return py::bool_(value.get<bool>());
    case ZRKJson::value_t::number_integer:
        return py::int_(value.get<std::int64_t>());
    case ZRKJson::value_t::number_unsigned:
        return py::int_(value.get<std::uint64_t>());
    case ZRKJson::value_t::number_float:
        return py::float_(value.get<double>());
    default:
        return py::none();
    }
}

namespace {

/// Refuses lists that contain themselves before the stack ends.
struct Level {
    Level()
    {
        if (Py_EnterRecursiveCall(" in a value") != 0) {
            throw py::error_already_set();
        }
    }
    ~Level() { Py_LeaveRecursiveCall(); }
};

/// Documents hold nothing else.
double finiteNumber(py::handle value, const std::string& place)
{
    const double number = PyFloat_AsDouble(value.ptr());
    if (PyErr_Occurred() || !std::isfinite(number)) {
        PyErr_Clear();
        throw zrk::FaultError({place,
                               py::isinstance<py::int_>(value) ? "a whole number beyond all floats"
                                                               : py::repr(value).cast<std::string>(),
                               "a finite number", "give one"});
    }
    return number;
}

std::string text(py::handle value, const std::string& place)
{
    Py_ssize_t size = 0;
    const char* const bytes = PyUnicode_AsUTF8AndSize(value.ptr(), &size);
    if (!bytes) {
        PyErr_Clear();
        throw zrk::FaultError({place, py::repr(value).cast<std::string>(),
                               "a text that can be written as UTF-8", "leave out its half surrogates"});
    }
    return {bytes, static_cast<std::size_t>(size)};
}

} // namespace

ZRKJson fromPython(py::handle value, const std::string& place)
{
    const Level level;
    if (value.is_none()) {
        return nullptr;
    }
    if (py::isinstance<py::bool_>(value)) {
        return value.cast<bool>();
    }
    if (py::isinstance<py::int_>(value)) {
        int overflow = 0;
        const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
        return overflow == 0 ? ZRKJson(number) : ZRKJson(finiteNumber(value, place));
    }
    if (py::isinstance<py::float_>(value)) {
        return finiteNumber(value, place);
    }
    if (py::isinstance<py::str>(value)) {
        return text(value, place);
    }
    if (py::isinstance<py::dict>(value)) {
        ZRKJson members = ZRKJson::object();
        for (const auto& [key, member] : value.cast<py::dict>()) {
            members[text(py::str(key), place)] = fromPython(member, place);
        }
        return members;
    }
    if (py::isinstance<py::list>(value) || py::isinstance<py::tuple>(value)) {
        ZRKJson elements = ZRKJson::array();
        for (const py::handle element : value) {
            elements.push_back(fromPython(element, place));
        }
        return elements;
    }
    if (py::hasattr(value, "tolist")) {
        return fromPython(value.attr("tolist")(), place);
    }
    throw zrk::FaultError(
        {place,
         "a value of the type " + py::str(py::type::handle_of(value).attr("__name__")).cast<std::string>(),
         "a number, a text, a truth value, or a list or dict of such", "convert the value first"});
}

} // namespace zrkpython

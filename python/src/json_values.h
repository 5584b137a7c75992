#pragma once

#include "model/json.h"

#include <pybind11/pybind11.h>

#include <string>

namespace zrkpython {

namespace py = pybind11;

/// A stored value as plain Python: dict, list, str, float, int, bool and None.
py::object toPython(const zrkmodel::ZRKJson& value);

/// A value of Python as it is stored: what `toPython` gives, tuples and NumPy's numbers and arrays too.
/// @param place  where the value stands, for the message.
/// Throws FaultError for anything else.
zrkmodel::ZRKJson fromPython(py::handle value, const std::string& place);

} // namespace zrkpython

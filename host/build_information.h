#pragma once

#include "core/values/export.h"

#include <string>

namespace zrkmodel {

/// The version of all programs and libraries, such as "0.1.0".
ZRK_API const char* version();

/// What a program tells of itself when it is asked for its version, in lines: its name and the version, how
/// it was built, the processor's instructions that it runs on, and the file formats that this build has
/// besides those that all have.
ZRK_API std::string buildInformation(const std::string& program);

} // namespace zrkmodel

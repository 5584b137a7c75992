#pragma once

#include "model/registry.h"

#include <nlohmann/json.hpp>

#include <string>

namespace zrkcli {

/// What `zrk types --json` lists of a type: names, family, signature, title and description.
nlohmann::ordered_json typeJson(const zrkmodel::ZRKGraphObjectRegistration& type);

/// All that is known of a type: typeJson, its pins, and its manual.
nlohmann::ordered_json typeDetailsJson(const zrkmodel::ZRKGraphObjectRegistration& type);

/// The same as text of at most 96 columns, but for lines of code that are longer.
std::string typeDetailsText(const zrkmodel::ZRKGraphObjectRegistration& type);

} // namespace zrkcli

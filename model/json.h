#pragma once

#include <nlohmann/json.hpp>

namespace zrkmodel {

/// JSON whose objects keep their members in the order in which they were written: the stored
/// form of a component has an order, and a document that is opened and saved keeps its own.
using ZRKJson = nlohmann::ordered_json;

} // namespace zrkmodel

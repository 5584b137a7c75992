#pragma once

#include "model/json.h"

#include <cstddef>
#include <string>

namespace zrkmodel {

/// A value of a document as a message shows it, cut short.
std::string shown(const ZRKJson& value);

/// The same of a member of an object, or "none".
std::string shownMember(const ZRKJson& object, const char* key);

/// True for an array of exactly so many numbers.
bool isNumbers(const ZRKJson& value, std::size_t count);

} // namespace zrkmodel

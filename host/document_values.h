#pragma once

#include "core/values/export.h"
#include "model/json.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zrkmodel {

class ZRKGraphObject;

/// A value of a document as a message shows it, cut short.
ZRK_API std::string shown(const ZRKJson& value);

/// The same of a member of an object, or "none".
std::string shownMember(const ZRKJson& object, const char* key);

/// The stored form of a component: its keys with the values that they have now.
ZRK_API ZRKJson storedForm(const ZRKGraphObject& object);

/// A component of the same class with the values of a new one.
ZRK_API std::shared_ptr<ZRKGraphObject> freshTwin(const ZRKGraphObject& object);

/// The keys of an object, in its order.
ZRK_API std::vector<std::string> keysOf(const ZRKJson& object);

/// True for an array of exactly so many numbers.
ZRK_API bool isNumbers(const ZRKJson& value, std::size_t count);

} // namespace zrkmodel

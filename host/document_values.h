#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "model/json.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zrkmodel {

class ZRKGraphObject;
class ZRKPropertyBase;
class ZRKResourceLibrary;
struct ZRKReadIssue;

/// A value of a document as a message shows it, cut short.
ZRK_API std::string shown(const ZRKJson& value);

/// The same of a member of an object, or "none".
std::string shownMember(const ZRKJson& object, const char* key);

/// The stored form of a component: its keys with the values that they have now.
ZRK_API ZRKJson storedForm(const ZRKGraphObject& object);

/// A component of the same class with the values of a new one.
ZRK_API std::shared_ptr<ZRKGraphObject> freshTwin(const ZRKGraphObject& object);

/// The warning of a property whose value isn't among those that the type's manual lists; none for others.
/// Readers take any number of an enum, and any text.
/// @param place  of the value.
ZRK_API std::optional<zrk::Fault> unlistedChoice(const ZRKGraphObject& object, const std::string& key,
                                                 const std::string& place);

/// True for a property that stands for a resource of the document.
ZRK_API bool isResource(const ZRKPropertyBase& property);

/// True for a value that a component takes only where it reads all of its values: one that isn't a property,
/// a resource, and what a raster or a sweep between images is computed from. Others are assigned, so that
/// what was imported or computed stays.
ZRK_API bool isTakenByReading(const ZRKGraphObject& object, const std::string& key);

/// Whether a fresh component of the type, reading these values, would tell this issue too: what was wrong in
/// a document before doesn't keep anybody from changing something else.
ZRK_API bool isIssueOf(const ZRKGraphObject& object, const ZRKJson& values,
                       const std::shared_ptr<ZRKResourceLibrary>& library, const ZRKReadIssue& issue);

/// The stored form with another value, and without what belongs to the former one: the parameters of another
/// operation.
ZRK_API ZRKJson withValue(ZRKJson values, const std::string& key, const ZRKJson& value);

/// Tells the listeners of a component of a value that isn't a property as the component itself does.
ZRK_API void emitValueChange(const ZRKGraphObject& object, const std::string& key);

/// The keys of an object, in its order.
ZRK_API std::vector<std::string> keysOf(const ZRKJson& object);

/// True for an array of exactly so many numbers.
ZRK_API bool isNumbers(const ZRKJson& value, std::size_t count);

} // namespace zrkmodel

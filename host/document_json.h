#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "model/json.h"

#include <string>

namespace zrkmodel {

/// The object that the text of a document holds.
///
/// Refuses broken JSON, anything but one object, more levels of nesting than zrk::kMaxDocumentNesting,
/// numbers beyond the range of a double and an object that has a key twice.
///
/// @param name  of the file, for messages.
ZRK_API zrk::Result<ZRKJson> parseDocumentJson(const std::string& text, const std::string& name);

/// What the JSON library tells of a fault, without its own codes in front.
std::string plainReason(const ZRKJson::exception& error);

} // namespace zrkmodel

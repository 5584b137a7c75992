#pragma once

#include "model/json.h"

#include <string>

namespace zrkmodel {

/// The object that the text of a document holds.
///
/// Throws HostError with status kBadInput for broken JSON, for anything but one object, for more than 200
/// levels of nesting, for numbers beyond the range of a double and for an object that has a key twice.
///
/// @param name  of the file, for messages.
ZRKJson parseDocumentJson(const std::string& text, const std::string& name);

/// What the JSON library tells of a fault, without its own codes in front.
std::string plainReason(const ZRKJson::exception& error);

} // namespace zrkmodel

#pragma once

#include <QString>

namespace zrkworkbench {

/// The text with its first letter in upper case, as the start of a sentence.
inline QString sentence(const QString& text) { return text.left(1).toUpper() + text.mid(1); }

} // namespace zrkworkbench

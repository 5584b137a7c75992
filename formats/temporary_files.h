#pragma once

#include "core/values/export.h"

#include <string>

/// The temporary files of this program that are neither in their place nor removed, so that a program that
/// ends without running destructors leaves none. All functions are safe from any thread.
namespace zrk::temporaryFiles {

/// Opens a new file and notes it. Returns its descriptor, -1 with errno where it can't be made.
int create(const std::string& path);
/// Gives an open file without a name, by its path below /proc, a name and notes that. False with errno where
/// it can't be done.
bool nameOpenFile(const std::string& open, const std::string& path);
/// Renames one to its target, which replaces that. False with errno where it can't be done.
bool rename(const std::string& path, const std::string& target);
void remove(const std::string& path);
/// Removes all. A call of the functions above that begins later never returns: the program is to end.
ZRK_API void removeAllAtEnd();

} // namespace zrk::temporaryFiles

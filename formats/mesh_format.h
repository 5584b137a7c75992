#pragma once

#include "core/values/fault.h"

#include <filesystem>
#include <optional>

namespace zrk {

enum class MeshFormat { Obj, Stl, Ply, ThreeMf };

/// The format of a mesh file, by what it begins with and how long it is. Where that shows nothing, as for an
/// empty file or one that can't be read, the format that the name's extension stands for; nothing where that
/// is unknown too. Refuses a file whose content shows another format than its name.
Result<std::optional<MeshFormat>> meshFormatOf(const std::filesystem::path& path);

} // namespace zrk

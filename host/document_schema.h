#pragma once

#include "core/values/export.h"
#include "model/json.h"

#include <string>

namespace zrkmodel {

struct ManualMember;

/// The JSON Schema (draft 2020-12) of graph documents with the types that are registered: members, types and
/// values with the words of their manuals, for editors that complete and check what is typed.
///
/// It takes what `zrk check --strict` takes, as far as that shows in the text of one value after the other.
/// Beyond it are files and what stands in them, what nodes, links and resources have in common (ids and uuids
/// that are there once, pins that exist, tags that agree, cycles), the geometry of shapes, keys that an
/// object has twice, and whole numbers that are written as 1.0.
ZRK_API ZRKJson documentSchema();

/// What a manual says of a value, its unit and range included, in sentences.
ZRK_API std::string wordsOf(const ManualMember& value);

} // namespace zrkmodel

#pragma once

#include "core/values/export.h"
#include "model/graph.h"
#include "model/registry.h"

#include <span>
#include <string_view>

namespace zrkmodel {

/// A value that a document may choose among several.
struct ManualChoice {
    std::string_view value; ///< as documents hold it, in JSON: 2 or "add"
    std::string_view name;  ///< a short label; may be empty
    std::string_view meaning;
};

/// A value of a document: a property, another stored key, or a member of one.
struct ManualMember {
    /// As documents hold it; a number is the place in an array, e.g. 0.
    std::string_view key;
    /// A ZRKValueName, or one of "list" and "vector4", which are an array and one of four numbers.
    std::string_view kind;
    /// Empty without one. "mu" are model units.
    std::string_view unit;
    /// The value of a fresh node, in JSON; empty where there is none.
    std::string_view defaultValue;
    /// "A to B" where the panel offers no more than that, and "point", "curve" or "surface" of a geometry
    /// that must be one; empty where every value of the kind serves. Documents may hold values beyond.
    std::string_view range;
    std::string_view meaning;
    /// All values that have a meaning; empty where any of the kind has.
    std::span<const ManualChoice> choices;
};

struct ManualValue : ManualMember {
    /// Members of the object, or of each item of the list.
    std::span<const ManualMember> members;
    bool isList;   ///< an array of items, each with these members
    bool isStored; ///< false for a property that documents leave out
};

struct ManualPin {
    std::string_view name;
    std::string_view unit;
    std::string_view meaning;
};

struct ManualExample {
    std::string_view caption;  ///< may be empty
    std::string_view document; ///< a graph document; files that it names are those of examples/
};

/// All that a user may be told of a component. It is made from the comment of the class, which
/// docs/manuals.md describes. Texts of several paragraphs are Markdown: paragraphs are separated by an empty
/// line, code is indented by four blanks. All texts stay valid while the program runs.
struct Manual {
    std::string_view className;              ///< e.g. "ZRKSphereSDF"
    std::string_view family;                 ///< the folder of the class, e.g. "primitives"
    std::string_view summary;                ///< one sentence, that of the registry
    std::string_view overview;               ///< what it is for; may be empty
    std::span<const ManualValue> properties; ///< in the order of the object's
    std::span<const ManualValue> storedKeys; ///< what documents hold besides the properties
    std::span<const ManualPin> inputs;
    std::span<const ManualPin> outputs;
    std::string_view import; ///< what the document's "import" brings; empty where the type takes nothing
    std::span<const ManualMember> importMembers; ///< of "import" where that is an object; first of all "path"
    std::string_view formula;
    std::string_view notes;   ///< may be empty
    std::string_view threads; ///< for those who program: which threads may do what; may be empty
    std::span<const ManualExample> examples;
};

/// What manuals call the way of an unconnected input.
constexpr const char* nameOf(ZRKPinOpt option)
{
    switch (option) {
    case ZRKPinOpt::DefaultValue:
        return "DefaultValue";
    case ZRKPinOpt::Coordinates:
        return "Coordinates";
    case ZRKPinOpt::None:
        break;
    }
    return "None";
}

/// Enters manuals. They are found by class name, the first entered of a name counts, and what they refer to
/// must stay valid. Called while libraries load.
ZRK_API void addManuals(std::span<const Manual> manuals);

/// The manual of a type. Where the type has none, one whose texts are all empty.
ZRK_API const Manual& manualOf(const ZRKGraphObjectRegistration& type);

} // namespace zrkmodel

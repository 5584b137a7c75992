#pragma once

#include "inspectors/css_style.h"
#include "model/registry.h"
#include "model/tag.h"

#include <QString>

#include <span>

namespace zrkworkbench {

/// A group of kin types, such as the primitives. It has one colour everywhere.
struct Family {
    const char* key;   ///< as manuals name it
    const char* title; ///< of lists
    zrkui::ZRKCSSStyle::Role role;
};

/// All families, in the order of lists.
std::span<const Family> families();
/// The family of a type: that of its manual, else the one that its category names, else the operators.
const Family& familyOf(const zrkmodel::ZRKGraphObjectRegistration& type);
/// The same for null and for a type that isn't registered.
const Family& familyOf(const zrkmodel::ZRKGraphObjectRegistration* type);

/// The name of a type's icon: its class.
QString iconNameOf(const zrkmodel::ZRKGraphObjectRegistration* type);

/// The colour of a tag's pins and wires.
zrkui::ZRKCSSStyle::Role roleOf(zrkmodel::Tag tag);
/// "scalar", "vector", "colour" or "any".
QString nameOf(zrkmodel::Tag tag);

} // namespace zrkworkbench

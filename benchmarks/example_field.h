#pragma once

#include "core/engine/field_generator.h"

#include <memory>
#include <string>

namespace zrk::bench {

/// The output of a document, and the document, which the field needs.
struct ExampleField {
    IField field;
    std::shared_ptr<const void> document;
};

/// A document of examples/ by its file's name. Throws std::runtime_error where it has no output.
ExampleField exampleField(const std::string& file);
/// A document by its text; `name` is for messages.
ExampleField fieldOfText(const std::string& name, const std::string& text);

} // namespace zrk::bench

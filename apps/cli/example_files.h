#pragma once

#include <span>
#include <string_view>

namespace zrkcli {

/// A file that an example of a manual names.
struct ExampleFile {
    std::string_view path; ///< as the example has it
    std::string_view bytes;
};

/// All of them; the source is made from the folder examples.
std::span<const ExampleFile> exampleFiles();

} // namespace zrkcli

#pragma once

#include <filesystem>

namespace zrktest {

/// The root of the project's sources, for tests that read its examples and seeds.
std::filesystem::path sourceFolder();

} // namespace zrktest

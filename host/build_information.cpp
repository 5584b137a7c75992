#include "host/build_information.h"

#include "core/values/processor.h"

#include <fmt/format.h>

#include <string_view>

namespace zrkmodel {

namespace {

#if defined(__clang__)
constexpr const char* kCompiler = "Clang " __clang_version__;
#else
constexpr const char* kCompiler = "GCC " __VERSION__;
#endif

/// Commas stand before each.
constexpr std::string_view kFeatures = ZRK_FEATURES;

std::string_view trimmed(std::string_view text)
{
    const std::size_t end = text.find_last_not_of(' ');
    return end == std::string_view::npos ? "" : text.substr(0, end + 1);
}

} // namespace

const char* version() { return ZRK_VERSION; }

std::string buildInformation(const std::string& program)
{
    return fmt::format(
        "{} {}\nbuild: {}, {}\nprocessor: code for {}\nformats: PNG, OBJ, STL, PLY, 3MF, NRRD, NPY, VTI{}",
        program, version(), kCompiler, trimmed(ZRK_BUILD_TYPE), zrk::codePath(), kFeatures);
}

} // namespace zrkmodel

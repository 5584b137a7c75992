#include "formats/file_name.h"

#include "formats/vdb.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace zrk {

namespace {

constexpr std::string_view kVdb = ".vdb";

} // namespace

std::string extensionOf(const std::string& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return extension;
}

bool canWrite(std::string_view extension) { return extension != kVdb || canWriteVdb(); }

Fault unknownExtension(const std::string& path, const std::vector<std::string_view>& known,
                       std::string_view hint)
{
    const std::string extension = extensionOf(path);
    std::string list;
    for (std::size_t i = 0; i < known.size(); ++i) {
        list += (i == 0 ? "" : i + 1 == known.size() ? " or " : ", ") + std::string(known[i]);
    }
    std::string remedy = "name the file for the format: " + std::string(hint);
    std::string found = extension.empty() ? "no extension" : "the extension " + extension;
    if (extension == kVdb) {
        found = ".vdb, which this build can't write";
        remedy += "; for .vdb run `tools/install-dependencies vdb`, then configure and build again";
    }
    return {path.empty() ? "output" : path, std::move(found), std::move(list), std::move(remedy)};
}

} // namespace zrk

#include "formats/mesh_format.h"

#include "formats/file_name.h"
#include "formats/input_file.h"
#include "formats/text_words.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace zrk {

namespace {

struct NamedMeshFormat {
    MeshFormat format;
    std::string_view extension;
    const char* name;
};

constexpr NamedMeshFormat kMeshFormats[] = {{MeshFormat::Obj, ".obj", "an OBJ file"},
                                            {MeshFormat::Stl, ".stl", "an STL file"},
                                            {MeshFormat::Ply, ".ply", "a PLY file"},
                                            {MeshFormat::ThreeMf, ".3mf", "a 3MF package"}};

const NamedMeshFormat& entryOf(MeshFormat format)
{
    return *std::find_if(std::begin(kMeshFormats), std::end(kMeshFormats),
                         [&](const NamedMeshFormat& entry) { return entry.format == format; });
}

bool isBinaryStl(std::string_view head, std::uint64_t size)
{
    constexpr std::size_t kHeaderBytes = 80;
    constexpr std::uint64_t kTriangleBytes = 50;
    std::uint32_t count = 0;
    if (head.size() < kHeaderBytes + sizeof count) {
        return false;
    }
    std::memcpy(&count, head.data() + kHeaderBytes, sizeof count);
    return count > 0 && size == kHeaderBytes + sizeof count + kTriangleBytes * count;
}

/// Whether the first line that isn't a comment is one that OBJ files have.
bool isObj(std::string_view head)
{
    constexpr std::string_view kWords[] = {"v", "vt", "vn", "vp", "f",      "l",
                                           "p", "o",  "g",  "s",  "mtllib", "usemtl"};
    while (!head.empty()) {
        const std::size_t end = std::min(head.find('\n'), head.size());
        std::string_view line = head.substr(0, end);
        const std::string_view word = takeWord(line);
        if (!word.empty() && word[0] != '#') {
            return std::find(std::begin(kWords), std::end(kWords), word) != std::end(kWords);
        }
        head.remove_prefix(std::min(end + 1, head.size()));
    }
    return false;
}

std::optional<MeshFormat> formatOfContent(std::string_view head, std::uint64_t size)
{
    if (head.size() > 3 && head.starts_with("ply") && isBlank(head[3])) {
        return MeshFormat::Ply;
    }
    if (head.starts_with("PK\3\4")) {
        return MeshFormat::ThreeMf;
    }
    std::string_view words = head;
    std::string first(takeWord(words).substr(0, 6));
    std::transform(first.begin(), first.end(), first.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (isBinaryStl(head, size) || first == "solid") {
        return MeshFormat::Stl;
    }
    return isObj(head) ? std::optional(MeshFormat::Obj) : std::nullopt;
}

} // namespace

Result<std::optional<MeshFormat>> meshFormatOf(const std::filesystem::path& path)
{
    constexpr std::size_t kHeadBytes = 4096;
    std::optional<MeshFormat> shown;
    if (Result<InputFile> file = InputFile::open(path)) {
        std::array<char, kHeadBytes> head;
        const Result<std::size_t> size = file->read(head.data(), head.size());
        shown = formatOfContent({head.data(), size.value_or(0)}, file->size());
    }
    const std::string extension = extensionOf(path.string());
    const auto* named =
        std::find_if(std::begin(kMeshFormats), std::end(kMeshFormats),
                     [&](const NamedMeshFormat& entry) { return entry.extension == extension; });
    if (named == std::end(kMeshFormats)) {
        return shown;
    }
    if (shown && *shown != named->format) {
        const NamedMeshFormat& is = entryOf(*shown);
        return refused({path.string(), is.name + std::string(" by its content"),
                        named->name + std::string(", as its name says"),
                        "rename it to " + std::string(is.extension) + ", or export the mesh anew"});
    }
    return named->format;
}

} // namespace zrk

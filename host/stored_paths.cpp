#include "host/stored_paths.h"

#include <string>
#include <system_error>

namespace zrkmodel {

namespace {

/// A path without "..", unless it would name another file then, by way of links.
std::filesystem::path shortened(const std::filesystem::path& path)
{
    const std::filesystem::path normal = path.lexically_normal();
    std::error_code missing;
    const bool isOther =
        std::filesystem::exists(path, missing) && !std::filesystem::equivalent(path, normal, missing);
    return isOther ? path : normal;
}

} // namespace

std::string pathFrom(const std::filesystem::path& folder, const std::filesystem::path& path)
{
    const std::filesystem::path whole = shortened(path);
    const std::filesystem::path relative = whole.lexically_relative(folder);
    return (relative.empty() ? whole : relative).string();
}

void rebaseImport(ZRKJson& value, const std::filesystem::path& from, const std::filesystem::path& to)
{
    if (auto* text = value.get_ptr<std::string*>()) {
        if (!text->empty() && std::filesystem::path(*text).is_relative()) {
            const bool isFolder = text->ends_with('/');
            *text = pathFrom(to, from / *text);
            if (isFolder && !text->ends_with('/')) {
                *text += '/';
            }
        }
    } else if (value.is_array()) {
        for (ZRKJson& each : value) {
            rebaseImport(each, from, to);
        }
    } else if (value.is_object() && value.contains("path")) {
        rebaseImport(value["path"], from, to);
    }
}

void rebaseEntry(ZRKJson& entry, const std::filesystem::path& from, const std::filesystem::path& to)
{
    for (const char* key : {"import", "path"}) {
        if (entry.is_object() && entry.contains(key)) {
            rebaseImport(entry[key], from, to);
        }
    }
}

void rebaseDocument(ZRKJson& document, const std::filesystem::path& from, const std::filesystem::path& to)
{
    for (const char* key : {"nodes", "resources"}) {
        if (document.contains(key)) {
            for (ZRKJson& entry : document[key]) {
                rebaseEntry(entry, from, to);
            }
        }
    }
}

} // namespace zrkmodel

#include "host/import_entry.h"

#include "host/document_values.h"
#include "host/nearest_names.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

namespace zrkmodel {

namespace {

std::vector<std::string> pathsOf(const ZRKJson& paths, const std::string& place)
{
    const auto isText = [](const ZRKJson& path) { return path.is_string(); };
    const bool isList = paths.is_array() && !paths.empty() && std::all_of(paths.begin(), paths.end(), isText);
    if (!paths.is_string() && !isList) {
        throw zrk::FaultError({place, shown(paths), "a path or an array of paths",
                               "write the paths as strings, relative to the document"});
    }
    return isList ? paths.get<std::vector<std::string>>() : std::vector{paths.get<std::string>()};
}

/// Sets `value` to the choice that a member names; warns of a name that is none.
template <class Choice>
void readChoice(const ZRKJson& entry, const char* key,
                const std::vector<std::pair<std::string, Choice>>& choices, Choice& value,
                const std::string& place, std::vector<zrk::Fault>& warnings)
{
    const auto member = entry.find(key);
    if (member == entry.end()) {
        return;
    }
    std::vector<std::string> names;
    std::string expected;
    for (const auto& [name, choice] : choices) {
        if (*member == name) {
            value = choice;
            return;
        }
        names.push_back(name);
        expected += fmt::format("{}\"{}\"",
                                names.size() == 1                ? ""
                                : names.size() == choices.size() ? " or "
                                                                 : ", ",
                                name);
    }
    const std::string nearest =
        member->is_string()
            ? fmt::format("did you mean {}? ", nearestNames(member->get<std::string>(), names, 1))
            : "";
    warnings.push_back({fmt::format("{}, \"{}\"", place, key), shown(*member), expected,
                        fmt::format("{}as it stands, \"{}\" is taken", nearest, names.front())});
}

} // namespace

ImportEntry readImportEntry(const ZRKJson& entry, const std::string& place, std::vector<zrk::Fault>& warnings)
{
    ImportEntry import;
    if (!entry.is_object()) {
        import.paths = pathsOf(entry, place);
        return import;
    }
    const auto path = entry.find("path");
    if (path == entry.end()) {
        throw zrk::FaultError({place + ", \"path\"", "none", "a path or an array of paths",
                               "write \"import\": {\"path\": \"part.obj\"}, relative to the document"});
    }
    import.paths = pathsOf(*path, place + ", \"path\"");
    readChoice<ZRKPolygons>(entry, "polygons", {{"keep", ZRKPolygons::Keep}, {"split", ZRKPolygons::Split}},
                            import.options.polygons, place, warnings);
    readChoice<ZRKMeshFit>(
        entry, "fit",
        {{"stretch", ZRKMeshFit::Stretch}, {"uniform", ZRKMeshFit::Uniform}, {"none", ZRKMeshFit::None}},
        import.options.fit, place, warnings);
    return import;
}

} // namespace zrkmodel

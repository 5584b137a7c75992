#include "host/document_paths.h"

#include "core/values/fault.h"

#include <algorithm>
#include <system_error>

namespace zrkmodel {

namespace {

namespace fs = std::filesystem;

/// The path without links, as far as it exists.
fs::path withoutLinks(const fs::path& path)
{
    // An empty path is the current folder: that of a document opened by its bare name.
    const fs::path whole = fs::weakly_canonical(fs::absolute(path.empty() ? "." : path));
    // A slash at the end makes an empty last part.
    return whole.has_filename() ? whole : whole.parent_path();
}

bool isWithin(const fs::path& file, const fs::path& folder)
{
    return std::mismatch(folder.begin(), folder.end(), file.begin(), file.end()).first == folder.end();
}

} // namespace

void DocumentPaths::refuseOutside(const fs::path& file, const std::string& path,
                                  const std::string& place) const
{
    if (!isWithin(withoutLinks(file), withoutLinks(_folder))) {
        throw zrk::FaultError({place, zrk::quotation(path) + ", which leads out of the document's folder",
                               "a file within it",
                               "copy the file into the folder, or leave out --confine if the document and "
                               "what it names can be trusted"});
    }
}

fs::path DocumentPaths::find(const std::string& path, const std::string& place) const
{
    if (path.find('\0') != std::string::npos) { // where the system would end it
        throw zrk::FaultError(
            {place, zrk::quotation(path), "a path without a byte of 0", "remove \\u0000 from it"});
    }
    // Joined as texts: where memory fails, the library's own operator for paths crashes.
    const fs::path file =
        path.starts_with('/') || _folder.empty() ? fs::path(path) : fs::path(_folder.native() + "/" + path);
    if (_found) {
        _found->push_back(file);
    }
    if (!_isConfined) {
        return file;
    }
    refuseOutside(file, path, place);
    std::error_code isNoFolder;
    for (fs::directory_iterator entry(file, isNoFolder), end; !isNoFolder && entry != end;
         entry.increment(isNoFolder)) {
        if (entry->is_symlink()) {
            refuseOutside(entry->path(), path + "/" + entry->path().filename().string(), place);
        }
    }
    return file;
}

} // namespace zrkmodel

#include "formats/vdb_module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace zrk {

namespace {

/// Where the module lies: beside the program, or where it was built; empty if nowhere.
std::string modulePath()
{
#ifdef ZRK_VDB_MODULE
    namespace fs = std::filesystem;
    std::error_code isUnknown;
    const fs::path built = ZRK_VDB_MODULE;
    const fs::path beside = fs::read_symlink("/proc/self/exe", isUnknown).parent_path() / built.filename();
    for (const fs::path& path : {beside, built}) {
        if (::access(path.c_str(), R_OK) == 0) {
            return path.string();
        }
    }
#endif
    return {};
}

/// Loads the module at the first call; it stays.
Result<const VdbModule*> module()
{
    static const Result<const VdbModule*> loaded = []() -> Result<const VdbModule*> {
        const std::string path = modulePath();
        void* const library = path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        const void* const found = library ? ::dlsym(library, "zrkVdbModule") : nullptr;
        if (found) {
            return static_cast<const VdbModule*>(found);
        }
        const char* const reason = path.empty() ? nullptr : ::dlerror();
        return refused({path.empty() ? "zrk_vdb.so" : path, reason ? reason : "no such file",
                        "the module that writes VDB files",
                        "run `tools/install-dependencies vdb`, then configure and build again",
                        FaultKind::FailedWork});
    }();
    return loaded;
}

} // namespace

bool canWriteVdb() { return !modulePath().empty(); }

Result<void> writeVdb(const Volume& volume, const ByteSink& sink, const KeepGoing& keepGoing)
{
    return module().and_then([&](const VdbModule* m) { return m->writeVolume(volume, sink, keepGoing); });
}

Result<void> writeVdb(const Part& part, const ByteSink& sink, const KeepGoing& keepGoing)
{
    return module().and_then([&](const VdbModule* m) { return m->writePart(part, sink, keepGoing); });
}

} // namespace zrk

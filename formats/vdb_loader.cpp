#include "formats/vdb_module.h"

#include "formats/volume_source.h"

#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

namespace zrk {

namespace {

#ifdef ZRK_VDB_MODULE
/// The file of this code: the shared library, or the program where it is linked statically.
std::filesystem::path ownFile()
{
    static const char here = 0;
    Dl_info info = {};
    std::error_code isUnknown;
    const bool isFound = ::dladdr(&here, &info) != 0 && info.dli_fname && info.dli_fname[0] == '/';
    return isFound ? info.dli_fname : std::filesystem::read_symlink("/proc/self/exe", isUnknown);
}
#endif

/// Where the module lies: beside the program or the library, where it is installed as seen from either, or
/// where it was built; empty if nowhere.
std::string modulePath()
{
#ifdef ZRK_VDB_MODULE
    namespace fs = std::filesystem;
    std::error_code isUnknown;
    const fs::path built = ZRK_VDB_MODULE;
    const fs::path program = fs::read_symlink("/proc/self/exe", isUnknown).parent_path();
    const fs::path library = ownFile().parent_path();
    for (const fs::path& path :
         {program / built.filename(), library / built.filename(), library / "zrk" / built.filename(),
          library / "../../zrk" / built.filename(), // from a folder of glibc-hwcaps
          program / ZRK_MODULES_FROM_PROGRAM / built.filename(), built}) {
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
                        "the module that reads and writes VDB files",
                        "run `tools/install-dependencies vdb`, then configure and build again",
                        FaultKind::FailedWork});
    }();
    return loaded;
}

} // namespace

bool canWriteVdb() { return !modulePath().empty(); }

Result<std::unique_ptr<VdbVolume>> beginVdb(const Volume& volume)
{
    return module().map([&](const VdbModule* m) { return m->beginVolume(volume); });
}

Result<std::unique_ptr<VdbLevelSet>> beginLevelSet(const VdbLevelSetHead& head)
{
    return module().map([&](const VdbModule* m) { return m->beginLevelSet(head); });
}

Result<void> writeVdb(const Part& part, const ByteSink& sink, const KeepGoing& keepGoing)
{
    return module().and_then([&](const VdbModule* m) { return m->writePart(part, sink, keepGoing); });
}

Result<VolumeSource> readVdb(const std::string& path)
{
    return module().and_then([&](const VdbModule* m) { return m->readVolume(path); });
}

} // namespace zrk

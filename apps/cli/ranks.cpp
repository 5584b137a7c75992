#include "apps/cli/ranks.h"

#include "apps/cli/messages.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

namespace zrkcli {

namespace {

Ranks* ranks = nullptr;
bool hasBegun = false; ///< the work that ranks share

/// Where the module lies: beside the program, or where it is installed as seen from there; empty if nowhere.
std::string mpiModulePath()
{
#ifdef ZRK_MPI_MODULE
    namespace fs = std::filesystem;
    std::error_code isUnknown;
    const fs::path program = fs::read_symlink("/proc/self/exe", isUnknown).parent_path();
    for (const fs::path& path :
         {program / ZRK_MPI_MODULE, program / ZRK_MODULES_FROM_PROGRAM / ZRK_MPI_MODULE}) {
        if (::access(path.c_str(), R_OK) == 0) {
            return path.string();
        }
    }
#endif
    return {};
}

} // namespace

zrk::Result<void> beginRanks()
{
    const std::string path = mpiModulePath();
    // MPI loads parts of itself, which look for its symbols.
    void* const library = path.empty() ? nullptr : ::dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);
    const void* const found = library ? ::dlsym(library, "zrkMpiModule") : nullptr;
    if (!found) {
        const char* const reason = path.empty() ? nullptr : ::dlerror();
        return zrk::refused({path.empty() ? "zrk_mpi.so" : path, reason ? reason : "no such file",
                             "the module for MPI",
                             "run `tools/install-dependencies mpi`, then configure and build again",
                             zrk::FaultKind::FailedWork});
    }
    ranks = static_cast<const MpiModule*>(found)->begin();
    if (isOtherRank()) {
        keepSilent();
    }
    return {};
}

Ranks* ranksOfRun() { return ranks; }

std::unique_ptr<zrkmodel::ZRKSharedBuilding> shareBuilding()
{
    return ranks ? std::make_unique<zrkmodel::ZRKSharedBuilding>(
                       !isOtherRank(), [](void* bytes, std::size_t size) { ranks->handOn(bytes, size); })
                 : nullptr;
}

void noteSharedWork() { hasBegun = true; }

bool isOtherRank() { return ranks && ranks->number() > 0; }

void leaveMessageToFirstRank()
{
    constexpr std::chrono::seconds kEnough{2};
    if (isOtherRank() && !hasBegun) {
        std::this_thread::sleep_for(kEnough);
    }
}

void tellEndOfRanks() noexcept
{
    // What a rank writes just before it ends, mpirun may lose.
    constexpr std::chrono::milliseconds kEnough{200};
    static std::atomic_flag isTold;
    if (!ranks || isOtherRank()) {
        return;
    }
    if (!isTold.test_and_set()) {
        tellText(
            "zrk: interrupted; tiles that are written stay, and the same command goes on with the others\n");
    }
    // Also of a thread that comes second, so that it doesn't end the first one's wait.
    std::this_thread::sleep_for(kEnough);
}

void endRanks(int status)
{
    if (ranks && status != 0) {
        ranks->abort(status);
    }
    delete ranks;
    ranks = nullptr;
}

} // namespace zrkcli

#include "formats/temporary_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <set>

namespace zrk::temporaryFiles {

namespace {

struct Names {
    std::mutex mutex;
    std::set<std::string> paths;
};

Names& names()
{
    static auto* const all = new Names; // also there for destructors at the program's end
    return *all;
}

} // namespace

int create(const std::string& path)
{
    const std::lock_guard lock(names().mutex);
    const auto [name, isNew] = names().paths.insert(path);
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0 && isNew) {
        names().paths.erase(name);
    }
    return descriptor;
}

bool nameOpenFile(const std::string& open, const std::string& path)
{
    const std::lock_guard lock(names().mutex);
    const auto [name, isNew] = names().paths.insert(path);
    if (::linkat(AT_FDCWD, open.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        return true;
    }
    if (isNew) {
        names().paths.erase(name);
    }
    return false;
}

bool rename(const std::string& path, const std::string& target)
{
    const std::lock_guard lock(names().mutex);
    if (std::rename(path.c_str(), target.c_str()) != 0) {
        return false;
    }
    names().paths.erase(path);
    return true;
}

void remove(const std::string& path)
{
    const std::lock_guard lock(names().mutex);
    ::unlink(path.c_str());
    names().paths.erase(path);
}

void removeAllAtEnd()
{
    names().mutex.lock();
    for (const std::string& path : names().paths) {
        ::unlink(path.c_str());
    }
}

} // namespace zrk::temporaryFiles

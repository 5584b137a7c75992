/// Loaded before a program (LD_PRELOAD), makes one of its calls of the system fail: the nth allocation, open,
/// read, write, fsync, rename, link or start of a thread; or kills it before the nth of all calls on files.
///
///   ZRK_FAIL_WHAT   alloc, open, read, write, fsync, rename, link, thread or kill
///   ZRK_FAIL_NTH    counted from 1; 0 fails none
///   ZRK_FAIL_REST   1: all calls after the nth fail too
///   ZRK_FAIL_COUNT  file that gets the number of calls when the program ends in the ordinary way

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <atomic>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
}

namespace {

enum class Call { Alloc, Open, Read, Write, Fsync, Rename, Link, Thread, Kill, None };
constexpr const char* kNames[] = {"alloc",  "open", "read",   "write", "fsync",
                                  "rename", "link", "thread", "kill"};

Call what = Call::None;
long nth = 0;
bool failsRest = false;
std::atomic<long> count{0};

template <class Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// True where this call of its kind is to fail. Calls on files may also be where the program is killed.
bool fails(Call call)
{
    if (what == Call::Kill && call != Call::Alloc && call != Call::Thread) {
        if (++count == nth) {
            syscall(SYS_kill, getpid(), SIGKILL);
        }
        return false;
    }
    if (call != what) {
        return false;
    }
    const long number = ++count;
    return number == nth || (failsRest && nth > 0 && number > nth);
}

template <class Value>
Value failing(int reason, Value value)
{
    errno = reason;
    return value;
}

__attribute__((constructor)) void start()
{
    const char* name = std::getenv("ZRK_FAIL_WHAT");
    const char* number = std::getenv("ZRK_FAIL_NTH");
    const char* rest = std::getenv("ZRK_FAIL_REST");
    nth = number ? std::atol(number) : 0;
    failsRest = rest && *rest == '1';
    for (int i = 0; name && i < static_cast<int>(Call::None); ++i) {
        if (std::strcmp(name, kNames[i]) == 0) {
            what = static_cast<Call>(i);
        }
    }
}

__attribute__((destructor)) void tellCount()
{
    const char* path = std::getenv("ZRK_FAIL_COUNT");
    if (!path) {
        return;
    }
    char text[32];
    const int size = std::snprintf(text, sizeof text, "%ld", count.load());
    const long file = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    syscall(SYS_write, file, text, static_cast<std::size_t>(size));
    syscall(SYS_close, file);
}

int openWith(const char* function, const char* path, int flags, unsigned mode)
{
    return fails(Call::Open) ? failing(EMFILE, -1)
                             : next<int(const char*, int, ...)>(function)(path, flags, mode);
}

int openatWith(const char* function, int folder, const char* path, int flags, unsigned mode)
{
    return fails(Call::Open) ? failing(EMFILE, -1)
                             : next<int(int, const char*, int, ...)>(function)(folder, path, flags, mode);
}

unsigned modeOf(int flags, std::va_list arguments)
{
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, unsigned) : 0;
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept
{
    return fails(Call::Alloc) ? failing<void*>(ENOMEM, nullptr) : __libc_malloc(size);
}
void* calloc(std::size_t number, std::size_t size) noexcept
{
    return fails(Call::Alloc) ? failing<void*>(ENOMEM, nullptr) : __libc_calloc(number, size);
}
void* realloc(void* old, std::size_t size) noexcept
{
    return fails(Call::Alloc) ? failing<void*>(ENOMEM, nullptr) : __libc_realloc(old, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return fails(Call::Alloc) ? failing<void*>(ENOMEM, nullptr) : __libc_memalign(alignment, size);
}
int posix_memalign(void** place, std::size_t alignment, std::size_t size) noexcept
{
    if (fails(Call::Alloc)) {
        return ENOMEM;
    }
    *place = __libc_memalign(alignment, size);
    return *place ? 0 : ENOMEM;
}

int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openWith("open", path, flags, mode);
}
int open64(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openWith("open64", path, flags, mode);
}
int openat(int folder, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openatWith("openat", folder, path, flags, mode);
}
int openat64(int folder, const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = modeOf(flags, arguments);
    va_end(arguments);
    return openatWith("openat64", folder, path, flags, mode);
}
ssize_t read(int file, void* bytes, std::size_t size)
{
    return fails(Call::Read) ? failing<ssize_t>(EIO, -1)
                             : next<ssize_t(int, void*, std::size_t)>("read")(file, bytes, size);
}
ssize_t write(int file, const void* bytes, std::size_t size)
{
    return fails(Call::Write) ? failing<ssize_t>(ENOSPC, -1)
                              : next<ssize_t(int, const void*, std::size_t)>("write")(file, bytes, size);
}
int close(int file)
{
    fails(Call::None);
    return next<int(int)>("close")(file);
}
int unlink(const char* path) noexcept
{
    fails(Call::None);
    return next<int(const char*)>("unlink")(path);
}
int fsync(int file) { return fails(Call::Fsync) ? failing(EIO, -1) : next<int(int)>("fsync")(file); }
int rename(const char* from, const char* to) noexcept
{
    return fails(Call::Rename) ? failing(EIO, -1) : next<int(const char*, const char*)>("rename")(from, to);
}
int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept
{
    return fails(Call::Link) ? failing(EIO, -1)
                             : next<int(int, const char*, int, const char*, int)>("linkat")(
                                   fromFolder, from, toFolder, to, flags);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                   void* argument) noexcept
{
    return fails(Call::Thread) ? EAGAIN
                               : next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>(
                                     "pthread_create")(thread, attributes, function, argument);
}

} // extern "C"

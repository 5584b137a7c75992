#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// A file in memory with the given bytes, for readers that take a path.
class BytesAsFile {
public:
    BytesAsFile(const std::uint8_t* bytes, std::size_t count) : _descriptor(memfd_create("fuzz", 0))
    {
        if (write(_descriptor, bytes, count) != static_cast<ssize_t>(count)) {
            __builtin_trap();
        }
    }
    ~BytesAsFile() { close(_descriptor); }
    BytesAsFile(const BytesAsFile&) = delete;
    BytesAsFile& operator=(const BytesAsFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(_descriptor); }

private:
    int _descriptor;
};
